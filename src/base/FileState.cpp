#include "base/FileState.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace {

qint64 nanoseconds(const timespec& time)
{
    return static_cast<qint64>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

std::optional<FileState> fromStatus(const struct stat& status)
{
    if (!S_ISREG(status.st_mode))
        return std::nullopt;
#ifdef Q_OS_DARWIN
    const timespec modified = status.st_mtimespec;
    const timespec changed = status.st_ctimespec;
#else
    const timespec modified = status.st_mtim;
    const timespec changed = status.st_ctim;
#endif
    return FileState{static_cast<qint64>(status.st_size),
                     nanoseconds(modified),
                     nanoseconds(changed),
                     static_cast<quint64>(status.st_ino),
                     static_cast<quint64>(status.st_dev),
                     static_cast<quint64>(status.st_nlink)};
}

} // namespace

std::optional<FileState> FileState::of(const QByteArray& nativePath)
{
    struct stat status
    {
    };
    if (::stat(nativePath.constData(), &status) != 0)
        return std::nullopt;
    return fromStatus(status);
}

std::optional<FileState> FileState::ofEntry(int folderDescriptor, const char* name)
{
    struct stat status
    {
    };
    if (::fstatat(folderDescriptor, name, &status, 0) != 0)
        return std::nullopt;
    return fromStatus(status);
}

bool FileState::isRecent(qint64 nowNanoseconds, int seconds) const
{
    const qint64 window = qint64(seconds) * 1'000'000'000;
    return nowNanoseconds - modifiedNanoseconds < window || nowNanoseconds - changedNanoseconds < window;
}
