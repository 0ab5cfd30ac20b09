#pragma once

#include <functional>
#include <QDateTime>
#include <QString>

// Where a run's files go: one dated folder per run, never an existing one.
// Nothing here creates anything; the caller makes the folder it is given.
namespace OutputFolderNamer {

// Tells whether any kind of entry (file, folder, link) is at a path.
using EntryExists = std::function<bool(const QString& path)>;

// The run folder's name for `date` in the user's time zone, month first
// whatever the regional settings: 1 July 2026 gives 07-01-2026.
QString todayFolderName(const QDateTime& date);

// `baseDirectory`/`baseName` when nothing is there yet, otherwise the first of
// "baseName (2)", "baseName (3)", … that is free. A file in the way counts
// like a folder, and so does a link that leads nowhere.
QString availableURL(const QString& baseDirectory, const QString& baseName);
QString availableURL(const QString& baseDirectory, const QString& baseName, const EntryExists& exists);

// Whether `name` is one that `todayFolderName` and `availableURL` give a run
// folder: "07-01-2026" or "07-01-2026 (2)".
bool isRunFolderName(const QString& name);

// The file system's answer for `availableURL`.
bool entryExists(const QString& path);

} // namespace OutputFolderNamer
