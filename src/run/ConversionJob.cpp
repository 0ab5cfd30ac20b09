#include "run/ConversionJob.h"

ConversionJob::ConversionJob(P2Clip clip, QString outputURL)
    : clip_(std::move(clip)), outputURL_(std::move(outputURL))
{
}

ConversionJob::ConversionJob(SpannedShot shot, QString outputURL)
    : clip_(shot.top()), shot_(std::move(shot)), outputURL_(std::move(outputURL))
{
}

QString ConversionJob::clipName() const
{
    return shot_ ? shot_->name() : clip_.videoName();
}

void ConversionJob::setStatus(ClipStatus status)
{
    if (status == status_)
        return;
    status_ = std::move(status);
    emit statusChanged();
}

void ConversionJob::setProgress(double progress)
{
    if (progress == progress_)
        return;
    progress_ = progress;
    emit progressChanged();
}
