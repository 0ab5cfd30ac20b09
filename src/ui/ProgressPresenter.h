#pragma once

#include "ui/DriverPresenter.h"

#include <QtQml/qqmlregistration.h>

// The figures of the run under way as the progress card shows them.
class ProgressPresenter : public DriverPresenter
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString countText READ countText NOTIFY changed)
    Q_PROPERTY(double progress READ progress NOTIFY changed)
    Q_PROPERTY(QString clipText READ clipText NOTIFY changed)
    Q_PROPERTY(QString percentText READ percentText NOTIFY changed)
    Q_PROPERTY(QString elapsedText READ elapsedText NOTIFY changed)
    Q_PROPERTY(QString remainingText READ remainingText NOTIFY changed)

public:
    explicit ProgressPresenter(QObject* parent = nullptr);

    // "Converting", or "Cancelling…" once a cancel was asked for.
    QString title() const;
    // "2 / 5"
    QString countText() const;
    double progress() const;
    // The clip converting now, or "Preparing…" before the first starts.
    QString clipText() const;
    QString percentText() const;
    QString elapsedText() const;
    // The estimate, or "Calculating…" while there is none.
    QString remainingText() const;
};
