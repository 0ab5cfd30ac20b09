#pragma once

#include <QString>
#include <QtGlobal>

// Reading and writing a backup's files with plain system calls, so that what
// reaches the disk and what is read back from it is under our control.
namespace UnfinishedFiles {
class Entry;
}

namespace DiskFile {

// How much is read or written at once.
inline constexpr qint64 chunkSize = 8 * 1024 * 1024;

// Writes all of `size` bytes to `fd`; false with `error` set when the disk refused.
bool writeAll(int fd, const char* data, qint64 size, QString& error);

// Where a file that will be named `finalPath` is written until it is complete:
// hidden beside it, so a folder listing never shows it as a finished file.
QString temporaryPath(const QString& finalPath);

// Creates, or empties, the temporary file `unfinished` lists, for writing:
// a descriptor, or -1 with errno set. A temporary file of an earlier,
// interrupted run is ours to replace; a process that is ending creates none.
int createTemporary(UnfinishedFiles::Entry& unfinished);

// Flushes the folder at `path` itself, so that a rename inside it is on disk.
bool syncFolder(const QString& path);

// The text of the last system error, for a message.
QString systemError();

} // namespace DiskFile
