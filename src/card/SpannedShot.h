#pragma once

#include "card/P2Clip.h"

#include <QList>
#include <QString>
#include <QStringList>

// A shot the camera split across several clips, proven whole and consistent,
// to be converted as one movie. The first piece (the shot's Top) gives the
// movie its name, number and start timecode.
struct SpannedShot
{
    // In shot order; at least two.
    QList<P2Clip> pieces;

    const P2Clip& top() const { return pieces.first(); }
    // The pieces' names in order, as every report and log names the shot:
    // 0158Q5 + 0159E2 + 0161VE.
    QString name() const;

    bool operator==(const SpannedShot&) const = default;
};

namespace SpannedShots {

struct Grouping
{
    // In the shoot order of their first pieces.
    QList<SpannedShot> joined;
    // One line per spanned shot: which were joined, and why any other was not.
    QStringList summaryLines;
};

// Finds the spanned shots among `clips` (in shoot order) and joins a shot
// only when every piece is among the clips, each is verified by its XML and
// UMID with all the audio its XML declares, the chain of Top, Previous and
// Next is consistent (one Top, each Next's Previous pointing back, no cycle,
// no piece claimed twice, each OffsetInShot where the pieces before it end)
// and the pieces agree on frame size, video codec, frame rate and number of
// audio files. A connection is matched by its GlobalClipID when it has one,
// otherwise by clip name. Pure.
Grouping group(const QList<P2Clip>& clips);

} // namespace SpannedShots
