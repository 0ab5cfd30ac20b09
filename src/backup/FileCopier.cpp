#include "backup/FileCopier.h"

#include "backup/DiskFile.h"
#include "backup/Xxh64.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <QFile>
#include <QFuture>
#include <QtConcurrent/QtConcurrentRun>
#include <unistd.h>

namespace {

struct Writer
{
    int place = 0;
    QString finalPath;
    QString temporaryPath;
    int fd = -1;
    qint64 written = 0;
    QString error;
    // Listed before it exists, and until it is renamed or removed, so a
    // process ended at once by a second interrupt removes it first.
    std::unique_ptr<UnfinishedFiles::Entry> unfinished;
};

// The checksum: every chunk in turn, to the end of the stream or until the ring is stopped.
void hashChunks(ChunkRing& ring, Xxh64& digest)
{
    while (const std::optional<ChunkRing::Chunk> chunk = ring.next(0)) {
        if (chunk->size == 0)
            return;
        digest.add(chunk->data, static_cast<std::size_t>(chunk->size));
        ring.release(0);
    }
}

// One place's writer: every chunk in turn. A failure stops the ring, so the
// reading and the other places stop too.
void write(ChunkRing& ring, int consumer, Writer& writer)
{
    while (const std::optional<ChunkRing::Chunk> chunk = ring.next(consumer)) {
        if (chunk->size == 0)
            return;
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

void discard(std::vector<Writer>& writers)
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
    for (int place = 0; place < placeCount; ++place)
        m_finishers.push_back(std::make_unique<CopyFinisher>());
}

std::optional<CopyFinisher::Failure> FileCopier::failure()
{
    for (const std::unique_ptr<CopyFinisher>& finisher : m_finishers) {
        if (std::optional<CopyFinisher::Failure> failed = finisher->failure())
            return failed;
    }
    return std::nullopt;
}

std::optional<CopyFinisher::Failure> FileCopier::finish()
{
    std::optional<CopyFinisher::Failure> first;
    for (const std::unique_ptr<CopyFinisher>& finisher : m_finishers) {
        std::optional<CopyFinisher::Failure> failed = finisher->drain();
        if (!first)
            first = std::move(failed);
    }
    return first;
}

FileCopier::Outcome FileCopier::copy(const QString& sourcePath, const ListedFile& file,
                                     const QStringList& finalPaths, std::atomic<qint64>& bytesRead,
                                     const std::atomic<bool>& cancel)
{
    Outcome outcome;
    if (const std::optional<CopyFinisher::Failure> failed = failure()) {
        outcome.failedPath = failed->finalPath;
        outcome.error = failed->error;
        return outcome;
    }
    const int source = ::open(QFile::encodeName(sourcePath).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (source < 0) {
        outcome.failedPath = sourcePath;
        outcome.error = DiskFile::systemError();
        return outcome;
    }
    ::posix_fadvise(source, 0, 0, POSIX_FADV_SEQUENTIAL);

    std::vector<Writer> writers;
    for (int place = 0; place < int(finalPaths.size()) && place < int(m_finishers.size()); ++place) {
        if (finalPaths.at(place).isEmpty())
            continue;
        Writer& writer = writers.emplace_back();
        writer.place = place;
        writer.finalPath = finalPaths.at(place);
        writer.temporaryPath = DiskFile::temporaryPath(writer.finalPath);
        // Listed before it exists and made through the list: a second
        // interrupt removes it, and none is made once that removal has begun.
        writer.unfinished = std::make_unique<UnfinishedFiles::Entry>(writer.temporaryPath);
        writer.fd = DiskFile::createTemporary(*writer.unfinished);
        if (writer.fd < 0) {
            outcome.failedPath = writer.finalPath;
            outcome.error = DiskFile::systemError();
            discard(writers);
            ::close(source);
            return outcome;
        }
    }

    m_ring.start(int(writers.size()) + 1);
    Xxh64 digest;
    QList<QFuture<void>> consumers;
    consumers.append(QtConcurrent::run(&m_workers, [this, &digest] { hashChunks(m_ring, digest); }));
    for (std::size_t i = 0; i < writers.size(); ++i) {
        Writer& writer = writers[i];
        const int consumer = int(i) + 1;
        consumers.append(
            QtConcurrent::run(&m_workers, [this, &writer, consumer] { write(m_ring, consumer, writer); }));
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
        for (Writer& writer : writers) {
            m_finishers.at(std::size_t(writer.place))
                ->add({writer.fd, writer.temporaryPath, writer.finalPath, file.modifiedSeconds,
                       file.modifiedNanoseconds, std::move(writer.unfinished)});
        }
        outcome.digest = digest.digest();
        return outcome;
    }
    discard(writers);
    return outcome;
}
