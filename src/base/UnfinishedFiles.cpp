#include "base/UnfinishedFiles.h"

#include <atomic>
#include <climits>
#include <cstring>
#include <QFile>
#include <unistd.h>

namespace UnfinishedFiles {

namespace {

// Far more than are ever written at once: one per backup destination and the
// running movie.
constexpr int slotCount = 64;

// A slot goes free → filling (its path being copied in) → listed → free; the
// handler takes a listed slot as removing, and never gives it back, so no
// path is rewritten while the handler reads it.
enum State : int { freeSlot, filling, listed, removing };

std::atomic<int> states[slotCount];
char paths[slotCount][PATH_MAX];
static_assert(std::atomic<int>::is_always_lock_free, "the signal handler needs lock-free atomics");

} // namespace

Entry::Entry(const QString& path)
{
    const QByteArray encoded = QFile::encodeName(path);
    if (encoded.isEmpty() || encoded.size() >= PATH_MAX)
        return;
    for (int slot = 0; slot < slotCount; ++slot) {
        int expected = freeSlot;
        if (!states[slot].compare_exchange_strong(expected, filling))
            continue;
        std::memcpy(paths[slot], encoded.constData(), std::size_t(encoded.size()) + 1);
        states[slot].store(listed);
        m_slot = slot;
        return;
    }
}

Entry::~Entry()
{
    if (m_slot < 0)
        return;
    // A slot the handler holds stays its own: the process is ending.
    int expected = listed;
    states[m_slot].compare_exchange_strong(expected, freeSlot);
}

void removeAll() noexcept
{
    for (int slot = 0; slot < slotCount; ++slot) {
        int expected = listed;
        if (states[slot].compare_exchange_strong(expected, removing))
            ::unlink(paths[slot]);
    }
}

} // namespace UnfinishedFiles
