#include "run/HistoryText.h"

#include "base/DisplayText.h"

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

QString backupLine(const ConversionHistoryEntry& entry)
{
    if (!entry.backup)
        return QString();
    switch (entry.backup->outcome) {
    case BackupRecord::Outcome::proven:
        break;
    case BackupRecord::Outcome::failed:
        return QStringLiteral("Backup failed — nothing was converted");
    case BackupRecord::Outcome::cancelled:
        return QStringLiteral("Backup cancelled — nothing was converted");
    }
    const qsizetype places = entry.backup->copies.size();
    return QStringLiteral("Backed up to %1 place%2 and proven")
        .arg(places)
        .arg(places == 1 ? QString() : QStringLiteral("s"));
}

QString backupCopiesText(const ConversionHistoryEntry& entry)
{
    if (!entry.backup)
        return QString();
    QStringList lines;
    for (const QString& copy : entry.backup->copies)
        lines.append(DisplayText::escaped(copy));
    return lines.join(QLatin1Char('\n'));
}

bool needsAttention(const ConversionHistoryEntry& entry)
{
    if (entry.backup && entry.backup->outcome != BackupRecord::Outcome::proven)
        return true;
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
