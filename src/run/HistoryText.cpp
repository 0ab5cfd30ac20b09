#include "run/HistoryText.h"

#include <QRegularExpression>
#include <QStringList>

namespace HistoryText {

QString batchCount(qsizetype count)
{
    return QStringLiteral("%1 batch%2").arg(count).arg(count == 1 ? QString() : QStringLiteral("es"));
}

QString statsLine(const ConversionHistoryEntry& entry)
{
    QStringList parts{QStringLiteral("%1 converted").arg(entry.converted)};
    if (entry.skipped >= 1)
        parts.append(QStringLiteral("%1 skipped").arg(entry.skipped));
    if (entry.failed >= 1)
        parts.append(QStringLiteral("%1 failed").arg(entry.failed));
    if (entry.excludedByPairing >= 1)
        parts.append(QStringLiteral("%1 excluded").arg(entry.excludedByPairing));
    if (entry.notStarted >= 1)
        parts.append(QStringLiteral("%1 not started").arg(entry.notStarted));
    if (entry.notChosen >= 1)
        parts.append(QStringLiteral("%1 not chosen").arg(entry.notChosen));
    return parts.join(QStringLiteral(" · "));
}

bool needsAttention(const ConversionHistoryEntry& entry)
{
    return entry.failed != 0 || entry.excludedByPairing != 0 || entry.notStarted != 0;
}

QString statusMark(const ConversionHistoryEntry& entry)
{
    return needsAttention(entry) ? QStringLiteral("⚠") : QStringLiteral("✔");
}

QString dateText(const QDateTime& date, const QLocale& locale)
{
    // Qt offers long and short dates only; a medium one is the long form
    // without its weekday and with the month's abbreviated name.
    QString format = locale.dateFormat(QLocale::LongFormat);
    static const QRegularExpression weekday(QStringLiteral("d{4}[^dMy]*"));
    format.remove(weekday);
    format.replace(QStringLiteral("MMMM"), QStringLiteral("MMM"));
    const QDateTime local = date.toLocalTime();
    return QStringLiteral("%1, %2").arg(locale.toString(local.date(), format.trimmed()),
                                        locale.toString(local.time(), QLocale::ShortFormat));
}

QString emptyText()
{
    return QStringLiteral("No conversions yet");
}

} // namespace HistoryText
