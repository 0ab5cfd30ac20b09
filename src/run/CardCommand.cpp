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
    if (!QFileInfo(folders.first()).isDir()) {
        struct stat status;
        if (::stat(QFile::encodeName(folders.first()).constData(), &status) != 0 && errno == ENAMETOOLONG)
            return usageError(
                command, QStringLiteral("“%1” is a longer path than the system allows").arg(folders.first()));
        return usageError(command, QStringLiteral("“%1” is not a folder").arg(folders.first()));
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
