#pragma once

#include <atomic>
#include <QtGlobal>

// What a running backup has done, written by its worker threads and read by
// whoever shows it; and the flag that asks it to stop.
struct BackupProgress
{
    enum class Stage { preparing, copying, verifying, recording, finished };

    std::atomic<Stage> stage{Stage::preparing};
    // Bytes of the current stage: read from the card while copying, read back
    // from every copy while verifying.
    std::atomic<qint64> bytesDone{0};
    std::atomic<qint64> bytesTotal{0};
    std::atomic<bool> cancelRequested{false};

    void enter(Stage next, qint64 total)
    {
        bytesDone.store(0);
        bytesTotal.store(total);
        stage.store(next);
    }
};
