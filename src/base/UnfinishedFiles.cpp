#include "base/UnfinishedFiles.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <QFile>
#include <sys/types.h>
#include <unistd.h>

namespace UnfinishedFiles {

namespace {

// Far more than are ever written at once: one per backup destination and the
// running movie.
constexpr int slotCount = 64;

// How long the removal waits for a file being created by another thread: a
// creation takes microseconds, and a disk that hangs must not keep the
// process from ending.
constexpr int creationWaitSteps = 5000;
constexpr long creationWaitStepNs = 1000000;

// A slot goes free → filling (its path being copied in) → listed → free, and
// listed → creating → listed while its file is made; the removal takes a
// listed slot as removing and never gives it back, so no path is rewritten
// while the handler reads it and no file is made after it was removed.
enum State : int { freeSlot, filling, listed, creating, removing };

std::atomic<int> states[slotCount];
// The thread that holds a slot as creating.
std::atomic<pid_t> creators[slotCount];
char paths[slotCount][PATH_MAX];
// Set once removeAll has begun: nothing listed is created any more.
std::atomic<bool> ending{false};
static_assert(std::atomic<int>::is_always_lock_free, "the signal handler needs lock-free atomics");
static_assert(std::atomic<pid_t>::is_always_lock_free, "the signal handler needs lock-free atomics");
static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler needs lock-free atomics");

// Waits while another thread creates the file of `slot`; at once when this
// thread is the one creating it (a handler that interrupted it), as its
// creation then either is done or never resumes.
void awaitCreation(int slot) noexcept
{
    const timespec step{0, creationWaitStepNs};
    for (int waited = 0; waited < creationWaitSteps; ++waited) {
        if (states[slot].load() != creating || creators[slot].load() == ::gettid())
            return;
        ::nanosleep(&step, nullptr);
    }
}

} // namespace

Entry::Entry(const QString& path) : m_path(QFile::encodeName(path))
{
    if (m_path.isEmpty() || m_path.size() >= PATH_MAX)
        return;
    for (int slot = 0; slot < slotCount; ++slot) {
        int expected = freeSlot;
        if (!states[slot].compare_exchange_strong(expected, filling))
            continue;
        std::memcpy(paths[slot], m_path.constData(), std::size_t(m_path.size()) + 1);
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

int Entry::create(const std::function<int(const char* path)>& make)
{
    if (m_slot < 0) {
        // Not on the list, but bound by the same promise.
        if (ending.load()) {
            errno = ECANCELED;
            return -1;
        }
        return make(m_path.constData());
    }
    creators[m_slot].store(::gettid());
    int expected = listed;
    // Marked as creating before `ending` is read: a removal that begins after
    // the mark waits for the creation, one that began before it is seen here.
    if (!states[m_slot].compare_exchange_strong(expected, creating) || ending.load()) {
        expected = creating;
        states[m_slot].compare_exchange_strong(expected, listed);
        errno = ECANCELED;
        return -1;
    }
    const int result = make(m_path.constData());
    const int savedErrno = errno;
    expected = creating;
    states[m_slot].compare_exchange_strong(expected, listed);
    errno = savedErrno;
    return result;
}

void removeAll() noexcept
{
    ending.store(true);
    for (int slot = 0; slot < slotCount; ++slot) {
        awaitCreation(slot);
        for (int expected : {int(listed), int(creating)}) {
            if (states[slot].compare_exchange_strong(expected, removing)) {
                ::unlink(paths[slot]);
                break;
            }
        }
    }
}

} // namespace UnfinishedFiles
