#pragma once

#include <QString>

// Directory and file helpers shared by the scanner and the output naming.
namespace FileSystemUtilities {

// Byte size of a regular file; 0 when it does not exist or cannot be read.
qint64 fileSize(const QString& path);

} // namespace FileSystemUtilities
