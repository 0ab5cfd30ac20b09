#pragma once

#include "media/ProResProfile.h"
#include "run/ConversionJob.h"

#include <memory>
#include <optional>
#include <QCoroTask>
#include <QList>
#include <QString>

// How much space a run's movies need, estimated before the first clip so that
// a run that cannot fit is refused instead of failing clip after clip.
namespace SpaceEstimate {

// What decides a movie's size.
struct Movie
{
    int width = 1920;
    int height = 1080;
    double frameRate = 30000.0 / 1001;
    double seconds = 0;
    int audioTracks = 0;
};

// The profile's target data rate for 1920×1080 at 29.97 frames per second, in
// bits per second, as its encoder aims for it: 45, 147 and 220 Mbit/s.
double referenceBitsPerSecond(ProResProfile profile);

// The movie's video at the profile's rate scaled to its frame size and rate,
// plus one 24-bit 48 kHz track per audio file.
qint64 movieBytes(ProResProfile profile, const Movie& movie);

// What the jobs' movies need together. A clip's length comes from its video
// files' headers (read once for the scan already); the frame size and rate
// from its CLIP XML, 1920×1080 at 29.97 when it states none. A job whose
// movie is there already needs nothing when existing movies are skipped.
QCoro::Task<qint64> neededBytes(QList<std::shared_ptr<ConversionJob>> jobs, ProResProfile profile,
                                bool skipExistingFiles);

// A byte count as people read it: "1.5 GB", "820 MB".
QString formattedBytes(qint64 bytes);

// What an unprivileged writer may still put into `folder`'s file system;
// nothing when the system cannot tell (then no run is refused for space).
// Asked of the file system itself, not of the mount table, which a container
// or a chroot may lack.
std::optional<qint64> availableBytes(const QString& folder);

} // namespace SpaceEstimate
