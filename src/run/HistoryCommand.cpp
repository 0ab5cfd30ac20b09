#include "run/HistoryCommand.h"

#include "base/DisplayText.h"
#include "run/CardCommand.h"
#include "run/HistoryText.h"

namespace HistoryCommand {

namespace {

const QString commandName = QStringLiteral("history");
const QString historyKey = QStringLiteral("conversionHistoryV1");

} // namespace

QString listing(const QList<ConversionHistoryEntry>& entries, const QLocale& locale)
{
    QStringList blocks{
        QStringLiteral("Recent Conversions — %1").arg(HistoryText::batchCount(entries.size()))};
    if (entries.isEmpty())
        blocks.append(HistoryText::emptyText());
    for (const ConversionHistoryEntry& entry : entries) {
        QStringList lines{HistoryText::statusMark(entry) + QLatin1Char(' ') +
                              DisplayText::escaped(entry.cardName),
                          HistoryText::dateText(entry.date, locale), DisplayText::escaped(entry.outputFolder),
                          HistoryText::statsLine(entry)};
        if (entry.backup) {
            lines.append(HistoryText::backupLine(entry));
            if (!entry.backup->copies.isEmpty())
                lines.append(HistoryText::backupCopiesText(entry));
        }
        blocks.append(lines.join(QLatin1Char('\n')));
    }
    return blocks.join(QStringLiteral("\n\n")) + QLatin1Char('\n');
}

QString clearFailureSentence(const QString& failure)
{
    return QStringLiteral("Could not clear %1 (%2).").arg(ConversionHistoryStore::displayName(), failure);
}

Outcome run(const QStringList& arguments, std::shared_ptr<KeyValueStore> defaults, const QLocale& locale)
{
    QCommandLineParser parser;
    if (const std::optional<QString> problem =
            CardCommand::parseOptions(CliDescription::command(commandName), arguments, parser))
        return Outcome{usageError, QString(), CardCommand::usageError(commandName, *problem)};

    if (parser.isSet(QStringLiteral("json"))) {
        // The document exactly as stored, even one the app could not read.
        const QByteArray stored = defaults->bytesValue(historyKey).value_or(QByteArrayLiteral("[]"));
        return Outcome{done, QString::fromUtf8(stored) + QLatin1Char('\n'), QString()};
    }

    ConversionHistoryStore history(std::move(defaults));
    if (parser.isSet(QStringLiteral("clear"))) {
        const qsizetype count = history.entries().size();
        // A history that stays on disk must not be said to be gone.
        if (const std::optional<QString> failure = history.clear())
            return Outcome{notCleared, QString(), clearFailureSentence(*failure) + QLatin1Char('\n')};
        return Outcome{done,
                       QStringLiteral("History cleared (%1 removed).\n").arg(HistoryText::batchCount(count)),
                       QString()};
    }
    return Outcome{done, listing(history.entries(), locale), QString()};
}

Outcome run(QStringList arguments)
{
    return run(arguments, CardCommand::openStore(), QLocale::system());
}

} // namespace HistoryCommand
