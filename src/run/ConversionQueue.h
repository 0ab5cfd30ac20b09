#pragma once

#include "card/P2Clip.h"
#include "media/FFmpegService.h"
#include "media/ProResProfile.h"
#include "run/ClipStatus.h"
#include "run/ConversionJob.h"
#include "run/RunStop.h"

#include <functional>
#include <memory>
#include <optional>
#include <QCoroTask>
#include <QList>
#include <QString>

// Converts a batch of jobs strictly one after another with its own media
// service, validates every output and reports each change of a job through
// the caller's callbacks. A failing job does not stop the batch, unless it
// failed for lack of space or because the card's folder is gone, when every
// further job would fail the same way; a cancel ends it too. The jobs a batch
// that ended early never reached end as not started.
//
// `run` is awaited on the thread the jobs live in (the GUI thread): the media
// service calls its handlers on the awaiting thread, so every job write and
// every callback happens there, in order, without further hops. The queue must
// outlive the run it is awaiting.
class ConversionQueue
{
public:
    struct JobOutcome
    {
        P2Clip clip;
        ClipStatus status;
        // How the reports name the job (ConversionJob::clipName).
        QString clipName;
    };

    using JobUpdateHandler = std::function<void(ConversionJob& job)>;
    using JobFinishedHandler = std::function<void(const JobOutcome& outcome)>;
    using CommandBuiltHandler = std::function<void(ConversionJob& job, const QString& commandLine)>;

    ConversionQueue() = default;
    ConversionQueue(const ConversionQueue&) = delete;
    ConversionQueue& operator=(const ConversionQueue&) = delete;

    bool isCancelled() const { return stop_ == RunStop::cancelled; }
    // Why the batch ended before its last job, once it has.
    const std::optional<RunStop>& stop() const { return stop_; }

    // Returns when the batch ends; never throws. Jobs not reached (after a
    // cancel or a stop) end as not started, each with its callbacks.
    // `onCommandBuilt` may be empty. With `writeClipMetadata` each movie
    // records its clip as ClipMetadata::forClip describes it.
    QCoro::Task<> run(QList<std::shared_ptr<ConversionJob>> jobs, double audioOffsetSeconds,
                      ProResProfile profile, bool skipExistingFiles, bool writeClipMetadata,
                      JobUpdateHandler onJobUpdate, JobFinishedHandler onJobFinished,
                      CommandBuiltHandler onCommandBuilt = {});

    // Ends the batch: the running conversion is stopped (asked to end, then
    // killed after ToolLimits' grace) and its job fails as "Cancelled".
    void cancel();

    // Why a job that failed with `message` ends the batch: nothing when the
    // next job may still succeed.
    static std::optional<RunStop> stopAfterFailure(const ConversionJob& job, const QString& message);

private:
    // The job's final status once its conversion has been tried.
    QCoro::Task<ClipStatus> convertOne(std::shared_ptr<ConversionJob> job, double audioOffsetSeconds,
                                       ProResProfile profile, bool writeClipMetadata,
                                       JobUpdateHandler onJobUpdate, CommandBuiltHandler onCommandBuilt);
    // Why a movie that ffmpeg finished is still a failure: it is missing or
    // empty, lacks the audio its clip had, or is shorter than its source.
    static QCoro::Task<std::optional<QString>> outputFailure(QString outputPath, bool needsAudio,
                                                             std::optional<double> sourceSeconds);

    FFmpegService ffmpeg_;
    std::optional<RunStop> stop_;
};
