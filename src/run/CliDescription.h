#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// The one description of `tolvane-cli`: its commands, their operands and
// options, and the words of their help. The parser, `--help`, the man page and
// the shell completion are all made from it, so they never disagree.
namespace CliDescription {

// What an option takes after it, which also tells the completion what to offer.
enum class Value {
    none,   // a switch: --join-spanned
    folder, // --output-folder DIR
    file,   // --output FILE
    text,   // any word: --clip NAME
    choice, // one of `choices`: --profile proxy|standard|hq
};

struct Option
{
    QString name{}; // without the leading dashes
    Value value = Value::none;
    QString valueName{};   // shown after the option; a choice shows its choices
    QStringList choices{}; // for Value::choice
    bool repeatable = false;
};

struct Command
{
    QString name{};
    QStringList operands{}; // shown after the name; each completes as a folder
    QList<Option> options{};
    bool exclusiveOptions = false; // at most one option: [--a | --b]
    // The help's paragraphs, each broken into lines as `--help` shows them.
    QStringList paragraphs{};
};

// Every command, in the order the help lists them. `defaultOutputFolder` is
// where movies go until the user chooses an output folder.
QList<Command> commands(const QString& defaultOutputFolder);

// The command named `name` (which must exist).
Command command(const QString& name, const QString& defaultOutputFolder = QString());

// The program's own options, each with its one-line help.
struct GeneralOption
{
    QString name;
    QString help;
};
QList<GeneralOption> generalOptions();

// The sentence under the usage line.
QString summary();

// The option's name as typed: "--profile".
QString typed(const Option& option);

} // namespace CliDescription
