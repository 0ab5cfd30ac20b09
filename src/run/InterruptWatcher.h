#pragma once

#include <memory>
#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSocketNotifier>

// Turns Ctrl-C (SIGINT), SIGTERM and a hang-up (SIGHUP: a closed terminal, a
// dropped ssh session) into a signal of the event loop, so a run can stop the
// way the Cancel button stops it, reports and history included. The handler
// only writes one byte to a pipe that the event loop watches, which is safe
// to do inside a signal handler. A Ctrl-C together with any other interrupt,
// before or after it, ends the process at once
// with status 130, as a shell expects from a program stopped by Ctrl-C, after
// removing the file named by `setFileToRemoveOnExit` (the half-written movie
// of the running clip); SIGTERM and SIGHUP never end it before its reports
// are written. SIGPIPE is ignored meanwhile, so output to a reader that went
// away fails instead of ending the process.
//
// One watcher at a time; it restores the previous handlers when destroyed.
class InterruptWatcher : public QObject
{
    Q_OBJECT

public:
    static constexpr int interruptedExitStatus = 130;

    explicit InterruptWatcher(QObject* parent = nullptr);
    ~InterruptWatcher() override;

    // The file the second interrupt removes before the process ends; an empty
    // path names none. Kept ready here because the signal handler may only
    // call unlink on a path it already holds.
    void setFileToRemoveOnExit(const QString& path);

signals:
    // An interrupt, delivered by the event loop; several that arrive together
    // come as one.
    void interrupted();

private:
    void drain();

    int m_readEnd = -1;
    // Every path handed to the handler stays alive as long as the watcher, so
    // the handler never reads one that is being freed.
    QList<QByteArray> m_filesToRemove;
    std::unique_ptr<QSocketNotifier> m_notifier;
};
