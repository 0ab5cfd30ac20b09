#pragma once

#include "base/UnfinishedFiles.h"

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <QFuture>
#include <QString>
#include <QThreadPool>

// Makes the copies written to one place final behind the copying, on a thread
// of its own: each is flushed to disk, given its source's modification time
// and renamed, then its folder is flushed. The copies waiting when it turns to
// them are finished together, every rename before the folders are flushed, so
// many small files share a few of the disk's flushes instead of each paying
// for its own while the card waits. At most `waitingLimit` copies are in its
// hands at once, waiting or being finished, so the copying is never far ahead
// of the disk and every temporary fits the list of unfinished files.
class CopyFinisher
{
public:
    struct Copy
    {
        // Open for writing, every byte written.
        int fd = -1;
        QString temporaryPath;
        QString finalPath;
        qint64 modifiedSeconds = 0;
        long modifiedNanoseconds = 0;
        // Keeps the temporary listed until it is renamed or removed.
        std::unique_ptr<UnfinishedFiles::Entry> unfinished;
    };

    struct Failure
    {
        QString finalPath;
        QString error;
    };

    static constexpr int waitingLimit = 12;

    CopyFinisher();
    // Finishes what is waiting first.
    ~CopyFinisher();
    CopyFinisher(const CopyFinisher&) = delete;
    CopyFinisher& operator=(const CopyFinisher&) = delete;

    // Hands a written copy over, once fewer than `waitingLimit` are in hand. After a
    // failure, copies handed over are removed instead of finished.
    void add(Copy copy);
    // The first copy that could not be made final, so far.
    std::optional<Failure> failure();
    // Waits until every copy handed over is final or removed.
    std::optional<Failure> drain();

private:
    void run();
    void finish(std::deque<Copy>& batch);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Copy> m_waiting;
    // How many copies are being finished now; none when idle.
    std::size_t m_finishing = 0;
    bool m_closing = false;
    std::optional<Failure> m_failure;
    QThreadPool m_thread;
    QFuture<void> m_loop;
};
