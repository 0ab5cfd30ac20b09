#pragma once

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

// The colours that carry a meaning in the sheets: green for a proven pairing
// or a clean run, orange for a guess or a run needing attention, red for what
// was left out. The palette has no such roles, so they live here, with a
// lighter shade of each for dark desktops.
class StatusColors : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    static QColor green(bool dark);
    static QColor orange(bool dark);
    static QColor red(bool dark);

    // The colour of a PairingStatus.
    Q_INVOKABLE static QColor forPairingStatus(int status, bool dark);
    // The colour of a pairing entry's note: the status colour, except for a
    // Safe entry, whose note is only information and takes `neutral`.
    Q_INVOKABLE static QColor forNote(int status, bool dark, const QColor& neutral);
    // The colour of a history row's mark.
    Q_INVOKABLE static QColor forRun(bool needsAttention, bool dark);
    // Orange, for warnings that stand on their own.
    Q_INVOKABLE static QColor warning(bool dark) { return orange(dark); }
};
