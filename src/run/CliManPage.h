#pragma once

#include "run/CliDescription.h"

#include <QString>

// The manual page tolvane-cli(1), in roff, made from the command line's description.
namespace CliManPage {

// `text` as roff shows it literally: backslashes, dashes and a line's leading
// dot or quote escaped.
QString escaped(const QString& text);

// The whole page, for the given version.
QString text(const QString& version);

} // namespace CliManPage
