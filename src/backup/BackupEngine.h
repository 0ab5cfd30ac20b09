#pragma once

#include "backup/BackupProgress.h"
#include "backup/BackupResult.h"

#include <functional>
#include <QDateTime>
#include <QString>
#include <QStringList>

// What to back up, where to, and who is doing it (for the history).
struct BackupRequest
{
    // The card's root folder, or its CONTENTS folder.
    QString card;
    // Each destination receives the card as DEST/CARDNAME.
    QStringList destinations;
    QString hostName;
    QString toolName;
    QString toolVersion;
    // When the backup started; names the history's manifests.
    QDateTime started = QDateTime::currentDateTimeUtc();
    // Told the path of every file just written, after all are on disk and
    // before any is read back. Lets a test stand in for a disk that damages a copy.
    std::function<void(const QStringList& written)> beforeProving;
};

// Backs a card up to one or more destinations and proves every copy:
//   1. lists the card and refuses, before writing anything, a destination
//      without room or with a file in the way that differs from the card's;
//   2. copies each file once from the card to every destination (files
//      already there are read back and compared instead);
//   3. reads every new copy back from the disk and compares its checksum;
//   4. adds a generation to each copy's ASC MHL history, and gives the
//      copy's folders the card's modification times.
// Blocking: run it on a worker thread. The card is only read.
namespace BackupEngine {

BackupResult run(const BackupRequest& request, BackupProgress& progress);

// The card root a folder names: its parent when it is a card's CONTENTS folder.
QString cardRoot(const QString& folder);

} // namespace BackupEngine
