#pragma once

#include <QString>
#include <QStringList>

// The facts that differ between the desktops Tolvane runs on: where the media
// tools are looked for, where movies go by default, and the words for the
// file manager and for installing ffmpeg. Every other place asks here, so the
// rest of the code has no platform conditionals and the words stay consistent
// from status lines to reports to the window.
//
// Each text here is a word or phrase, not a sentence: the sentence shapes
// belong to the code that shows them.
struct PlatformFacts
{
    // Searched in this order; PATH is never consulted, so the tools run are the
    // ones installed in a known place, not whatever a login shell put first.
    QStringList toolFolders;
    // The base under which dated run folders are created when the user has
    // not chosen one.
    QString defaultOutputFolder;

    // Linux's words as examples; macOS keeps the words its users know.
    QString fileManagerName;          // "File Manager"
    QString revealInFileManagerTitle; // "Show in File Manager"
    QString revealOutputTitle;        // "Show Output in File Manager"
    QString fileManagerNameSort;      // "the file manager's name sort"
    QString readableByEditors;        // "ready for any editor"
    QString packageManagerName;       // "your package manager", as in "Install it with your package manager"
    QString ffmpegInstallCommand;     // "sudo apt install ffmpeg"
    QString terminalName;             // "a terminal", as in "Open a terminal and run:"
    // File systems the kernel makes up (as QStorageInfo names them): they hold
    // no camera files, and walking them reads the machine's state, not a disk.
    QStringList virtualFileSystems;
    // File systems on which every change is made through this machine's own
    // kernel, which reports it to a folder watch: local disks and memory.
    // Network and user-space file systems can change beneath it unseen.
    QStringList watchableFileSystems;

    bool operator==(const PlatformFacts&) const = default;
};

namespace Platform {

enum class Kind { macOS, linuxDesktop };

// The platform this build runs on.
Kind currentKind();

// The facts of `kind`, with the default output folder placed in
// `moviesFolder` where the platform keeps it under the user's videos folder.
PlatformFacts factsFor(Kind kind, const QString& moviesFolder);

// The facts of the running platform (computed once).
const PlatformFacts& current();

// "/usr/local/bin and /usr/bin": the tool folders as a sentence fragment.
QString toolFoldersText(const PlatformFacts& facts);

} // namespace Platform
