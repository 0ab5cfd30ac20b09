#pragma once

#include "run/CliDescription.h"

#include <functional>
#include <memory>
#include <optional>
#include <QCommandLineParser>
#include <QString>
#include <QStringList>

class KeyValueStore;

// What the commands of `tolvane-cli` that work on one card folder share: how
// they end, how their usage errors read and how their arguments are split.
namespace CardCommand {

// What a command prints and how it ends.
struct Outcome
{
    int exitStatus = 2;
    QString standardOutput;
    QString standardError;
};

// The one-line usage error of `command`, pointing at the help.
QString usageError(const QString& command, const QString& problem);

// Parses `arguments` by the description of `command` with `parser`: every
// option it describes, each given at most once unless repeatable, with a
// value where it takes one; "--" ends the options. Gives the usage problem, or
// nothing with `parser` holding the options and the operands.
std::optional<QString> parseOptions(const CliDescription::Command& command, const QStringList& arguments,
                                    QCommandLineParser& parser);

// Parses the options as parseOptions does and finds the one card folder among
// the operands, so a folder whose name starts with a dash can follow "--".
// Gives the usage error to show, or nothing with `cardFolder` set to the
// folder's absolute path.
std::optional<QString> parseArguments(const CliDescription::Command& command, const QStringList& arguments,
                                      QCommandLineParser& parser, QString& cardFolder);

// `text` as the terminal shows it: where a status line or pairing note points
// at a control of the window ("View Pairing Details", the unsafe-fallback
// setting), it names the command line's own (`tolvane-cli scan`,
// `--allow-unsafe-fallback`) instead.
QString forTerminal(QString text);

// The user's stored settings and history. A store that could not be read and
// was kept aside is said on standard error at once, and again should it
// happen during the command.
std::shared_ptr<KeyValueStore> openStore();

} // namespace CardCommand
