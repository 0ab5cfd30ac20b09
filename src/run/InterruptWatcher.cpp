#include "run/InterruptWatcher.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <QFile>
#include <unistd.h>

namespace {

// Shared with the handler, which may touch nothing else.
// One bit per signal received so far: handlers may run side by side on two
// threads, and whichever comes second sees the other's bit.
std::atomic<unsigned> receivedSignals{0};
std::atomic<int> pipeWriteEnd{-1};
std::atomic<const char*> fileToRemove{nullptr};
static_assert(std::atomic<int>::is_always_lock_free, "the signal handler needs lock-free atomics");
static_assert(std::atomic<unsigned>::is_always_lock_free, "the signal handler needs lock-free atomics");
static_assert(std::atomic<const char*>::is_always_lock_free, "the signal handler needs lock-free atomics");

constexpr int watchedSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};
struct sigaction previousActions[std::size(watchedSignals)];

extern "C" void onInterrupt(int signal)
{
    // A terminal or connection that went away cannot read what is still
    // printed: the write fails, and the run goes on to write its reports.
    if (signal == SIGPIPE)
        return;
    const unsigned bit = 1u << signal;
    const unsigned before = receivedSignals.fetch_or(bit);
    // A Ctrl-C with another interrupt before or after it.
    if (before != 0 && ((before | bit) & (1u << SIGINT)) != 0) {
        if (const char* path = fileToRemove.load())
            unlink(path);
        _exit(InterruptWatcher::interruptedExitStatus);
    }
    const int savedErrno = errno;
    const char byte = 1;
    // A full pipe already holds a wake-up for the event loop.
    [[maybe_unused]] const ssize_t written = write(pipeWriteEnd.load(), &byte, 1);
    errno = savedErrno;
}

} // namespace

InterruptWatcher::InterruptWatcher(QObject* parent) : QObject(parent)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        qFatal("InterruptWatcher: no pipe for the interrupt handler");
    m_readEnd = ends[0];
    pipeWriteEnd.store(ends[1]);
    receivedSignals.store(0);

    m_notifier = std::make_unique<QSocketNotifier>(m_readEnd, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &InterruptWatcher::drain);

    struct sigaction action = {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (std::size_t i = 0; i < std::size(watchedSignals); ++i)
        sigaction(watchedSignals[i], &action, &previousActions[i]);
}

void InterruptWatcher::setFileToRemoveOnExit(const QString& path)
{
    if (path.isEmpty()) {
        fileToRemove.store(nullptr);
        return;
    }
    m_filesToRemove.append(QFile::encodeName(path));
    fileToRemove.store(m_filesToRemove.last().constData());
}

InterruptWatcher::~InterruptWatcher()
{
    fileToRemove.store(nullptr);
    for (std::size_t i = 0; i < std::size(watchedSignals); ++i)
        sigaction(watchedSignals[i], &previousActions[i], nullptr);
    m_notifier.reset();
    close(pipeWriteEnd.exchange(-1));
    close(m_readEnd);
}

void InterruptWatcher::drain()
{
    char bytes[16];
    bool any = false;
    while (read(m_readEnd, bytes, sizeof bytes) > 0)
        any = true;
    if (any)
        emit interrupted();
}
