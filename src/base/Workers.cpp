#include "base/Workers.h"

#include <QCoreApplication>
#include <QThreadPool>

namespace Workers {

namespace {

QThreadPool& instance()
{
    static QThreadPool threads;
    return threads;
}

// Work still running ends while the application, which it may report to, is
// there, as Qt has its own global pool's do.
void drain()
{
    instance().waitForDone();
}

} // namespace

QThreadPool* pool()
{
    static const bool drainedAtExit = (qAddPostRoutine(drain), true);
    Q_UNUSED(drainedAtExit);
    return &instance();
}

} // namespace Workers
