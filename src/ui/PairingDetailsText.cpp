#include "ui/PairingDetailsText.h"

#include <algorithm>

namespace PairingDetailsText {

Status status(const PairingReportEntry& entry)
{
    if (!entry.included)
        return Status::Excluded;
    return entry.method && isVerified(*entry.method) ? Status::Safe : Status::Unsafe;
}

QString statusText(Status status)
{
    switch (status) {
    case Status::Excluded:
        return QStringLiteral("Excluded");
    case Status::Safe:
        return QStringLiteral("Safe");
    case Status::Unsafe:
        return QStringLiteral("Unsafe");
    }
    Q_UNREACHABLE();
}

QString statusSymbol(Status status)
{
    switch (status) {
    case Status::Excluded:
        return QStringLiteral("✖");
    case Status::Safe:
        return QStringLiteral("✔");
    case Status::Unsafe:
        return QStringLiteral("⚠");
    }
    Q_UNREACHABLE();
}

Tone::Value tone(Status status)
{
    switch (status) {
    case Status::Excluded:
        return Tone::Value::negative;
    case Status::Safe:
        return Tone::Value::positive;
    case Status::Unsafe:
        return Tone::Value::caution;
    }
    Q_UNREACHABLE();
}

Tone::Value noteTone(Status status)
{
    return status == Status::Safe ? Tone::Value::secondary : tone(status);
}

QString headerLine(const QList<PairingReportEntry>& entries)
{
    const auto included = std::count_if(entries.cbegin(), entries.cend(),
                                        [](const PairingReportEntry& entry) { return entry.included; });
    const auto excluded = entries.size() - included;
    QString line = QStringLiteral("%1 clip%2 will convert").arg(included).arg(included == 1 ? "" : "s");
    if (excluded >= 1)
        line += QStringLiteral(" · %1 excluded").arg(excluded);
    return line;
}

QStringList detailLabels()
{
    return {QStringLiteral("Export order"),        QStringLiteral("XML file"),
            QStringLiteral("Video MXF"),           QStringLiteral("Audio MXFs"),
            QStringLiteral("Recording date/time"), QStringLiteral("Start timecode"),
            QStringLiteral("Sort key used"),       QStringLiteral("Pairing method")};
}

QStringList detailValues(const PairingReportEntry& entry)
{
    // An excluded entry has no place in the shooting order: it is never numbered.
    const QString order = entry.exportOrderNumber
                              ? QStringLiteral("%1").arg(*entry.exportOrderNumber, 3, 10, QLatin1Char('0'))
                              : QStringLiteral("— not numbered");
    const QString audio =
        entry.audioFiles.isEmpty() ? QStringLiteral("—") : entry.audioFiles.join(QStringLiteral(", "));
    const QString method = !entry.included || !entry.method ? QStringLiteral("Excluded — no verified match")
                                                            : label(*entry.method);
    return {order,
            entry.xmlFile.value_or(QStringLiteral("— none found")),
            entry.videoFile.value_or(QStringLiteral("— unresolved")),
            audio,
            entry.recordingDateTimeDisplay.value_or(QStringLiteral("unknown")),
            entry.startTimecode.value_or(QStringLiteral("unknown")),
            entry.sortKeySource.value_or(QStringLiteral("not resolved")),
            method};
}

} // namespace PairingDetailsText
