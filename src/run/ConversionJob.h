#pragma once

#include "card/P2Clip.h"
#include "run/ClipStatus.h"

#include <QObject>
#include <QString>

// One clip of a conversion run, as the progress screen lists it. The session
// driver and the screen share the same instances (held by std::shared_ptr, no
// QObject parent); only the queue writes `status` and `progress`, always on
// the thread the job lives in.
class ConversionJob : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString clipName READ clipName CONSTANT)
    Q_PROPERTY(QString outputURL READ outputURL CONSTANT)
    Q_PROPERTY(ClipStatus::Kind statusKind READ statusKind NOTIFY statusChanged)
    // Empty unless the job failed.
    Q_PROPERTY(QString failureMessage READ failureMessage NOTIFY statusChanged)
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged)

public:
    ConversionJob(P2Clip clip, QString outputURL);

    const P2Clip& clip() const { return clip_; }
    const QString& outputURL() const { return outputURL_; }
    // The video file's name without its extension, as every report names the clip.
    QString clipName() const;

    const ClipStatus& status() const { return status_; }
    ClipStatus::Kind statusKind() const { return status_.kind; }
    QString failureMessage() const { return status_.message; }
    double progress() const { return progress_; }

    void setStatus(ClipStatus status);
    void setProgress(double progress);

signals:
    void statusChanged();
    void progressChanged();

private:
    const P2Clip clip_;
    const QString outputURL_;
    ClipStatus status_;
    double progress_ = 0;
};
