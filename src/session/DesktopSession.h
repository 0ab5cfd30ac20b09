#pragma once

#include <functional>
#include <optional>
#include <QCoro/QCoroTask>
#include <QString>

// What a run tells the desktop session it belongs to, beside the panels and
// the file manager of `Desktop`: that sleep must wait, that a run has ended,
// and how far it is. Every part is optional on a desktop; a missing service
// is never an error for the run, only a sentence in its debug report.
class DesktopSession
{
public:
    // A run's end, as a notification shows it.
    struct Notification
    {
        QString title;
        QString body;
        // The label of its one action; `onAction` runs when it is chosen.
        QString actionLabel;
        std::function<void()> onAction;
    };

    virtual ~DesktopSession() = default;

    // Holds off suspending and idling with `why` as the reason shown, until
    // `allowSleep`; nothing when held, otherwise why it could not be.
    virtual QCoro::Task<std::optional<QString>> holdOffSleep(QString why) = 0;
    // Lets the computer sleep again; nothing happens when sleep was not held off.
    virtual void allowSleep() = 0;
    // Shows `notification` when the desktop has a notification service.
    virtual void notify(Notification notification) = 0;
    // The share of the run that is done on the app's launcher entry, in [0, 1];
    // nothing removes the bar.
    virtual void showProgress(std::optional<double> fraction) = 0;
};
