#include "backup/DiskFile.h"

#include "backup/Xxh64.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <QFile>
#include <unistd.h>

namespace DiskFile {

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

std::optional<quint64> readBackDigest(const QString& path, std::atomic<qint64>& bytesRead,
                                      const std::atomic<bool>& cancel, QString& error)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) {
        error = systemError();
        return std::nullopt;
    }
    // Written pages that are on disk are dropped, so the reads below reach the disk.
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    QByteArray buffer(chunkSize, Qt::Uninitialized);
    Xxh64 hash;
    for (;;) {
        if (cancel.load(std::memory_order_relaxed)) {
            ::close(fd);
            return std::nullopt;
        }
        const ssize_t count = ::read(fd, buffer.data(), static_cast<size_t>(buffer.size()));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            error = systemError();
            ::close(fd);
            return std::nullopt;
        }
        if (count == 0)
            break;
        hash.add(buffer.constData(), static_cast<std::size_t>(count));
        bytesRead.fetch_add(count, std::memory_order_relaxed);
    }
    // What was read for the check need not stay in memory.
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    ::close(fd);
    return hash.digest();
}

bool syncFolder(const QString& path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool synced = ::fsync(fd) == 0;
    ::close(fd);
    return synced;
}

} // namespace DiskFile
