#pragma once

#include "card/P2CardStructure.h"
#include "card/P2Clip.h"
#include "card/PairingReportEntry.h"
#include "card/SpannedShot.h"

#include <functional>
#include <QCoroTask>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

namespace P2MetadataParser {

// What pairing made of a card.
struct PairingResult
{
    // The clips to convert, in shoot order, numbered from 1.
    QList<P2Clip> clips;
    // One per CLIP XML, then one per video no XML verified, in the order made.
    QList<PairingReportEntry> entries;
    // Card-level findings for the pairing details and the report.
    QStringList summaryLines;
    // Shots joined into one movie each; only when joining was asked for.
    QList<SpannedShot> joinedShots;
};

// `pairing` with its spanned shots joined where they can be, and one summary
// line per spanned shot saying whether it was joined and, if not, why.
PairingResult withJoinedShots(PairingResult pairing);

// Why an essence file has no UMID to pair by, though ffprobe could be asked
// and answered in time: "header cannot be read: …".
QString headerUnreadableReason();

// Upper case without a leading "0X": the form in which a CLIP XML's clip ID and
// a probed UMID are compared.
QString normalizedUMID(const QString& umid);

// The material package UMID of each file, normalised, probed with at most
// `concurrency` (1 to 8) ffprobe processes at once. Files without one are
// absent from the map.
QCoro::Task<QHash<QString, QString>> probeUMIDs(QStringList files, int concurrency);
// How many of the card's essence files have had their UMID read, of how many.
using ProbeProgress = std::function<void(qsizetype done, qsizetype total)>;

// Tells each probe's end to a `ProbeProgress` as it comes.
struct ProbeTally
{
    qsizetype total = 0;
    ProbeProgress progress;
    qsizetype done = 0;
    // Each file whose probe ran out of time.
    QStringList timedOut;
};

// The same, adding to `tally` as each probe ends.
QCoro::Task<QHash<QString, QString>> probeUMIDs(QStringList files, int concurrency, ProbeTally& tally);

// Pairs each video with its audio only where the clip's CLIP XML and the UMIDs
// of the essence files agree. Unverifiable videos are excluded, or, when
// `allowUnsafeFallback` is set, paired by file name, then by sort order, and
// marked unsafe. Never fails: every problem becomes an excluded entry, a note
// or a summary line.
//
// Runs on the thread whose event loop drives the probes; the XML parsing and
// every file-system read go to worker threads, so that thread never stalls.
//
// A second CLIP XML whose UMID leads to a video already paired by an earlier
// one is excluded with a note naming the video and the earlier XML, so a video
// is never converted twice. Entries of excluded CLIP XMLs still show the XML's
// start timecode and recording date/time, so the user can tell which shot
// each one is.
//
// `progress`, when given, hears of every probe that ends.
//
// A structure of the same snapshot as one paired before (an unchanged card,
// see P2Scanner::scan), paired with the same settings by the same ffprobe,
// gets that pairing's result at once, unless one of its probes had timed out
// or could not be started.
QCoro::Task<PairingResult> pairClips(P2CardStructure structure, bool allowUnsafeFallback,
                                     ProbeProgress progress = {});

} // namespace P2MetadataParser
