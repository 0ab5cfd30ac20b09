#include "card/ProbeBatch.h"

#include "media/BoundedTasks.h"

#include <algorithm>

namespace ProbeBatch {

QCoro::Task<QHash<QString, QString>> run(QStringList files, int concurrency, Probe probe)
{
    co_return co_await BoundedTasks::run<QString>(
        std::move(files), std::clamp(concurrency, 1, maximumConcurrency), std::move(probe));
}

} // namespace ProbeBatch
