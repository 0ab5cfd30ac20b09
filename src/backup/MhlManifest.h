#pragma once

#include <optional>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QtGlobal>

// One generation of an ASC MHL history (urn:ASC:MHL:v2.0), as Tolvane writes
// and reads it: XXH64 only, one hash per file.
namespace Mhl {

// What a file's hash in a generation says about it.
enum class Action { original, verified, failed };

QString actionName(Action action);
std::optional<Action> actionNamed(const QString& name);

// A file's hash record. `path` is relative to the history's folder, with "/"
// between folders.
struct FileRecord
{
    QString path;
    qint64 size = 0;
    QDateTime lastModified;
    quint64 xxh64 = 0;
    Action action = Action::original;
};

// The content and structure hashes of a folder (ASC MHL directory hashes).
struct DirectoryHash
{
    quint64 content = 0;
    quint64 structure = 0;
};

struct DirectoryRecord
{
    QString path;
    QDateTime lastModified;
    DirectoryHash hash;
};

enum class Process { inPlace, transfer };

struct Manifest
{
    QDateTime created;
    QString hostName;
    QString toolName;
    QString toolVersion;
    Process process = Process::transfer;
    std::optional<DirectoryHash> root;
    QList<FileRecord> files;
    QList<DirectoryRecord> directories;
};

// The patterns every Tolvane manifest names as ignored: the standard's defaults.
QStringList ignorePatterns();

} // namespace Mhl
