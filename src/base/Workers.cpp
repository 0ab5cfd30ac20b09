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
// there, as Qt does with its own global pool.
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
