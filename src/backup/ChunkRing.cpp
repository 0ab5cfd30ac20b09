#include "backup/ChunkRing.h"

#include <algorithm>

ChunkRing::ChunkRing(int slotCount, qint64 chunkSize)
    : m_chunkSize(chunkSize), m_buffers(std::size_t(std::max(1, slotCount))),
      m_sizes(std::size_t(std::max(1, slotCount)), 0)
{
}

void ChunkRing::start(int consumerCount)
{
    const std::lock_guard lock(m_mutex);
    m_published = 0;
    m_released.assign(std::size_t(std::max(0, consumerCount)), 0);
    m_stopped = false;
}

qint64 ChunkRing::slowestConsumed() const
{
    return m_released.empty() ? m_published : *std::min_element(m_released.cbegin(), m_released.cend());
}

char* ChunkRing::nextFree()
{
    std::unique_lock lock(m_mutex);
    const auto slotCount = qint64(m_buffers.size());
    m_changed.wait(lock,
                   [this, slotCount] { return m_stopped || m_published - slowestConsumed() < slotCount; });
    if (m_stopped)
        return nullptr;
    QByteArray& buffer = m_buffers[std::size_t(m_published % slotCount)];
    // Allocated on first use, so a small file costs one buffer, not the whole ring.
    if (buffer.size() != m_chunkSize)
        buffer = QByteArray(m_chunkSize, Qt::Uninitialized);
    return buffer.data();
}

void ChunkRing::publish(qint64 size)
{
    {
        const std::lock_guard lock(m_mutex);
        m_sizes[std::size_t(m_published % qint64(m_buffers.size()))] = size;
        ++m_published;
    }
    m_changed.notify_all();
}

std::optional<ChunkRing::Chunk> ChunkRing::next(int consumer)
{
    std::unique_lock lock(m_mutex);
    const qint64 wanted = m_released.at(std::size_t(consumer));
    m_changed.wait(lock, [this, wanted] { return m_stopped || m_published > wanted; });
    if (m_stopped)
        return std::nullopt;
    const auto slot = std::size_t(wanted % qint64(m_buffers.size()));
    return Chunk{m_buffers[slot].constData(), m_sizes[slot]};
}

void ChunkRing::release(int consumer)
{
    {
        const std::lock_guard lock(m_mutex);
        ++m_released.at(std::size_t(consumer));
    }
    m_changed.notify_all();
}

void ChunkRing::stop()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopped = true;
    }
    m_changed.notify_all();
}
