#include "card/FileSystemUtilities.h"

#include <QFileInfo>

namespace FileSystemUtilities {

qint64 fileSize(const QString& path)
{
    const QFileInfo info(path);
    return info.isFile() ? info.size() : 0;
}

} // namespace FileSystemUtilities
