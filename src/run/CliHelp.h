#pragma once

#include "run/CliDescription.h"

#include <QString>
#include <QStringList>

// `tolvane-cli --help`, made from the command line's description.
namespace CliHelp {

// The words after "tolvane-cli" that show how a command is called:
// "convert", "CARD", "[--output-folder DIR]", "[--clear | --json]"…
QStringList synopsisWords(const CliDescription::Command& command);

// A command's block of the help: its synopsis, wrapped to the terminal's 80
// columns, then its paragraphs indented beneath it.
QString commandText(const CliDescription::Command& command);

// The whole help, ending with a line feed.
QString text(const QString& defaultOutputFolder);

} // namespace CliHelp
