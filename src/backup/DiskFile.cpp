#include "backup/DiskFile.h"

#include "base/UnfinishedFiles.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <QFile>
#include <QFileInfo>
#include <unistd.h>

namespace DiskFile {

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
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
