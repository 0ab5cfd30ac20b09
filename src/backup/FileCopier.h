#pragma once

#include "backup/ChunkRing.h"
#include "backup/CopyFinisher.h"
#include "backup/TreeListing.h"

#include <atomic>
#include <memory>
#include <optional>
#include <QString>
#include <QStringList>
#include <QThreadPool>
#include <vector>

// Copies one file to several places from a single read of it. The chunks
// read go into a small ring that one writer per place and the checksum
// (XXH64) each work through on a thread of their own, so the reading only
// waits when the slowest of them is a whole ring behind. Each copy is written
// under a temporary name beside its final one; each place's CopyFinisher then
// flushes it, gives it the source's modification time, renames it and flushes
// its folder while the next file is copied.
class FileCopier
{
public:
    explicit FileCopier(int placeCount);

    struct Outcome
    {
        // The source's XXH64, from the bytes as they were read.
        std::optional<quint64> digest;
        // The copy, or the source, that failed, and why; empty when cancelled.
        QString failedPath;
        QString error;
    };

    // Copies `file` from `sourcePath` to `finalPaths`, one per place, empty
    // where nothing is to be written (none at all: only hashes the source).
    // Returns once every copy is written; they become final behind it. A copy
    // of an earlier file that could not be made final fails this one before it
    // starts. `bytesRead` grows with the source's bytes. On a failure or
    // `cancel`, no temporary file of this file stays and no final name is taken.
    Outcome copy(const QString& sourcePath, const ListedFile& file, const QStringList& finalPaths,
                 std::atomic<qint64>& bytesRead, const std::atomic<bool>& cancel);

    // Waits until every copy written is final; the first that could not be made so.
    std::optional<CopyFinisher::Failure> finish();

    // Chunks the reading may be ahead of the slowest writer.
    static constexpr int ringSlots = 6;

private:
    std::optional<CopyFinisher::Failure> failure();

    QThreadPool m_workers;
    ChunkRing m_ring;
    // One per place, each on a thread of its own, so a slow disk holds up only its own.
    std::vector<std::unique_ptr<CopyFinisher>> m_finishers;
};
