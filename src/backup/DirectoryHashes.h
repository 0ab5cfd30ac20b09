#pragma once

#include "backup/MhlManifest.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

// The ASC MHL content and structure hashes of every folder of a tree and of
// its root, from the XXH64 of its files: a folder's content hash is the hash
// of its children's hashes (files' own, folders' content hashes), its
// structure hash that of each child's name followed by its hash (folders'
// structure hashes), both lists sorted by value first. A name counts as its
// UTF-8 bytes, a hash as its eight bytes big-endian.
namespace DirectoryHashes {

struct Result
{
    Mhl::DirectoryHash root;
    // By relative path, for every folder below the root.
    QHash<QString, Mhl::DirectoryHash> folders;
};

// `files` by relative path; `folders` lists every folder below the root,
// empty ones included (the parents of files are added when missing).
Result compute(const QList<Mhl::FileRecord>& files, const QStringList& folders);

// The hash of a list of hashes: sorted, each as its eight bytes, hashed together.
quint64 ofHashes(QList<quint64> hashes);

} // namespace DirectoryHashes
