#pragma once

#include <optional>
#include <QByteArray>
#include <QtGlobal>

// What the file system says of a file now, enough to tell that it changed
// since it was last looked at: a write moves its modification time or size, a
// replacement its inode, and a change of permissions, owner or ACL its
// status-change time. Comparing two states costs no read of the file.
struct FileState
{
    qint64 size = 0;
    qint64 modifiedNanoseconds = 0;
    qint64 changedNanoseconds = 0;
    quint64 inode = 0;
    quint64 device = 0;
    // Names the file has; a file with more than one can be written under another.
    quint64 links = 0;

    // The state of the regular file at `nativePath` (links followed), or of
    // the entry `name` of the open folder `folderDescriptor`; nothing when it
    // is not a regular file or cannot be looked at.
    static std::optional<FileState> of(const QByteArray& nativePath);
    static std::optional<FileState> ofEntry(int folderDescriptor, const char* name);

    // Whether the file was changed so recently (within `seconds` of now) that a
    // further change in the same tick of a coarse clock (FAT keeps two seconds)
    // would leave this state as it is.
    bool isRecent(qint64 nowNanoseconds, int seconds = 2) const;

    bool operator==(const FileState&) const = default;
};
