#pragma once

#include <functional>
#include <optional>
#include <QCoroTask>
#include <QHash>
#include <QString>
#include <QStringList>

// Runs one single-value probe over many files with a bounded number of ffprobe
// processes in flight, so a card of hundreds of files neither starts hundreds
// of children at once nor waits for them one by one.
namespace ProbeBatch {

// No more tool processes than this run at once for one batch.
constexpr int maximumConcurrency = 8;

using Probe = std::function<QCoro::Task<std::optional<QString>>(QString path)>;

// The answer of `probe` for each of `files`, keyed by file; files it gave
// nothing for are absent. At most `concurrency` probes (clamped to 1 to
// maximumConcurrency) are awaited at once; they start in list order.
QCoro::Task<QHash<QString, QString>> run(QStringList files, int concurrency, Probe probe);

} // namespace ProbeBatch
