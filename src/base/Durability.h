#pragma once

#include <optional>
#include <QString>

// Makes what was written survive a power cut. A file's bytes reach the disk
// only once it is flushed, and a rename or a new link is itself an entry of
// its folder that reaches the disk only once the folder is flushed: without
// both, a movie can come back after a crash with its final name and nothing in it.
namespace Durability {

// Flushes the file's content to the disk; the reason when that failed.
std::optional<QString> flushFile(const QString& path);

// Flushes the content written so far through an open file's descriptor.
std::optional<QString> flushDescriptor(int descriptor);

// Flushes the folder's entries to the disk, after a file in it was renamed,
// linked or created; the reason when that failed.
std::optional<QString> flushFolder(const QString& folder);

// Flushes the folder that holds `path`.
std::optional<QString> flushFolderOf(const QString& path);

} // namespace Durability
