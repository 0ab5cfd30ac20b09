#pragma once

#include "base/FileState.h"

#include <functional>
#include <optional>
#include <QByteArray>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QStringView>
#include <vector>

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

// One entry of a folder as its listing shows it.
struct ListedEntry
{
    QByteArray name; // as the system spells it
    enum class Kind { file, folder, linkToFolder, other } kind = Kind::other;
    // A symbolic link: a file reached through one can change without its folder knowing.
    bool isLink = false;
    // What the file system says of a file the walk looks for, when it could say.
    std::optional<FileState> state;
    // Why the entry could not be looked at once listed (errno: ENOENT when it
    // vanished in between); 0 when it could be.
    int lookError = 0;

    bool operator==(const ListedEntry&) const = default;
};

// A folder's non-hidden entries in byte order of their names, links followed
// to tell a file from a folder. A folder that cannot be listed (or fails
// half-way, keeping what it got) says why in `unlisted`.
struct FolderListing
{
    std::vector<ListedEntry> entries;
    // The names of the hidden entries, in byte order.
    std::vector<QByteArray> hidden;
    std::optional<Unreadable> unlisted;

    bool operator==(const FolderListing&) const = default;
};

FolderListing listFolder(const QString& folder);

// Called with the path of each folder a walk lists (as the system spells it),
// once the listing is read and before its files are looked at: tests remove a
// file there, as a card pulled out or a failing reader would, to see it
// accounted for. Nothing by default.
void setListedHookForTesting(std::function<void(const QByteArray& folder)> hook);

// The first child directory (or link to one) of `folder`, as `listing` shows
// it, whose name equals `name` without regard to letter case. Children are
// examined in byte order of their names, so of "VIDEO" and "video" the
// upper-case one wins.
std::optional<QString> findSubdirectory(const QString& name, const QString& folder,
                                        const FolderListing& listing);

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

// An entry a walk saw and did not take, with why, in a few words.
struct PassedOver
{
    QString path;
    QString reason;

    bool operator==(const PassedOver&) const = default;
};

// Why a walk passes over an entry: a FIFO, socket or device, or a link to one
// or to nothing.
QString notRegularFileReason();
// A link to a folder.
QString linkToFolderReason();
// A hidden entry.
QString hiddenReason();
// An entry listed that could not be looked at, for the system's `error`: one
// gone in between "vanished while the card was read".
QString lookFailureReason(int error);
// A regular file without one of `extensions` (lower-cased, without the dot).
QString otherExtensionReason(const QSet<QString>& extensions);

// A file a walk found.
struct FoundFile
{
    QString path;          // decoded, for Qt and for people
    QByteArray nativePath; // as the system spells it
    FileState state;
    bool throughLink = false;

    bool operator==(const FoundFile&) const = default;
};

// What a walk saw, before anything was asked of a file: two equal walks of a
// folder mean nothing in it changed in between.
struct Walk
{
    // Every regular file whose lower-cased extension was asked for, in listing order.
    std::vector<FoundFile> files;
    // Folders of the walk that could not be listed.
    QList<Unreadable> unlisted;
    // Every other entry of an unbounded walk that is not in `files` and is
    // not a folder it entered, in listing order.
    std::vector<PassedOver> passedOver;
    // Every folder listed, as the system spells it, the first one first.
    std::vector<QByteArray> folders;
    // Set when a bounded walk gave up; `files` is empty then.
    std::optional<QString> stopped;

    bool operator==(const Walk&) const = default;
};

// Every regular file below `folder`, at any depth, whose lower-cased extension
// is in `extensions`. A link to a regular file counts as that file. A name that
// is not valid UTF-8 is listed with U+FFFD in place of its bad bytes in `path`:
// it shows in the reports instead of vanishing without a word.
// Without `bounds`, every entry not taken is in `passedOver`.
// With `bounds`, the walk stays within them and never enters a folder on
// another file system than `folder` (a mounted disk, /proc below "/"); a start
// on a virtual file system, or more regular files than the bound, stops it with
// a sentence that says so.
Walk walk(const QString& folder, const QSet<QString>& extensions, const WalkBounds* bounds = nullptr);

// The files of `walk` that can be read, sorted by file name (see
// sortByFileName). The folders it could not list and every file that cannot be
// read go to `unreadable`, with the system's reason.
QStringList readableFiles(const Walk& walk, QList<Unreadable>& unreadable);

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
// links and ".." are resolved, or whether one of the folders above it is
// `folder` by the system's identity (device and inode), as through a bind
// mount. `path` need not exist yet: its nearest existing ancestor is resolved
// and the rest is taken as written.
bool isWithin(const QString& path, const QString& folder);

} // namespace FileSystemUtilities
