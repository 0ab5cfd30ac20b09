#include "backup/ReadBack.h"

#include "backup/DiskFile.h"
#include "backup/Xxh64.h"

#include <cerrno>
#include <fcntl.h>
#include <QFile>
#include <unistd.h>

ReadBack::ReadBack() : m_buffer(DiskFile::chunkSize, Qt::Uninitialized) {}

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
    Xxh64 hash;
    qint64 offset = 0;
    bool complete = false;
    while (!cancel.load(std::memory_order_relaxed)) {
        ssize_t count = 0;
        do
            count = ::read(fd, m_buffer.data(), static_cast<size_t>(DiskFile::chunkSize));
        while (count < 0 && errno == EINTR);
        if (count < 0) {
            error = DiskFile::systemError();
            break;
        }
        if (count == 0) {
            complete = true;
            break;
        }
        offset += count;
        ::posix_fadvise(fd, offset, DiskFile::chunkSize, POSIX_FADV_WILLNEED);
        hash.add(m_buffer.constData(), static_cast<std::size_t>(count));
        bytesRead.fetch_add(count, std::memory_order_relaxed);
    }
    // What was read for the check need not stay in memory.
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    ::close(fd);
    if (!complete)
        return std::nullopt;
    return hash.digest();
}
