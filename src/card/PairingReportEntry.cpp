#include "card/PairingReportEntry.h"

QString PairingReportEntry::reportBlock() const
{
    QStringList lines;
    if (exportOrderNumber)
        lines.append(
            QStringLiteral("Final export order number: %1").arg(*exportOrderNumber, 3, 10, QLatin1Char('0')));
    lines.append(QStringLiteral("XML file: ") + xmlFile.value_or(QStringLiteral("— (none found)")));
    lines.append(QStringLiteral("Video MXF: ") +
                 videoFile.value_or(QStringLiteral("— (unresolved, no UMID match)")));
    lines.append(QStringLiteral("Audio MXFs: ") +
                 (audioFiles.isEmpty() ? QStringLiteral("—") : audioFiles.join(QStringLiteral(", "))));
    lines.append(QStringLiteral("Recording date/time: ") +
                 recordingDateTimeDisplay.value_or(QStringLiteral("unknown")));
    lines.append(QStringLiteral("Start timecode: ") + startTimecode.value_or(QStringLiteral("unknown")));
    lines.append(
        QStringLiteral("Sort key used: ") +
        sortKeySource.value_or(included ? QStringLiteral("not resolved") : QStringLiteral("n/a — excluded")));
    lines.append(
        QStringLiteral("Pairing method: ") +
        (method ? label(*method) : QStringLiteral("Excluded — no XML/UMID match, fallback disabled")));
    if (!included)
        lines.append(QStringLiteral("Status: NOT CONVERTED") +
                     (note ? QStringLiteral(" — ") + *note : QString()));
    else if (note)
        lines.append(QStringLiteral("Note: ") + *note);
    return lines.join(QLatin1Char('\n'));
}
