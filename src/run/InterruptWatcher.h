#pragma once

#include <memory>
#include <QObject>
#include <QSocketNotifier>

// Turns Ctrl-C (SIGINT) and SIGTERM into a signal of the event loop, so a
// command-line run can stop the way the Cancel button stops it. The handler
// only writes one byte to a pipe that the event loop watches, which is safe
// to do inside a signal handler. The second interrupt ends the process at
// once with status 130, as a shell expects from a program stopped by Ctrl-C.
//
// One watcher at a time; it restores the previous handlers when destroyed.
class InterruptWatcher : public QObject
{
    Q_OBJECT

public:
    static constexpr int interruptedExitStatus = 130;

    explicit InterruptWatcher(QObject* parent = nullptr);
    ~InterruptWatcher() override;

signals:
    // The first interrupt, delivered by the event loop.
    void interrupted();

private:
    void drain();

    int m_readEnd = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
};
