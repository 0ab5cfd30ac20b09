#include "run/HistoryCommand.h"

#include "base/DisplayText.h"
#include "run/CardCommand.h"
#include "run/HistoryText.h"

namespace HistoryCommand {

namespace {

const QString commandName = QStringLiteral("history");
const QString clearOption = QStringLiteral("--clear");
const QString jsonOption = QStringLiteral("--json");
const QString historyKey = QStringLiteral("conversionHistoryV1");

} // namespace

QString helpText()
{
    return QStringLiteral("  history [--clear | --json]\n"
                          "               List the recent conversions, newest first, as the app's\n"
                          "               history shows them: card, date, output folder and what\n"
                          "               became of its clips (⚠ marks a run that failed or\n"
                          "               excluded clips).\n"
                          "               With --clear, empty the history; with --json, print the\n"
                          "               stored history document as it is kept.\n"
                          "               Exit status: 0 when done, 2 on a usage error.\n");
}

QString listing(const QList<ConversionHistoryEntry>& entries, const QLocale& locale)
{
    QStringList blocks{
        QStringLiteral("Recent Conversions — %1").arg(HistoryText::batchCount(entries.size()))};
    if (entries.isEmpty())
        blocks.append(HistoryText::emptyText());
    for (const ConversionHistoryEntry& entry : entries)
        blocks.append(QStringList{HistoryText::statusMark(entry) + QLatin1Char(' ') +
                                      DisplayText::escaped(entry.cardName),
                                  HistoryText::dateText(entry.date, locale),
                                  DisplayText::escaped(entry.outputFolder), HistoryText::statsLine(entry)}
                          .join(QLatin1Char('\n')));
    return blocks.join(QStringLiteral("\n\n")) + QLatin1Char('\n');
}

Outcome run(const QStringList& arguments, std::shared_ptr<KeyValueStore> defaults, const QLocale& locale)
{
    if (arguments.size() > 1)
        return Outcome{usageError, QString(),
                       CardCommand::usageError(commandName, QStringLiteral("one option at a time"))};
    const QString option = arguments.value(0);
    if (!option.isEmpty() && option != clearOption && option != jsonOption)
        return Outcome{
            usageError, QString(),
            CardCommand::usageError(commandName, QStringLiteral("unknown option “%1”").arg(option))};

    if (option == jsonOption) {
        // The document exactly as stored, even one the app could not read.
        const QByteArray stored = defaults->bytesValue(historyKey).value_or(QByteArrayLiteral("[]"));
        return Outcome{done, QString::fromUtf8(stored) + QLatin1Char('\n'), QString()};
    }

    ConversionHistoryStore history(std::move(defaults));
    if (option == clearOption) {
        const qsizetype count = history.entries().size();
        history.clear();
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
