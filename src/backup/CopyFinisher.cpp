#include "backup/CopyFinisher.h"

#include "backup/DiskFile.h"

#include <fcntl.h>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QtConcurrent/QtConcurrentRun>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void removeTemporary(CopyFinisher::Copy& copy)
{
    if (copy.fd >= 0)
        ::close(copy.fd);
    copy.fd = -1;
    ::unlink(QFile::encodeName(copy.temporaryPath).constData());
}

// Flushes the copy, gives it its time and its final name; the error when the disk refused.
std::optional<QString> makeFinal(CopyFinisher::Copy& copy)
{
    const timespec times[2] = {{0, UTIME_OMIT}, {copy.modifiedSeconds, copy.modifiedNanoseconds}};
    if (::fsync(copy.fd) != 0 || ::futimens(copy.fd, times) != 0)
        return DiskFile::systemError();
    // Read back later from the disk, not from memory.
    ::posix_fadvise(copy.fd, 0, 0, POSIX_FADV_DONTNEED);
    const int closed = ::close(copy.fd);
    copy.fd = -1;
    if (closed != 0 || ::rename(QFile::encodeName(copy.temporaryPath).constData(),
                                QFile::encodeName(copy.finalPath).constData()) != 0)
        return DiskFile::systemError();
    return std::nullopt;
}

} // namespace

CopyFinisher::CopyFinisher()
{
    m_thread.setMaxThreadCount(1);
    m_loop = QtConcurrent::run(&m_thread, [this] { run(); });
}

CopyFinisher::~CopyFinisher()
{
    {
        const std::lock_guard lock(m_mutex);
        m_closing = true;
    }
    m_changed.notify_all();
    m_loop.waitForFinished();
}

void CopyFinisher::add(Copy copy)
{
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_waiting.size() + m_finishing < std::size_t(waitingLimit); });
        m_waiting.push_back(std::move(copy));
    }
    m_changed.notify_all();
}

std::optional<CopyFinisher::Failure> CopyFinisher::failure()
{
    const std::lock_guard lock(m_mutex);
    return m_failure;
}

std::optional<CopyFinisher::Failure> CopyFinisher::drain()
{
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_waiting.empty() && m_finishing == 0; });
    return m_failure;
}

void CopyFinisher::run()
{
    std::unique_lock lock(m_mutex);
    while (true) {
        m_changed.wait(lock, [this] { return !m_waiting.empty() || m_closing; });
        if (m_waiting.empty())
            return;
        std::deque<Copy> batch;
        batch.swap(m_waiting);
        m_finishing = batch.size();
        lock.unlock();
        m_changed.notify_all();
        finish(batch);
        lock.lock();
        m_finishing = 0;
        m_changed.notify_all();
    }
}

void CopyFinisher::finish(std::deque<Copy>& batch)
{
    // Each folder with the first copy renamed in it, which a failed flush of the folder names.
    QHash<QString, QString> folders;
    for (Copy& copy : batch) {
        if (failure()) {
            removeTemporary(copy);
            continue;
        }
        if (const std::optional<QString> error = makeFinal(copy)) {
            removeTemporary(copy);
            const std::lock_guard lock(m_mutex);
            m_failure = Failure{copy.finalPath, *error};
            continue;
        }
        const QString folder = QFileInfo(copy.finalPath).path();
        if (!folders.contains(folder))
            folders.insert(folder, copy.finalPath);
    }
    // Every rename of the batch reaches the disk with one flush of each folder.
    for (auto folder = folders.cbegin(); folder != folders.cend(); ++folder) {
        if (DiskFile::syncFolder(folder.key()))
            continue;
        const QString error = DiskFile::systemError();
        const std::lock_guard lock(m_mutex);
        if (!m_failure)
            m_failure = Failure{folder.value(), error};
    }
}
