#include "card/PairingReportEntry.h"

#include "base/DisplayText.h"

QString PairingReportEntry::reportBlock() const
{
    // File names and XML texts come from the card; none may break a line.
    const auto shown = [](const std::optional<QString>& value) -> std::optional<QString> {
        if (!value)
            return std::nullopt;
        return DisplayText::escaped(*value);
    };
    QStringList lines;
    if (exportOrderNumber)
        lines.append(
            QStringLiteral("Final export order number: %1").arg(*exportOrderNumber, 3, 10, QLatin1Char('0')));
    lines.append(QStringLiteral("XML file: ") + shown(xmlFile).value_or(QStringLiteral("— (none found)")));
    lines.append(QStringLiteral("Video MXF: ") +
                 shown(videoFile).value_or(QStringLiteral("— (unresolved, no UMID match)")));
    lines.append(QStringLiteral("Audio MXFs: ") +
                 (audioFiles.isEmpty() ? QStringLiteral("—")
                                       : DisplayText::escaped(audioFiles.join(QStringLiteral(", ")))));
    lines.append(QStringLiteral("Recording date/time: ") +
                 shown(recordingDateTimeDisplay).value_or(QStringLiteral("unknown")));
    lines.append(QStringLiteral("Start timecode: ") +
                 shown(startTimecode).value_or(QStringLiteral("unknown")));
    lines.append(QStringLiteral("Sort key used: ") +
                 shown(sortKeySource)
                     .value_or(included ? QStringLiteral("not resolved") : QStringLiteral("n/a — excluded")));
    lines.append(
        QStringLiteral("Pairing method: ") +
        (method ? label(*method) : QStringLiteral("Excluded — no XML/UMID match, fallback disabled")));
    if (!included)
        lines.append(QStringLiteral("Status: NOT CONVERTED") +
                     (note ? QStringLiteral(" — ") + DisplayText::escaped(*note) : QString()));
    else if (note)
        lines.append(QStringLiteral("Note: ") + DisplayText::escaped(*note));
    return lines.join(QLatin1Char('\n'));
}
