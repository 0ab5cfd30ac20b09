#include "run/RunFolderLock.h"

#include "media/FFmpegService.h"
#include "run/OutputFolderNamer.h"

#include <fcntl.h>
#include <QDir>
#include <QFile>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

namespace {

int lockedFolder(const QString& folder, int operation)
{
    const int descriptor = open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return -1;
    if (flock(descriptor, operation | LOCK_NB) != 0) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

} // namespace

std::optional<RunFolderLock> RunFolderLock::tryHold(const QString& folder)
{
    const int descriptor = lockedFolder(folder, LOCK_EX);
    if (descriptor < 0)
        return std::nullopt;
    return RunFolderLock(descriptor);
}

std::optional<RunFolderLock> RunFolderLock::holdShared(const QString& folder)
{
    const int descriptor = lockedFolder(folder, LOCK_SH);
    if (descriptor < 0)
        return std::nullopt;
    return RunFolderLock(descriptor);
}

void RunFolderLock::share()
{
    if (m_descriptor >= 0)
        flock(m_descriptor, LOCK_SH | LOCK_NB);
}

RunFolderLock::RunFolderLock(RunFolderLock&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1))
{
}

RunFolderLock& RunFolderLock::operator=(RunFolderLock&& other) noexcept
{
    if (this != &other) {
        if (m_descriptor >= 0)
            close(m_descriptor);
        m_descriptor = std::exchange(other.m_descriptor, -1);
    }
    return *this;
}

RunFolderLock::~RunFolderLock()
{
    if (m_descriptor >= 0)
        close(m_descriptor);
}

void RunFolderLock::removeAbandonedTemporaries(const QString& baseFolder)
{
    const QDir base(baseFolder);
    // Links are not followed: a run folder is always a real one.
    const QStringList folders = base.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks);
    for (const QString& name : folders) {
        if (!OutputFolderNamer::isRunFolderName(name))
            continue;
        const QString folder = base.filePath(name);
        if (const std::optional<RunFolderLock> held = tryHold(folder))
            FFmpegService::removeStaleTemporaries(folder);
    }
}
