#include "run/ConversionQueue.h"

#include "media/FFmpegError.h"
#include "run/ClipMetadata.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <QFileInfo>
#include <QThread>

namespace {

bool hasContent(const QString& path)
{
    const QFileInfo info(path);
    return info.exists() && info.size() >= 1;
}

} // namespace

QCoro::Task<> ConversionQueue::run(QList<std::shared_ptr<ConversionJob>> jobs, double audioOffsetSeconds,
                                   ProResProfile profile, bool skipExistingFiles, bool writeClipMetadata,
                                   JobUpdateHandler onJobUpdate, JobFinishedHandler onJobFinished,
                                   CommandBuiltHandler onCommandBuilt)
{
    // A cancel that came before the first job (while the run prepared) holds.
    for (const std::shared_ptr<ConversionJob>& job : jobs) {
        Q_ASSERT(job->thread() == QThread::currentThread());
        if (stop_) {
            job->setStatus(ClipStatus::notStarted(*stop_));
            onJobUpdate(*job);
            onJobFinished({job->clip(), job->status(), job->clipName()});
            continue;
        }

        // An empty file is what an interrupted earlier attempt may leave: convert again.
        if (skipExistingFiles && hasContent(job->outputURL())) {
            job->setStatus(ClipStatus::skippedExisting());
            job->setProgress(1.0);
            onJobUpdate(*job);
            onJobFinished({job->clip(), job->status(), job->clipName()});
            continue;
        }

        job->setStatus(ClipStatus::converting(0));
        onJobUpdate(*job);

        // Named, not a temporary of the co_await: g++ 12 destroys copies of
        // arguments made inside a co_await expression twice.
        QCoro::Task<ClipStatus> conversion =
            convertOne(job, audioOffsetSeconds, profile, writeClipMetadata, onJobUpdate, onCommandBuilt);
        const ClipStatus final = co_await conversion;
        job->setStatus(final);
        if (final.kind == ClipStatus::Kind::completed)
            job->setProgress(1.0);
        if (final.kind == ClipStatus::Kind::failed && !stop_)
            stop_ = stopAfterFailure(*job, final.message);
        onJobUpdate(*job);
        onJobFinished({job->clip(), final, job->clipName()});
    }
}

QCoro::Task<ClipStatus> ConversionQueue::convertOne(std::shared_ptr<ConversionJob> job,
                                                    double audioOffsetSeconds, ProResProfile profile,
                                                    bool writeClipMetadata, JobUpdateHandler onJobUpdate,
                                                    CommandBuiltHandler onCommandBuilt)
{
    const P2Clip& clip = job->clip();
    std::optional<QString> failure;
    std::optional<double> sourceSeconds;
    try {
        const FFmpegService::CommandHandler commandHandler = [&](const QString& commandLine) {
            if (onCommandBuilt)
                onCommandBuilt(*job, commandLine);
        };
        const FFmpegService::ProgressHandler progressHandler = [&](double fraction) {
            // The service forgets a cancel that came before its tool started
            // (while it probed the clip); the tool is running now, so ask again.
            if (isCancelled() && !ffmpeg_.cancelRequested())
                ffmpeg_.cancel();
            job->setProgress(fraction);
            job->setStatus(ClipStatus::converting(fraction));
            onJobUpdate(*job);
        };
        // A joined shot's job holds its first piece as its clip.
        const MovieMetadata metadata = writeClipMetadata ? ClipMetadata::forClip(clip) : MovieMetadata();
        if (const std::optional<SpannedShot>& shot = job->shot()) {
            QList<EssenceInputs> pieces;
            for (const P2Clip& piece : shot->pieces)
                pieces.append({piece.videoURL, piece.audioURLs});
            QCoro::Task<std::optional<double>> conversion =
                ffmpeg_.convertJoined(pieces, audioOffsetSeconds, profile, job->outputURL(), commandHandler,
                                      progressHandler, metadata);
            sourceSeconds = co_await conversion;
        } else {
            QCoro::Task<std::optional<double>> conversion =
                ffmpeg_.convert(clip.videoURL, clip.audioURLs, audioOffsetSeconds, profile, job->outputURL(),
                                commandHandler, progressHandler, metadata);
            sourceSeconds = co_await conversion;
        }
    } catch (const FFmpegError& error) {
        // Only a cancel request makes the service give up; the batch ends with this job.
        if (error.kind() == FFmpegError::Kind::cancelled)
            stop_ = RunStop::cancelled;
        // Its descriptions are the very messages a failed job shows, "Cancelled" included.
        failure = error.description();
    } catch (const PlatformError& error) {
        failure = error.description();
    } catch (const std::exception& error) {
        failure = QString::fromLocal8Bit(error.what());
    }
    if (!failure)
        failure = co_await outputFailure(job->outputURL(), !clip.audioURLs.isEmpty(), sourceSeconds);
    co_return failure ? ClipStatus::failed(*failure) : ClipStatus::completed();
}

QCoro::Task<std::optional<QString>> ConversionQueue::outputFailure(QString outputPath, bool needsAudio,
                                                                   std::optional<double> sourceSeconds)
{
    const QString invalid =
        QStringLiteral("Output validation failed (missing file, zero size, or missing audio stream)");
    if (!hasContent(outputPath))
        co_return invalid;
    // Each question costs mostly a tool's start-up, paid once per clip while
    // nothing else runs; tasks start at once, so the two run side by side.
    std::optional<QCoro::Task<std::optional<FFmpegService::VideoFrames>>> counting;
    // Without the source's length there is nothing to count against.
    if (sourceSeconds && *sourceSeconds > 0)
        counting.emplace(FFmpegService::videoFrames(outputPath));
    std::optional<QCoro::Task<bool>> audio;
    if (needsAudio)
        audio.emplace(FFmpegService::hasAudioStream(outputPath));
    std::optional<FFmpegService::VideoFrames> frames;
    if (counting)
        frames = co_await *counting;
    bool hasAudio = true;
    if (audio)
        hasAudio = co_await *audio;
    if (const std::optional<FFmpegError> truncated = FFmpegService::truncation(frames, sourceSeconds))
        co_return truncated->description();
    if (!hasAudio)
        co_return invalid;
    co_return std::nullopt;
}

void ConversionQueue::cancel()
{
    stop_ = RunStop::cancelled;
    ffmpeg_.cancel();
}

std::optional<RunStop> ConversionQueue::stopAfterFailure(const ConversionJob& job, const QString& message)
{
    // A card pulled out or unmounted takes its folders with it; every clip
    // after this one would fail to open.
    if (!QFileInfo(QFileInfo(job.clip().videoURL).absolutePath()).isDir())
        return RunStop::cardGone;
    // The system's words, whether ffmpeg or a file operation met the full disk.
    if (message.contains(QString::fromLocal8Bit(std::strerror(ENOSPC))))
        return RunStop::outputFull;
    return std::nullopt;
}
