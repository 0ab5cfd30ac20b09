#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <QCoroTask>
#include <QHash>
#include <QString>
#include <QStringList>
#include <vector>

// Runs one asynchronous tool operation over many files with a bounded number
// in flight, so a card of hundreds of files neither starts hundreds of child
// processes at once nor waits for them one by one.
namespace BoundedTasks {

template <typename Value> using Operation = std::function<QCoro::Task<std::optional<Value>>(QString path)>;

namespace detail {

// Shared by the workers of one batch; they all resume on the awaiting thread,
// so handing out the next file needs no lock.
template <typename Value> struct Batch
{
    QStringList files;
    Operation<Value> operation;
    qsizetype next = 0;
    QHash<QString, Value> results;
};

template <typename Value> QCoro::Task<> worker(std::shared_ptr<Batch<Value>> batch)
{
    while (batch->next < batch->files.size()) {
        const QString file = batch->files.at(batch->next++);
        if (std::optional<Value> value = co_await batch->operation(file))
            batch->results.insert(file, std::move(*value));
    }
}

} // namespace detail

// The answer of `operation` for each distinct file of `files`, keyed by file;
// files it gave nothing for are absent. At most `concurrency` (at least one)
// operations are awaited at once; they start in list order, and the next file
// starts as soon as one finishes.
template <typename Value>
QCoro::Task<QHash<QString, Value>> run(QStringList files, int concurrency, Operation<Value> operation)
{
    auto batch = std::make_shared<detail::Batch<Value>>();
    files.removeDuplicates();
    batch->files = std::move(files);
    batch->operation = std::move(operation);
    const qsizetype workerCount = std::min<qsizetype>(std::max(concurrency, 1), batch->files.size());
    // Tasks start at once, so every worker is running before the first await.
    std::vector<QCoro::Task<>> workers;
    workers.reserve(static_cast<size_t>(workerCount));
    for (qsizetype i = 0; i < workerCount; ++i)
        workers.push_back(detail::worker(batch));
    for (QCoro::Task<>& worker : workers)
        co_await worker;
    co_return std::move(batch->results);
}

} // namespace BoundedTasks
