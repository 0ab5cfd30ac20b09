#pragma once

#include "card/P2Clip.h"
#include "card/PairingReportEntry.h"
#include "card/SpannedShot.h"

#include <optional>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

// One movie a card would give, or one clip pairing left out, as the clip list
// and `tolvane-cli scan --json` show it.
struct ClipRow
{
    // What identifies the row across re-pairings: the video file of the movie's
    // first piece; for an excluded clip its video (or XML) file.
    QString key;
    // How every report names the movie (ConversionJob::clipName).
    QString name;
    // The movie's file name, with its number when numbering is on; empty when excluded.
    QString outputName;
    std::optional<int> orderNumber;
    std::optional<double> durationSeconds;
    std::optional<QString> startTimecode;
    std::optional<QDateTime> recorded;
    qsizetype audioChannels = 0;
    // "verified", "by file name — unverified", "by order — unverified" or
    // "excluded — REASON".
    QString pairing;
    bool included = false;
    // Why pairing left the clip out; empty when included.
    QString exclusionReason;
    // The pieces of a joined shot, in order; empty otherwise.
    QStringList pieces;
    // The movie's first video file; empty for an excluded clip.
    QString videoURL;
    // The pairing report entry of the movie's first piece.
    QUuid entryID;

    bool operator==(const ClipRow&) const = default;
};

namespace ClipRows {

// The rows of a card: its movies in shooting order (a joined shot is one row in
// the place of its first piece), then the excluded clips in pairing-report order.
QList<ClipRow> of(const QList<P2Clip>& clips, const QList<PairingReportEntry>& entries,
                  const QList<SpannedShot>& joinedShots, bool prefixWithOrderNumber);

// The pairing text of a method, as a row shows it.
QString pairingText(P2Clip::PairingMethod method);

// A duration as the list shows it: "0:42", "12:05", "1:02:03".
QString durationText(double seconds);

} // namespace ClipRows
