#pragma once

#include "card/P2Clip.h"
#include "card/PairingReportEntry.h"
#include "card/SpannedShot.h"
#include "media/AudioLevel.h"
#include "media/FFmpegService.h"
#include "media/MediaProbe.h"
#include "media/ProResProfile.h"

#include <optional>
#include <QCoroTask>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <utility>

// DEBUG_REPORT.txt: the evidence behind every clip of a run, meaning what
// ffprobe sees in each file, how the clip was paired and ordered, how loud each
// audio file is and the exact ffmpeg command that converts it.
//
// Gathering runs the tools and collects plain facts; rendering is pure, so the
// text can be checked from hand-made facts without any tool. It reads the
// card's clips and pairing entries as well as the tools' answers, so it belongs
// with the run, beside the other files a run writes.
namespace DebugReportBuilder {

// How many tool processes the gathering keeps in flight: as many as the
// machine has cores, at least two. The report is written after a run, in the
// background; more processes than cores would only keep the window waiting
// for a core while they take turns, and finish no sooner.
int toolsInFlight();

// Everything the tools said, keyed by file path; a file the tool could not
// answer for has no entry.
struct Facts
{
    QHash<QString, MediaProbe> videoProbes;
    QHash<QString, MediaProbe> audioProbes;
    QHash<QString, FFmpegService::SourceFacts> videoSources;
    QHash<QString, AudioLevel> audioLevels;
    // The ffmpeg the commands name; absent when it is not installed.
    std::optional<QString> ffmpegPath;

    bool operator==(const Facts&) const = default;
};

// One audio file of a clip with its full probe, if it could be probed.
using AudioProbe = std::pair<QString, std::optional<MediaProbe>>;

// The whole report: probes every media file of `clips`, then renders. The
// pieces of each joined shot keep their own blocks, without a command of
// their own; the shot's one command follows its last piece.
// With `writeClipMetadata` the commands write each clip's metadata, as the run does.
QCoro::Task<QString> build(QList<P2Clip> clips, QList<PairingReportEntry> allEntries,
                           double audioOffsetSeconds, ProResProfile profile,
                           bool prefixExportsWithOrderNumber, QList<SpannedShot> joinedShots = {},
                           bool writeClipMetadata = false);

// Runs four groups one after another (full probes of the videos, full probes
// of the audio files, timecodes of the videos, levels of each clip's audio
// files in one run per clip), each with at most `toolsInFlight()` tool processes.
QCoro::Task<Facts> gather(QList<P2Clip> clips);

// The report text from gathered facts, ending with a line feed.
QString render(const QList<P2Clip>& clips, const QList<PairingReportEntry>& allEntries, const Facts& facts,
               double audioOffsetSeconds, ProResProfile profile, bool prefixExportsWithOrderNumber,
               const QDateTime& generatedAt, const QList<SpannedShot>& joinedShots = {},
               bool writeClipMetadata = false);

// A joined shot's block: its pieces and the one command that converts them,
// without a trailing line feed.
QString joinedShotBlock(const SpannedShot& shot, const FFmpegService::SourceFacts& source,
                        double audioOffsetSeconds, ProResProfile profile, bool prefixExportsWithOrderNumber,
                        const std::optional<QString>& ffmpegPath, bool writeClipMetadata = false);

// One clip's block, without a trailing line feed.
QString clipBlock(const P2Clip& clip, const std::optional<MediaProbe>& videoProbe,
                  const QList<AudioProbe>& audioProbes, const FFmpegService::SourceFacts& source,
                  const QHash<QString, AudioLevel>& audioLevels, double audioOffsetSeconds,
                  ProResProfile profile, bool prefixExportsWithOrderNumber,
                  const std::optional<QString>& ffmpegPath, bool writeClipMetadata = false);

// One stream of a probe on one line, for example "#0 audio pcm_s16le 1ch 48000Hz 16-bit".
QString streamLine(const StreamInfo& stream);

} // namespace DebugReportBuilder
