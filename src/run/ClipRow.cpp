#include "run/ClipRow.h"

#include <cmath>
#include <QHash>

namespace ClipRows {

namespace {

std::optional<double> durationOf(const P2Clip& clip)
{
    if (!clip.durationFrames || !clip.frameRate || *clip.frameRate <= 0)
        return std::nullopt;
    return static_cast<double>(*clip.durationFrames) / *clip.frameRate;
}

} // namespace

QString pairingText(P2Clip::PairingMethod method)
{
    switch (method) {
    case P2Clip::PairingMethod::xmlVerified:
    case P2Clip::PairingMethod::xmlNoAudioInClip:
        return QStringLiteral("verified");
    case P2Clip::PairingMethod::filenamePrefixUnsafe:
        return QStringLiteral("by file name — unverified");
    case P2Clip::PairingMethod::sortedOrderUnsafe:
    case P2Clip::PairingMethod::unverifiedVideoOnlyUnsafe:
        return QStringLiteral("by order — unverified");
    }
    Q_UNREACHABLE();
}

QString durationText(double seconds)
{
    const auto total = static_cast<qint64>(std::llround(std::max(0.0, seconds)));
    const qint64 hours = total / 3600;
    const qint64 minutes = total / 60 % 60;
    const QString secondsText = QStringLiteral("%1").arg(total % 60, 2, 10, QLatin1Char('0'));
    if (hours > 0)
        return QStringLiteral("%1:%2:%3").arg(hours).arg(minutes, 2, 10, QLatin1Char('0')).arg(secondsText);
    return QStringLiteral("%1:%2").arg(minutes).arg(secondsText);
}

QList<ClipRow> of(const QList<P2Clip>& clips, const QList<PairingReportEntry>& entries,
                  const QList<SpannedShot>& joinedShots, bool prefixWithOrderNumber)
{
    QHash<QUuid, const SpannedShot*> shotOfPiece;
    for (const SpannedShot& shot : joinedShots)
        for (const P2Clip& piece : shot.pieces)
            shotOfPiece.insert(piece.id, &shot);
    QHash<QUuid, QUuid> entryOfClip;
    for (const PairingReportEntry& entry : entries)
        if (entry.clipID)
            entryOfClip.insert(*entry.clipID, entry.id);

    QList<ClipRow> rows;
    for (const P2Clip& clip : clips) {
        const SpannedShot* shot = shotOfPiece.value(clip.id);
        if (shot && shot->top().id != clip.id)
            continue;
        ClipRow row;
        row.key = clip.videoURL;
        row.videoURL = clip.videoURL;
        row.name = shot ? shot->name() : clip.videoName();
        row.outputName = clip.outputFilename(prefixWithOrderNumber);
        row.orderNumber = clip.exportOrderNumber;
        row.startTimecode = clip.startTimecode;
        row.recorded = clip.recordingDateTime;
        row.audioChannels = clip.audioURLs.size();
        row.pairing = pairingText(clip.pairingMethod);
        row.included = true;
        row.entryID = entryOfClip.value(clip.id);
        row.durationSeconds = durationOf(clip);
        if (shot) {
            // A joined movie lasts as long as its pieces together, when each is known.
            std::optional<double> total = 0.0;
            for (const P2Clip& piece : shot->pieces) {
                row.pieces.append(piece.videoName());
                const std::optional<double> seconds = durationOf(piece);
                total = total && seconds ? std::optional(*total + *seconds) : std::nullopt;
            }
            row.durationSeconds = total;
        }
        rows.append(row);
    }
    for (const PairingReportEntry& entry : entries) {
        if (entry.included)
            continue;
        ClipRow row;
        row.key = entry.videoFile.value_or(entry.xmlFile.value_or(entry.clipName));
        row.name = entry.clipName;
        row.startTimecode = entry.startTimecode;
        if (entry.recordingDateTimeDisplay)
            row.recorded = QDateTime::fromString(*entry.recordingDateTimeDisplay, Qt::ISODate);
        row.audioChannels = entry.audioFiles.size();
        row.exclusionReason = entry.note.value_or(QString());
        row.pairing = row.exclusionReason.isEmpty() ? QStringLiteral("excluded")
                                                    : QStringLiteral("excluded — ") + row.exclusionReason;
        row.entryID = entry.id;
        rows.append(row);
    }
    return rows;
}

} // namespace ClipRows
