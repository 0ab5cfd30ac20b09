#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QtGlobal>

// Every file and folder below a root, hidden ones included, with what a
// backup keeps of each file: its size and its modification time to the
// nanosecond.
struct ListedFile
{
    // Relative to the root, "/" between folders.
    QString path;
    qint64 size = 0;
    qint64 modifiedSeconds = 0;
    long modifiedNanoseconds = 0;

    QDateTime lastModified() const;
};

struct TreeListing
{
    QList<ListedFile> files;
    // Relative paths of every folder below the root, parents before children.
    QStringList folders;
    qint64 totalBytes = 0;
    // What could not be listed or is no plain file or folder (links,
    // devices), one sentence each; a backup of such a tree is refused.
    QStringList problems;

    // Lists `root`, sorted by path. With `skipHistory`, the ASC MHL history
    // folder at the root (ascmhl) is left out.
    static TreeListing of(const QString& root, bool skipHistory);
};

// The name of an ASC MHL history's folder inside its scope.
inline constexpr char historyFolderName[] = "ascmhl";

// Whether the standard's default ignore patterns leave `path` out of a
// manifest: any .DS_Store file, any folder named ascmhl.
bool isIgnoredByHistory(const QString& path);
