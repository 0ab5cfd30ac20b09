#include "run/CardCommand.h"

#include "base/DisplayText.h"
#include "store/QSettingsKeyValueStore.h"

#include <cerrno>
#include <cstdio>
#include <QFile>
#include <QFileInfo>
#include <sys/stat.h>

namespace CardCommand {

QString usageError(const QString& command, const QString& problem)
{
    return QStringLiteral("tolvane-cli %1: %2. Try tolvane-cli --help.\n").arg(command, problem);
}

namespace {

using CliDescription::Option;
using CliDescription::Value;

const Option* optionNamed(const CliDescription::Command& command, const QString& name)
{
    for (const Option& option : command.options)
        if (option.name == name)
            return &option;
    return nullptr;
}

// "proxy, standard or hq"
QString alternatives(const QStringList& words)
{
    return words.size() < 2 ? words.join(QString())
                            : words.first(words.size() - 1).join(QStringLiteral(", ")) +
                                  QStringLiteral(" or ") + words.last();
}

QString needsValue(const Option& option)
{
    switch (option.value) {
    case Value::folder:
        return QStringLiteral("%1 needs a folder").arg(CliDescription::typed(option));
    case Value::file:
        return QStringLiteral("%1 needs a file").arg(CliDescription::typed(option));
    case Value::choice:
        return QStringLiteral("%1 needs %2").arg(CliDescription::typed(option), alternatives(option.choices));
    case Value::text:
    case Value::none:
        break;
    }
    return QStringLiteral("%1 needs a %2").arg(CliDescription::typed(option), option.valueName.toLower());
}

// The first argument the parser refused, as the user typed it: an option the
// command does not have, a value given to a switch, or an option whose value
// is missing at the end.
std::optional<QString> refusedArgument(const CliDescription::Command& command, const QStringList& arguments)
{
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == QLatin1String("--"))
            break;
        if (!argument.startsWith(QLatin1Char('-')) || argument == QLatin1String("-"))
            continue;
        const qsizetype equals = argument.indexOf(QLatin1Char('='));
        const Option* option = argument.startsWith(QLatin1String("--"))
                                   ? optionNamed(command, argument.mid(2, equals < 0 ? -1 : equals - 2))
                                   : nullptr;
        if (!option || (option->value == Value::none && equals >= 0))
            return QStringLiteral("unknown option “%1”").arg(argument);
        if (option->value != Value::none && equals < 0 && ++i == arguments.size())
            return needsValue(*option);
    }
    return std::nullopt;
}

} // namespace

std::optional<QString> parseOptions(const CliDescription::Command& command, const QStringList& arguments,
                                    QCommandLineParser& parser)
{
    if (command.exclusiveOptions && arguments.size() > 1)
        return QStringLiteral("one option at a time");
    for (const Option& option : command.options)
        parser.addOption(option.value == Value::none
                             ? QCommandLineOption(option.name)
                             : QCommandLineOption(option.name, QString(), QStringLiteral("VALUE")));
    if (!parser.parse(QStringList{QStringLiteral("tolvane-cli")} + arguments))
        return refusedArgument(command, arguments).value_or(parser.errorText());
    // A command without operands takes nothing but its options.
    if (command.operands.isEmpty() && !parser.positionalArguments().isEmpty())
        return QStringLiteral("unknown option “%1”").arg(parser.positionalArguments().constFirst());
    for (const Option& option : command.options) {
        if (option.value == Value::none)
            continue;
        const QStringList values = parser.values(option.name);
        if (values.size() > 1 && !option.repeatable)
            return QStringLiteral("%1 given more than once").arg(CliDescription::typed(option));
        for (const QString& value : values) {
            if (value.isEmpty())
                return needsValue(option);
            if (option.value == Value::choice && !option.choices.contains(value))
                return QStringLiteral("unknown %1 “%2”; use %3")
                    .arg(option.name, value, alternatives(option.choices));
        }
    }
    return std::nullopt;
}

std::optional<QString> parseArguments(const CliDescription::Command& command, const QStringList& arguments,
                                      QCommandLineParser& parser, QString& cardFolder)
{
    if (const std::optional<QString> problem = parseOptions(command, arguments, parser))
        return usageError(command.name, *problem);
    const QStringList folders = parser.positionalArguments();
    const QString& name = command.name;
    if (folders.isEmpty())
        return usageError(name, QStringLiteral("no card folder given"));
    if (folders.size() > 1)
        return usageError(name, QStringLiteral("one card folder at a time, not %1").arg(folders.size()));
    if (!QFileInfo(folders.first()).isDir()) {
        struct stat status;
        if (::stat(QFile::encodeName(folders.first()).constData(), &status) != 0 && errno == ENAMETOOLONG)
            return usageError(
                name, QStringLiteral("“%1” is a longer path than the system allows").arg(folders.first()));
        return usageError(name, QStringLiteral("“%1” is not a folder").arg(folders.first()));
    }
    // Absolute from here on: reports name the card's files in full, and no
    // name handed to a tool can pass for an option or a protocol.
    cardFolder = QFileInfo(folders.first()).absoluteFilePath();
    return std::nullopt;
}

QString forTerminal(QString text)
{
    static const std::pair<QLatin1String, QLatin1String> replacements[] = {
        {QLatin1String("See \"View Pairing Details\", or enable unsafe fallback pairing in Settings."),
         QLatin1String("See tolvane-cli scan, or add --allow-unsafe-fallback.")},
        {QLatin1String("check \"View Pairing Details\"."), QLatin1String("check tolvane-cli scan.")},
        {QLatin1String("Enable \"Allow unsafe fallback pairing\" in Settings to include this clip."),
         QLatin1String("Add --allow-unsafe-fallback to include this clip.")},
        {QLatin1String("(enable it in Settings)"), QLatin1String("(add --allow-unsafe-fallback)")},
        {QLatin1String("because \"Allow unsafe fallback pairing\" is off"),
         QLatin1String("because --allow-unsafe-fallback was not given")},
    };
    for (const auto& [window, terminal] : replacements)
        text.replace(window, terminal);
    return text;
}

std::shared_ptr<KeyValueStore> openStore()
{
    std::shared_ptr<QSettingsKeyValueStore> store = QSettingsKeyValueStore::openApplicationStore();
    store->setSetAsideListener([](const QString& notice) {
        const QByteArray bytes = (DisplayText::escaped(notice) + QLatin1Char('\n')).toUtf8();
        std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stderr);
        std::fflush(stderr);
    });
    return store;
}

} // namespace CardCommand
