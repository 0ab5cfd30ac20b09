#pragma once

#include <QByteArray>

// Tells whether anything changed in a few folders since they began to be
// watched, without looking at a single file: the system reports every entry
// created, removed, renamed, written or changed in its attributes, and every
// watched folder removed, moved or unmounted.
//
// What it cannot see is the caller's to rule out: writes through another name
// of a file (a hard link elsewhere), changes to the target of a symbolic link,
// changes a network file system's server makes, and writes through a memory
// mapping. Where the system offers no such reports, nothing can be watched and
// every question is answered "changed".
class FolderWatch
{
public:
    FolderWatch();
    ~FolderWatch();
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    // Starts watching the entries of `nativeFolder` (not those of its
    // sub-folders); false when the system cannot.
    bool add(const QByteArray& nativeFolder);

    // Whether nothing was reported since the first folder was added. Once
    // something was, the answer stays false.
    bool isQuiet();

private:
    int m_descriptor = -1;
    bool m_quiet = true;
};
