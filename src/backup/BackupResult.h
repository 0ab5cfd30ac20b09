#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

// How a backup ended.
struct BackupResult
{
    enum class Status {
        // Every copy was written, read back from disk and matched the card.
        proven,
        // Nothing was written: the request cannot be carried out (no card,
        // no room, a file in the way…).
        refused,
        // Copying or proving failed part way; what was proven stays.
        failed,
        cancelled,
    };

    Status status = Status::refused;
    // One sentence per problem, naming the file or place concerned.
    QStringList problems;
    // DEST/CARDNAME of each destination, in the order given.
    QStringList copies;
    // Copies that were read back and did not match the card (kept for inspection).
    QStringList mismatches;
    // The manifest written in each copy's history.
    QStringList manifests;
    int fileCount = 0;
    qint64 cardBytes = 0;
    // Files already in place and proven, rather than copied again.
    int alreadyCopied = 0;
    double copySeconds = 0;
    double verifySeconds = 0;

    bool isProven() const { return status == Status::proven; }
};
