#include "media/ToolLimits.h"

#include <QMutex>
#include <QMutexLocker>

namespace ToolLimits {

namespace {

QMutex lock;
Limits limits;

} // namespace

Limits current()
{
    const QMutexLocker locker(&lock);
    return limits;
}

void setForTesting(const Limits& replacement)
{
    const QMutexLocker locker(&lock);
    limits = replacement;
}

} // namespace ToolLimits
