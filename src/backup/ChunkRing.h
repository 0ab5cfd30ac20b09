#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <QByteArray>
#include <QtGlobal>
#include <vector>

// A ring of chunk buffers between one reader and its consumers (each copy's
// writer, the checksum), every consumer taking every chunk in order at its own
// pace. The reader waits only when each slot still holds a chunk that some
// consumer has not finished with, so one consumer's slow moment is absorbed
// by the ring instead of holding up the others. Either side may stop the ring,
// which wakes everyone waiting on it.
class ChunkRing
{
public:
    ChunkRing(int slotCount, qint64 chunkSize);

    // Makes the ring ready for a stream of `consumerCount` consumers; only
    // while no one uses it. Buffers are kept from one stream to the next.
    void start(int consumerCount);

    // For the reader: the buffer (chunkSize bytes) to fill next, once one is
    // free; nothing once the ring was stopped.
    char* nextFree();
    // For the reader: the buffer nextFree gave now holds `size` bytes; 0 ends the stream.
    void publish(qint64 size);

    struct Chunk
    {
        const char* data = nullptr;
        // 0 at the end of the stream.
        qint64 size = 0;
    };
    // For consumer `consumer` (0 … consumerCount − 1): its next chunk, once
    // published; nothing once the ring was stopped.
    std::optional<Chunk> next(int consumer);
    // For consumer `consumer`: done with the chunk next gave it.
    void release(int consumer);

    // Ends the stream for everyone, at once.
    void stop();

private:
    qint64 slowestConsumed() const;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    const qint64 m_chunkSize;
    std::vector<QByteArray> m_buffers;
    std::vector<qint64> m_sizes;
    // Chunks published so far, and how many of them each consumer released.
    qint64 m_published = 0;
    std::vector<qint64> m_released;
    bool m_stopped = false;
};
