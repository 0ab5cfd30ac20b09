#include "run/SpaceEstimate.h"

#include "media/FFmpegService.h"

#include <cmath>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <sys/statvfs.h>

namespace SpaceEstimate {

namespace {

constexpr double referencePixels = 1920.0 * 1080.0;
constexpr double referenceFrameRate = 30000.0 / 1001;
// pcm_s24le, mono, 48 kHz.
constexpr double audioBytesPerSecondPerTrack = 48000.0 * 3;

} // namespace

double referenceBitsPerSecond(ProResProfile profile)
{
    switch (profile) {
    case ProResProfile::proxy:
        return 45e6;
    case ProResProfile::standard:
        return 147e6;
    case ProResProfile::hq:
        return 220e6;
    }
    Q_UNREACHABLE();
}

qint64 movieBytes(ProResProfile profile, const Movie& movie)
{
    const double pixels = static_cast<double>(movie.width) * movie.height;
    const double videoBytesPerSecond = referenceBitsPerSecond(profile) / 8 * (pixels / referencePixels) *
                                       (movie.frameRate / referenceFrameRate);
    const double bytesPerSecond = videoBytesPerSecond + audioBytesPerSecondPerTrack * movie.audioTracks;
    return std::llround(bytesPerSecond * movie.seconds);
}

QCoro::Task<qint64> neededBytes(QList<std::shared_ptr<ConversionJob>> jobs, ProResProfile profile,
                                bool skipExistingFiles)
{
    qint64 total = 0;
    for (const std::shared_ptr<ConversionJob>& job : std::as_const(jobs)) {
        if (skipExistingFiles && QFileInfo(job->outputURL()).size() >= 1)
            continue;
        const QList<P2Clip> pieces = job->shot() ? job->shot()->pieces : QList<P2Clip>{job->clip()};
        for (const P2Clip& piece : pieces) {
            // Named: g++ 12 mishandles temporaries inside co_await.
            QCoro::Task<std::optional<double>> probing = FFmpegService::probeDurationSeconds(piece.videoURL);
            const std::optional<double> seconds = co_await probing;
            Movie movie;
            movie.width = piece.width.value_or(movie.width);
            movie.height = piece.height.value_or(movie.height);
            movie.frameRate = piece.frameRate.value_or(movie.frameRate);
            movie.seconds = seconds.value_or(0);
            movie.audioTracks = static_cast<int>(piece.audioURLs.size());
            total += movieBytes(profile, movie);
        }
    }
    co_return total;
}

QString formattedBytes(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

std::optional<qint64> availableBytes(const QString& folder)
{
    struct statvfs space
    {
    };
    if (::statvfs(QFile::encodeName(folder).constData(), &space) != 0)
        return std::nullopt;
    return static_cast<qint64>(space.f_bavail) * static_cast<qint64>(space.f_frsize);
}

} // namespace SpaceEstimate
