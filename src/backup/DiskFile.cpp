#include "backup/DiskFile.h"

#include "backup/ChunkRing.h"
#include "backup/Xxh64.h"
#include "base/UnfinishedFiles.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <QFile>
#include <QFileInfo>
#include <QFuture>
#include <QtConcurrent/QtConcurrentRun>
#include <QThreadPool>
#include <unistd.h>

namespace DiskFile {

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

namespace {

// Chunks read ahead of the checksum: it runs several times faster than any
// disk, so one chunk in hand and one being read are all it ever needs.
constexpr int readBackSlots = 3;

// Where the checksums of files being read back are taken; one thread per
// file read at the same time (a backup proves two copies side by side).
struct ChecksumThreads : QThreadPool
{
    ChecksumThreads() { setMaxThreadCount(8); }
};

QThreadPool& checksumThreads()
{
    static ChecksumThreads pool;
    return pool;
}

} // namespace

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
    ChunkRing ring(readBackSlots, chunkSize);
    ring.start(1);
    Xxh64 hash;
    QFuture<void> hashing = QtConcurrent::run(&checksumThreads(), [&ring, &hash] { hashChunks(ring, hash); });
    bool complete = false;
    while (!cancel.load(std::memory_order_relaxed)) {
        char* buffer = ring.nextFree();
        ssize_t count = 0;
        do
            count = ::read(fd, buffer, static_cast<size_t>(chunkSize));
        while (count < 0 && errno == EINTR);
        if (count < 0) {
            error = systemError();
            break;
        }
        ring.publish(count);
        if (count == 0) {
            complete = true;
            break;
        }
        bytesRead.fetch_add(count, std::memory_order_relaxed);
    }
    if (!complete)
        ring.stop();
    hashing.waitForFinished();
    // What was read for the check need not stay in memory.
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    ::close(fd);
    if (!complete)
        return std::nullopt;
    return hash.digest();
}

bool writeAll(int fd, const char* data, qint64 size, QString& error)
{
    qint64 done = 0;
    while (done < size) {
        const ssize_t count = ::write(fd, data + done, static_cast<size_t>(size - done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            error = systemError();
            return false;
        }
        done += count;
    }
    return true;
}

void hashChunks(ChunkRing& ring, Xxh64& digest)
{
    while (const std::optional<ChunkRing::Chunk> chunk = ring.next(0)) {
        if (chunk->size == 0)
            return;
        digest.add(chunk->data, static_cast<std::size_t>(chunk->size));
        ring.release(0);
    }
}

QString temporaryPath(const QString& finalPath)
{
    const QFileInfo info(finalPath);
    return info.path() + QStringLiteral("/.") + info.fileName() + QStringLiteral(".tolvane-part");
}

int createTemporary(UnfinishedFiles::Entry& unfinished)
{
    return unfinished.create([](const char* path) {
        return ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644);
    });
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
