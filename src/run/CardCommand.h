#pragma once

#include <functional>
#include <memory>
#include <optional>
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

// Takes the option at `index` of `arguments`, moving `index` past any value it
// consumes; gives the usage problem when the option is not understood.
using TakeOption = std::function<std::optional<QString>(const QStringList& arguments, qsizetype& index)>;

// The value of the option `name` at `index`, given as "NAME VALUE" or
// "NAME=VALUE", moving `index` past it; an empty text when the value is
// missing, and nothing when the argument is not that option.
std::optional<QString> optionValue(const QString& name, const QStringList& arguments, qsizetype& index);

// Finds the one card folder among `arguments` and hands every option before
// "--" to `takeOption`, so a folder whose name starts with a dash can follow
// "--". Gives the usage error to show, or nothing with `cardFolder` set
// to the folder's absolute path.
std::optional<QString> parseArguments(const QString& command, const QStringList& arguments,
                                      const TakeOption& takeOption, QString& cardFolder);

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
