#pragma once

#include "card/P2Clip.h"
#include "card/SpannedShot.h"
#include "run/ClipStatus.h"

#include <optional>
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
    // One movie of a whole spanned shot; `clip` is its first piece.
    ConversionJob(SpannedShot shot, QString outputURL);

    const P2Clip& clip() const { return clip_; }
    // Set when the job joins the pieces of a spanned shot.
    const std::optional<SpannedShot>& shot() const { return shot_; }
    const QString& outputURL() const { return outputURL_; }
    // The video file's name without its extension, as every report names the
    // clip; for a joined shot the names of its pieces in order (0158Q5 + 0159E2).
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
    const std::optional<SpannedShot> shot_;
    const QString outputURL_;
    ClipStatus status_;
    double progress_ = 0;
};
