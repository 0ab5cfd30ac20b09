#pragma once

#include "backup/ChunkRing.h"

#include <atomic>
#include <optional>
#include <QString>
#include <QThreadPool>

// Reads files back as the disk holds them and takes their XXH64: each file's
// pages are dropped from the cache before it is read, and the checksum of
// each chunk is taken on another thread while the next is read, so reading is
// all it waits for. Its buffers and that thread are kept from one file to the
// next: a card is many files, and memory mapped afresh for each would cost
// more than its checksum. One file at a time; use one per thread.
class ReadBack
{
public:
    ReadBack();

    // The checksum of the file at `path`; `bytesRead` grows as it is read.
    // Nothing when it cannot be read or `cancel` was set, with `error` saying why.
    std::optional<quint64> digest(const QString& path, std::atomic<qint64>& bytesRead,
                                  const std::atomic<bool>& cancel, QString& error);

private:
    QThreadPool m_checksum;
    ChunkRing m_ring;
};
