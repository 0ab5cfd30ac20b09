#include "run/CardCommand.h"

#include <QFileInfo>

namespace CardCommand {

QString usageError(const QString& command, const QString& problem)
{
    return QStringLiteral("tolvane-cli %1: %2. Try tolvane-cli --help.\n").arg(command, problem);
}

std::optional<QString> optionValue(const QString& name, const QStringList& arguments, qsizetype& index)
{
    const QString& argument = arguments.at(index);
    if (argument == name)
        return index + 1 < arguments.size() ? arguments.at(++index) : QString();
    if (argument.startsWith(name + QLatin1Char('=')))
        return argument.mid(name.size() + 1);
    return std::nullopt;
}

std::optional<QString> parseArguments(const QString& command, const QStringList& arguments,
                                      const TakeOption& takeOption, QString& cardFolder)
{
    QStringList folders;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (optionsEnded || !argument.startsWith(QLatin1Char('-')) || argument == QLatin1String("-"))
            folders.append(argument);
        else if (argument == QLatin1String("--"))
            optionsEnded = true;
        else if (const std::optional<QString> problem = takeOption(arguments, i))
            return usageError(command, *problem);
    }
    if (folders.isEmpty())
        return usageError(command, QStringLiteral("no card folder given"));
    if (folders.size() > 1)
        return usageError(command, QStringLiteral("one card folder at a time, not %1").arg(folders.size()));
    if (!QFileInfo(folders.first()).isDir())
        return usageError(command, QStringLiteral("“%1” is not a folder").arg(folders.first()));
    cardFolder = folders.first();
    return std::nullopt;
}

} // namespace CardCommand
