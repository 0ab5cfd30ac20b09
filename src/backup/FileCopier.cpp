#include "backup/FileCopier.h"

#include "backup/DiskFile.h"
#include "backup/Xxh64.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <QFile>
#include <QFileInfo>
#include <QFuture>
#include <QtConcurrent/QtConcurrentRun>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Writer
{
    QString finalPath;
    QString temporaryPath;
    int fd = -1;
    qint64 written = 0;
    QString error;
};

bool writeAll(Writer& writer, const char* data, qint64 size)
{
    qint64 done = 0;
    while (done < size) {
        const ssize_t count = ::write(writer.fd, data + done, static_cast<size_t>(size - done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            writer.error = DiskFile::systemError();
            return false;
        }
        done += count;
    }
    // The disk starts on these bytes now rather than all at once at the flush.
    ::sync_file_range(writer.fd, writer.written, size, SYNC_FILE_RANGE_WRITE);
    writer.written += size;
    return true;
}

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

FileCopier::FileCopier(int placeCount)
{
    m_writers.setMaxThreadCount(std::max(1, placeCount));
    m_writers.setExpiryTimeout(-1);
}

QString FileCopier::temporaryPath(const QString& finalPath)
{
    const QFileInfo info(finalPath);
    return info.path() + QStringLiteral("/.") + info.fileName() + QStringLiteral(".tolvane-part");
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

    QList<Writer> writers;
    for (const QString& finalPath : finalPaths) {
        Writer writer;
        writer.finalPath = finalPath;
        writer.temporaryPath = temporaryPath(finalPath);
        // A temporary file of an earlier, interrupted run is ours to replace.
        writer.fd = ::open(QFile::encodeName(writer.temporaryPath).constData(),
                           O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644);
        if (writer.fd < 0) {
            outcome.failedPath = finalPath;
            outcome.error = DiskFile::systemError();
            discard(writers);
            ::close(source);
            return outcome;
        }
        writers.append(writer);
    }

    // Two buffers: one is being written out while the other is read and hashed.
    std::array<QByteArray, 2> buffers{QByteArray(DiskFile::chunkSize, Qt::Uninitialized),
                                      QByteArray(DiskFile::chunkSize, Qt::Uninitialized)};
    QList<QFuture<bool>> writing;
    const auto writesSucceeded = [&writing] {
        bool succeeded = true;
        for (QFuture<bool>& future : writing)
            succeeded = future.result() && succeeded;
        writing.clear();
        return succeeded;
    };
    const auto fail = [&](const QString& path, const QString& error) {
        writesSucceeded();
        discard(writers);
        ::close(source);
        outcome.failedPath = path;
        outcome.error = error;
        return outcome;
    };
    const auto failedWriter = [&writers]() -> const Writer* {
        for (const Writer& writer : writers) {
            if (!writer.error.isEmpty())
                return &writer;
        }
        return nullptr;
    };

    Xxh64 hash;
    int current = 0;
    for (;;) {
        if (cancel.load(std::memory_order_relaxed))
            return fail(QString(), QString());
        QByteArray& buffer = buffers[current];
        ssize_t count = ::read(source, buffer.data(), static_cast<size_t>(buffer.size()));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return fail(sourcePath, DiskFile::systemError());
        hash.add(buffer.constData(), static_cast<std::size_t>(count));
        bytesRead.fetch_add(count, std::memory_order_relaxed);
        if (!writesSucceeded()) {
            const Writer* failed = failedWriter();
            return fail(failed->finalPath, failed->error);
        }
        if (count == 0)
            break;
        for (Writer& writer : writers) {
            const char* data = buffer.constData();
            writing.append(QtConcurrent::run(
                &m_writers, [&writer, data, count] { return writeAll(writer, data, count); }));
        }
        current = 1 - current;
    }
    ::close(source);

    for (Writer& writer : writers)
        writing.append(QtConcurrent::run(&m_writers, [&writer, &file] { return complete(writer, file); }));
    if (!writesSucceeded()) {
        const Writer* failed = failedWriter();
        const Outcome failure{std::nullopt, failed->finalPath, failed->error};
        // Copies already renamed are complete and correct; only the rest go.
        discard(writers);
        return failure;
    }
    outcome.digest = hash.digest();
    return outcome;
}
