#pragma once

#include <optional>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QStringView>

// Directory and file helpers shared by the scanner, the output naming and the
// conversion run.
//
// Every walk here only reads directory listings; nothing is opened or changed.
// Hidden entries (a name starting with ".") are skipped, symbolic links to
// directories are never descended into (so a link loop cannot hang a walk),
// and a folder that cannot be listed behaves as an empty one. Linux has no
// bundle directories, so every real sub-folder is walked.
namespace FileSystemUtilities {

// A folder that exists but could not be listed, or a file that cannot be read,
// with the system's reason ("Permission denied").
struct Unreadable
{
    QString path;
    QString reason;

    bool operator==(const Unreadable&) const = default;
};

// The first immediate, non-hidden child directory of `folder` whose name equals
// `name` without regard to letter case. Children are examined in byte order of
// their names, so of "VIDEO" and "video" the upper-case one wins.
// A folder that cannot be listed is added to `unreadable` when given.
std::optional<QString> findSubdirectory(const QString& name, const QString& folder,
                                        QList<Unreadable>* unreadable = nullptr);

// Every regular file below `folder`, at any depth, whose lower-cased extension
// is in `extensions`; sorted by file name alone (see sortByFileName). A link to
// a regular file counts as that file. A name that is not valid UTF-8 is listed
// with U+FFFD in place of its bad bytes: it cannot be opened under that path,
// but it shows in the reports instead of vanishing without a word.
// With `unreadable` given, every folder of the walk that cannot be listed and
// every matching file that cannot be read goes there instead of into the result.
QStringList files(const QString& folder, const QSet<QString>& extensions,
                  QList<Unreadable>* unreadable = nullptr);

// How far a walk that may start anywhere goes: the folder it starts in could be
// "/" or a home folder, and a scan must neither read the machine's state nor
// wander for minutes.
struct WalkBounds
{
    // Folders more than this many levels below the start are not entered.
    int maximumDepth = 4;
    // The walk stops when it has seen more regular files than this.
    qsizetype maximumFiles = 5000;
    // File-system types (as QStorageInfo names them) never walked.
    QStringList virtualFileSystems;
};

// What a bounded walk found, or why it stopped short.
struct BoundedFiles
{
    QStringList files;
    // Set when the walk gave up; `files` is empty then.
    std::optional<QString> stopped;
};

// As `files`, within `bounds`, and never into a folder on another file system
// than `folder` (a mounted disk, /proc below "/"). A start on a virtual file
// system, or more regular files than the bound, stops the walk with a sentence
// that says so.
BoundedFiles boundedFiles(const QString& folder, const QSet<QString>& extensions, const WalkBounds& bounds,
                          QList<Unreadable>* unreadable = nullptr);

// Orders file names the way a file browser shows them, the same on every
// machine: case-insensitive (Unicode case folding) and digit runs compared by
// numeric value, so CLIP2 comes before CLIP10. Returns <0, 0 or >0. Two names
// differing only in case are equal; when digit runs differ only in leading
// zeros, the run with fewer zeros comes first.
int compareFileNames(QStringView a, QStringView b);

// Stable sort of paths by their last component with compareFileNames.
void sortByFileName(QStringList& paths);

// Byte size of a regular file; 0 when it does not exist or cannot be read.
qint64 fileSize(const QString& path);

// Makes `folder` and every missing folder above it; an existing folder is fine.
// Returns the system's reason and the path when it could not, for example
// "Permission denied (/media/out/07-01-2026)".
std::optional<QString> createDirectories(const QString& folder);

// Whether `path` is `folder` itself or lies anywhere below it, once symbolic
// links and ".." are resolved. `path` need not exist yet: its nearest existing
// ancestor is resolved and the rest is taken as written.
bool isWithin(const QString& path, const QString& folder);

} // namespace FileSystemUtilities
