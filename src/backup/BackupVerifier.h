#pragma once

#include "backup/BackupProgress.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

// What verifying a copy against its ASC MHL history found.
struct VerifyResult
{
    // Why the history could not be used; nothing was verified then.
    QString error;
    int verifiedCount = 0;
    // Relative paths: read back with another checksum than recorded, recorded
    // but absent, present but never recorded.
    QStringList failed;
    QStringList missing;
    QStringList added;
    // The generation the verification added to the history.
    QString manifest;

    bool isClean() const
    {
        return error.isEmpty() && failed.isEmpty() && missing.isEmpty() && added.isEmpty();
    }
};

// Re-reads every file of a copy from the disk, compares it with the hash its
// history holds, and adds a generation (process in-place) whose actions are
// verified or failed. Blocking: run it on a worker thread.
namespace BackupVerifier {

VerifyResult run(const QString& copyRoot, const QString& hostName, const QString& toolName,
                 const QString& toolVersion, const QDateTime& started, BackupProgress& progress);

} // namespace BackupVerifier
