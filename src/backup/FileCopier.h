#pragma once

#include "backup/ChunkRing.h"
#include "backup/TreeListing.h"

#include <atomic>
#include <optional>
#include <QString>
#include <QStringList>
#include <QThreadPool>

// Copies one file to several places from a single read of it. The chunks
// read go into a small ring that one writer per place and the checksum
// (XXH64) each work through on a thread of their own, so the reading only
// waits when the slowest of them is a whole ring behind. Each copy is written
// under a temporary name beside its final one, flushed to disk, given the
// source's modification time, renamed, and its folder flushed, each place on
// its own thread; its pages are then dropped from the cache.
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

    // Copies `file` from `sourcePath` to each of `finalPaths` (none: only
    // hashes the source). `bytesRead` grows with the source's bytes. On a
    // failure or `cancel`, no temporary file stays and no final name is taken.
    Outcome copy(const QString& sourcePath, const ListedFile& file, const QStringList& finalPaths,
                 std::atomic<qint64>& bytesRead, const std::atomic<bool>& cancel);

    // Chunks the reading may be ahead of the slowest writer.
    static constexpr int ringSlots = 6;

private:
    QThreadPool m_workers;
    ChunkRing m_ring;
};
