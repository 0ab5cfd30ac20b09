#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <sys/types.h>

// Hand-made folder trees for tests that need no real media: the scanner never
// opens a file, so empty files stand in for essence.
namespace CardTree {

// Creates every entry below `root`: a path ending in "/" is a folder, anything
// else an empty file (parents are created as needed).
bool make(const QString& root, const QStringList& entries);

bool writeFile(const QString& path, const QByteArray& content);

// `paths` relative to `root`, in the same order.
QStringList relative(const QString& root, const QStringList& paths);

// Every entry below `root` with its kind, size, modification time, permissions
// and content hash, so any change to the tree shows as a difference.
QStringList fingerprint(const QString& root);

// Adds or removes write permission on `root` and everything below it.
bool setWritable(const QString& root, bool writable);

// Lets every user list and read `root` and everything below it.
bool grantReadToEveryone(const QString& root);

// Root ignores permission bits. Checks of unreadable files therefore run with an
// unprivileged file-system identity on this thread for as long as this lives.
class UnprivilegedFileAccess
{
public:
    UnprivilegedFileAccess();
    ~UnprivilegedFileAccess();
    UnprivilegedFileAccess(const UnprivilegedFileAccess&) = delete;
    UnprivilegedFileAccess& operator=(const UnprivilegedFileAccess&) = delete;

    // Permission bits are in force for this thread.
    bool effective() const;

private:
    bool m_switched = false;
};

} // namespace CardTree
