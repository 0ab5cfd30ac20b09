#include "backup/ReadBack.h"

#include "backup/DiskFile.h"
#include "backup/Xxh64.h"

#include <cerrno>
#include <fcntl.h>
#include <QFile>
#include <QFuture>
#include <QtConcurrent/QtConcurrentRun>
#include <unistd.h>

namespace {

// Chunks read ahead of the checksum: it runs several times faster than any
// disk, so one chunk in hand and one being read are all it ever needs.
constexpr int ringSlots = 3;

} // namespace

ReadBack::ReadBack() : m_ring(ringSlots, DiskFile::chunkSize)
{
    m_checksum.setMaxThreadCount(1);
    m_checksum.setExpiryTimeout(-1);
}

std::optional<quint64> ReadBack::digest(const QString& path, std::atomic<qint64>& bytesRead,
                                        const std::atomic<bool>& cancel, QString& error)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
        error = DiskFile::systemError();
        return std::nullopt;
    }
    // Written pages that are on disk are dropped, so the reads below reach the disk.
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    m_ring.start(1);
    Xxh64 hash;
    QFuture<void> hashing =
        QtConcurrent::run(&m_checksum, [this, &hash] { DiskFile::hashChunks(m_ring, hash); });
    bool complete = false;
    while (!cancel.load(std::memory_order_relaxed)) {
        char* buffer = m_ring.nextFree();
        ssize_t count = 0;
        do
            count = ::read(fd, buffer, static_cast<size_t>(DiskFile::chunkSize));
        while (count < 0 && errno == EINTR);
        if (count < 0) {
            error = DiskFile::systemError();
            break;
        }
        m_ring.publish(count);
        if (count == 0) {
            complete = true;
            break;
        }
        bytesRead.fetch_add(count, std::memory_order_relaxed);
    }
    if (!complete)
        m_ring.stop();
    hashing.waitForFinished();
    // What was read for the check need not stay in memory.
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    ::close(fd);
    if (!complete)
        return std::nullopt;
    return hash.digest();
}
