#include "card/FolderWatch.h"

#include <cerrno>
#include <cstdint>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

// Changes only: reading a file (as probing does) reports nothing.
constexpr std::uint32_t changes = IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO |
                                  IN_CREATE | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

} // namespace

FolderWatch::FolderWatch() : m_descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

FolderWatch::~FolderWatch()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

bool FolderWatch::add(const QByteArray& nativeFolder)
{
    return m_descriptor >= 0 && ::inotify_add_watch(m_descriptor, nativeFolder.constData(), changes) >= 0;
}

bool FolderWatch::isQuiet()
{
    if (m_descriptor < 0)
        return false;
    // The system queues a report before the call that made the change
    // returns, so whatever happened before this read is in it. Unmounts,
    // removed watches and a full queue are reported too, and count as changes.
    alignas(inotify_event) char reports[4096];
    while (m_quiet) {
        const ssize_t size = ::read(m_descriptor, reports, sizeof reports);
        if (size > 0)
            m_quiet = false;
        else if (size < 0 && errno == EINTR)
            continue;
        else if (size < 0 && errno == EAGAIN)
            break;
        else
            m_quiet = false;
    }
    return m_quiet;
}
