#include "backup/FileCopier.h"

#include "backup/DiskFile.h"
#include "backup/Xxh64.h"
#include "base/UnfinishedFiles.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <QFile>
#include <QFileInfo>
#include <QFuture>
#include <QtConcurrent/QtConcurrentRun>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

struct Writer
{
    QString finalPath;
    QString temporaryPath;
    int fd = -1;
    qint64 written = 0;
    QString error;
};

// Makes the copy durable under its final name, with the source's time.
bool complete(Writer& writer, const ListedFile& file)
{
    const timespec times[2] = {{0, UTIME_OMIT}, {file.modifiedSeconds, file.modifiedNanoseconds}};
    if (::fsync(writer.fd) != 0 || ::futimens(writer.fd, times) != 0) {
        writer.error = DiskFile::systemError();
        return false;
    }
    ::posix_fadvise(writer.fd, 0, 0, POSIX_FADV_DONTNEED);
    const int closed = ::close(writer.fd);
    writer.fd = -1;
    if (closed != 0 || ::rename(QFile::encodeName(writer.temporaryPath).constData(),
                                QFile::encodeName(writer.finalPath).constData()) != 0) {
        writer.error = DiskFile::systemError();
        return false;
    }
    if (!DiskFile::syncFolder(QFileInfo(writer.finalPath).path())) {
        writer.error = DiskFile::systemError();
        return false;
    }
    return true;
}

// One place's writer: every chunk in turn, then the copy made final. A
// failure stops the ring, so the reading and the other places stop too.
void write(ChunkRing& ring, int consumer, Writer& writer, const ListedFile& file)
{
    while (const std::optional<ChunkRing::Chunk> chunk = ring.next(consumer)) {
        if (chunk->size == 0) {
            if (!complete(writer, file))
                ring.stop();
            return;
        }
        if (!DiskFile::writeAll(writer.fd, chunk->data, chunk->size, writer.error)) {
            ring.stop();
            return;
        }
        // The disk starts on these bytes now rather than all at once at the flush.
        ::sync_file_range(writer.fd, writer.written, chunk->size, SYNC_FILE_RANGE_WRITE);
        writer.written += chunk->size;
        ring.release(consumer);
    }
}

void discard(QList<Writer>& writers)
{
    for (Writer& writer : writers) {
        if (writer.fd >= 0)
            ::close(writer.fd);
        writer.fd = -1;
        ::unlink(QFile::encodeName(writer.temporaryPath).constData());
    }
}

} // namespace

FileCopier::FileCopier(int placeCount) : m_ring(ringSlots, DiskFile::chunkSize)
{
    // One writer per place, and the checksum, all at once: each waits on the
    // ring for the others, so none may wait for a thread.
    m_workers.setMaxThreadCount(std::max(1, placeCount) + 1);
    m_workers.setExpiryTimeout(-1);
}

FileCopier::Outcome FileCopier::copy(const QString& sourcePath, const ListedFile& file,
                                     const QStringList& finalPaths, std::atomic<qint64>& bytesRead,
                                     const std::atomic<bool>& cancel)
{
    Outcome outcome;
    const int source = ::open(QFile::encodeName(sourcePath).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (source < 0) {
        outcome.failedPath = sourcePath;
        outcome.error = DiskFile::systemError();
        return outcome;
    }
    ::posix_fadvise(source, 0, 0, POSIX_FADV_SEQUENTIAL);

    // Listed before they exist, and until they are renamed or removed, so a
    // process ended at once by a second interrupt removes them first; made
    // through the list, so none is made once that removal has begun.
    std::vector<std::unique_ptr<UnfinishedFiles::Entry>> unfinished;
    QList<Writer> writers;
    for (const QString& finalPath : finalPaths) {
        Writer writer;
        writer.finalPath = finalPath;
        writer.temporaryPath = DiskFile::temporaryPath(finalPath);
        unfinished.push_back(std::make_unique<UnfinishedFiles::Entry>(writer.temporaryPath));
        writer.fd = DiskFile::createTemporary(*unfinished.back());
        if (writer.fd < 0) {
            outcome.failedPath = finalPath;
            outcome.error = DiskFile::systemError();
            discard(writers);
            ::close(source);
            return outcome;
        }
        writers.append(writer);
    }
    if (m_workers.maxThreadCount() < writers.size() + 1)
        m_workers.setMaxThreadCount(int(writers.size()) + 1);

    m_ring.start(int(writers.size()) + 1);
    Xxh64 digest;
    QList<QFuture<void>> consumers;
    consumers.append(
        QtConcurrent::run(&m_workers, [this, &digest] { DiskFile::hashChunks(m_ring, digest); }));
    for (qsizetype i = 0; i < writers.size(); ++i) {
        Writer& writer = writers[i];
        const int consumer = int(i) + 1;
        consumers.append(QtConcurrent::run(
            &m_workers, [this, &writer, &file, consumer] { write(m_ring, consumer, writer, file); }));
    }

    bool readToTheEnd = false;
    QString readError;
    while (!cancel.load(std::memory_order_relaxed)) {
        // Nothing once a writer has failed.
        char* buffer = m_ring.nextFree();
        if (!buffer)
            break;
        ssize_t count = 0;
        do
            count = ::read(source, buffer, static_cast<size_t>(DiskFile::chunkSize));
        while (count < 0 && errno == EINTR);
        if (count < 0) {
            readError = DiskFile::systemError();
            break;
        }
        m_ring.publish(count);
        if (count == 0) {
            readToTheEnd = true;
            break;
        }
        bytesRead.fetch_add(count, std::memory_order_relaxed);
    }
    ::close(source);
    if (!readToTheEnd)
        m_ring.stop();
    for (QFuture<void>& consumer : consumers)
        consumer.waitForFinished();

    const auto failed = std::find_if(writers.cbegin(), writers.cend(),
                                     [](const Writer& writer) { return !writer.error.isEmpty(); });
    if (cancel.load(std::memory_order_relaxed) && !readToTheEnd) {
        // Cancelled: no path is to blame.
    } else if (!readError.isEmpty()) {
        outcome.failedPath = sourcePath;
        outcome.error = readError;
    } else if (failed != writers.cend()) {
        outcome.failedPath = failed->finalPath;
        outcome.error = failed->error;
    } else {
        outcome.digest = digest.digest();
        return outcome;
    }
    // Copies already renamed are complete and correct; only the rest go.
    discard(writers);
    return outcome;
}
