#pragma once

#include "card/P2Clip.h"
#include "media/FFmpegService.h"
#include "media/ProResProfile.h"
#include "run/ClipStatus.h"
#include "run/ConversionJob.h"

#include <functional>
#include <memory>
#include <QCoroTask>
#include <QList>
#include <QString>

// Converts a batch of jobs strictly one after another with its own media
// service, validates every output and reports each change of a job through
// the caller's callbacks. A failing job never stops the batch; a cancel ends it.
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

    bool isCancelled() const { return isCancelled_; }

    // Returns when the batch ends; never throws. Jobs not reached (after a
    // cancel) stay pending and get no callback. `onCommandBuilt` may be empty.
    QCoro::Task<> run(QList<std::shared_ptr<ConversionJob>> jobs, double audioOffsetSeconds,
                      ProResProfile profile, bool skipExistingFiles, JobUpdateHandler onJobUpdate,
                      JobFinishedHandler onJobFinished, CommandBuiltHandler onCommandBuilt = {});

    // Ends the batch: the running conversion is stopped and its job fails as "Cancelled".
    void cancel();

private:
    // The job's final status once its conversion has been tried.
    QCoro::Task<ClipStatus> convertOne(std::shared_ptr<ConversionJob> job, double audioOffsetSeconds,
                                       ProResProfile profile, JobUpdateHandler onJobUpdate,
                                       CommandBuiltHandler onCommandBuilt);
    // Why a movie that ffmpeg finished is still a failure: it is missing or
    // empty, lacks the audio its clip had, or is shorter than its source.
    static QCoro::Task<std::optional<QString>> outputFailure(QString outputPath, bool needsAudio,
                                                             std::optional<double> sourceSeconds);

    FFmpegService ffmpeg_;
    bool isCancelled_ = false;
};
