#pragma once

#include <atomic>
#include <optional>
#include <QByteArray>
#include <QString>

// Reads files back as the disk holds them and takes their XXH64: each file's
// pages are dropped from the cache before it is read. The disk is asked for
// the next chunk before the checksum of the one in hand is taken, so it reads
// on while the checksum, many times faster than any disk, is taken on the
// same thread. Its buffer is kept from one file to the next: a card is many
// files, and memory mapped afresh for each would cost more than its checksum.
// One file at a time; use one per thread.
class ReadBack
{
public:
    ReadBack();

    // The checksum of the file at `path`; `bytesRead` grows as it is read.
    // Nothing when it cannot be read or `cancel` was set, with `error` saying why.
    std::optional<quint64> digest(const QString& path, std::atomic<qint64>& bytesRead,
                                  const std::atomic<bool>& cancel, QString& error);

private:
    QByteArray m_buffer;
};
