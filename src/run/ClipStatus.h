#pragma once

#include "run/RunStop.h"

#include <QMetaType>
#include <QObject>
#include <QString>

// Where one clip of a conversion run stands. Only `converting` carries a
// fraction and only `failed` and `notStarted` a message; the other fields stay at their
// defaults, so two statuses are equal exactly when their cases and payloads are.
struct ClipStatus
{
    Q_GADGET

public:
    // `notStarted`: a run that ended early never reached the clip.
    // `notChosen`: the user left the clip out of the run; no job ever runs it.
    enum class Kind { converting, failed, pending, completed, skippedExisting, notStarted, notChosen };
    Q_ENUM(Kind)

    Kind kind = Kind::pending;
    // 0…1, only for `converting`.
    double fraction = 0;
    // Only for `failed`, and for `notStarted` the reason (RunStops::notStartedText).
    QString message;

    static ClipStatus converting(double fraction);
    static ClipStatus failed(QString message);
    static ClipStatus pending();
    static ClipStatus completed();
    static ClipStatus skippedExisting();
    static ClipStatus notStarted(RunStop stop);
    static ClipStatus notChosen();

    // How much of one job this status counts for in the overall progress.
    double progressWeight() const;
    // True for the statuses a job ends a run with.
    bool isFinal() const;

    bool operator==(const ClipStatus&) const = default;
};

Q_DECLARE_METATYPE(ClipStatus)
