#pragma once

#include <atomic>
#include <optional>
#include <QByteArray>
#include <QString>
#include <QtGlobal>

// Reading and writing a backup's files with plain system calls, so that what
// reaches the disk and what is read back from it is under our control.
class ChunkRing;
class Xxh64;
namespace UnfinishedFiles {
class Entry;
}

namespace DiskFile {

// How much is read or written at once.
inline constexpr qint64 chunkSize = 8 * 1024 * 1024;

// The XXH64 of the file at `path` as the disk holds it: its pages are dropped
// from the cache before it is read. The checksum of each chunk is taken on
// another thread while the next is read, so reading is all it waits for.
// `bytesRead` grows as it is read; nothing when it cannot be read or `cancel`
// was set, with `error` saying why.
std::optional<quint64> readBackDigest(const QString& path, std::atomic<qint64>& bytesRead,
                                      const std::atomic<bool>& cancel, QString& error);

// Writes all of `size` bytes to `fd`; false with `error` set when the disk refused.
bool writeAll(int fd, const char* data, qint64 size, QString& error);

// Takes the checksum of every chunk the ring passes to consumer 0, to the end
// of the stream or until the ring is stopped.
void hashChunks(ChunkRing& ring, Xxh64& digest);

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
