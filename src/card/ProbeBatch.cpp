#include "card/ProbeBatch.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace ProbeBatch {

namespace {

// Shared by the workers of one batch; they all live on the awaiting thread,
// so handing out the next index needs no lock.
struct Batch
{
    QStringList files;
    Probe probe;
    qsizetype next = 0;
    QHash<QString, QString> results;
};

// Takes the next file until none is left, one probe at a time.
QCoro::Task<> worker(std::shared_ptr<Batch> batch)
{
    while (batch->next < batch->files.size()) {
        const QString file = batch->files.at(batch->next++);
        if (const std::optional<QString> value = co_await batch->probe(file))
            batch->results.insert(file, *value);
    }
}

} // namespace

QCoro::Task<QHash<QString, QString>> run(QStringList files, int concurrency, Probe probe)
{
    auto batch = std::make_shared<Batch>();
    batch->files = std::move(files);
    batch->probe = std::move(probe);
    const qsizetype workerCount =
        std::min<qsizetype>(std::clamp(concurrency, 1, maximumConcurrency), batch->files.size());
    // Tasks start at once, so all workers are running before the first await.
    std::vector<QCoro::Task<>> workers;
    workers.reserve(static_cast<size_t>(workerCount));
    for (qsizetype i = 0; i < workerCount; ++i)
        workers.push_back(worker(batch));
    for (QCoro::Task<>& task : workers)
        co_await task;
    co_return std::move(batch->results);
}

} // namespace ProbeBatch
