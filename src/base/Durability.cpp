#include "base/Durability.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <QFile>
#include <QFileInfo>
#include <unistd.h>

namespace {

QString systemReason()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

std::optional<QString> flush(const QString& path, int flags)
{
    const int descriptor = open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | flags);
    if (descriptor < 0)
        return systemReason();
    std::optional<QString> failure;
    if (fsync(descriptor) != 0)
        failure = systemReason();
    close(descriptor);
    return failure;
}

} // namespace

namespace Durability {

std::optional<QString> flushFile(const QString& path)
{
    return flush(path, 0);
}

std::optional<QString> flushDescriptor(int descriptor)
{
    if (fsync(descriptor) != 0)
        return systemReason();
    return std::nullopt;
}

std::optional<QString> flushFolder(const QString& folder)
{
    return flush(folder, O_DIRECTORY);
}

std::optional<QString> flushFolderOf(const QString& path)
{
    return flushFolder(QFileInfo(path).absolutePath());
}

} // namespace Durability
