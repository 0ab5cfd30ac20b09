#pragma once

#include "backup/BackupProgress.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

class InterruptWatcher;

// Shows a backup or verification running on a worker thread: on a terminal,
// a progress line redrawn in place a few times a second. Ctrl-C and SIGTERM
// ask it to stop, which it does between two pieces of a file, removing the
// file it was writing.
class BackupConsole : public QObject
{
    Q_OBJECT

public:
    BackupConsole(BackupProgress& progress, InterruptWatcher& interrupts);
    ~BackupConsole() override;

    bool cancelRequested() const { return m_progress.cancelRequested.load(); }

private:
    void redraw();
    void show(QString line);

    BackupProgress& m_progress;
    const bool m_terminal;
    QTimer m_timer;
    QElapsedTimer m_stageTime;
    BackupProgress::Stage m_stage = BackupProgress::Stage::preparing;
    qsizetype m_shownWidth = 0;
};
