#pragma once

#include "media/BoundedTasks.h"

#include <QCoroTask>
#include <QHash>
#include <QString>
#include <QStringList>

// The single-value probes of pairing and shoot order, never more than eight
// ffprobe processes at once.
namespace ProbeBatch {

// No more tool processes than this run at once for one batch.
constexpr int maximumConcurrency = 8;

using Probe = BoundedTasks::Operation<QString>;

// The answer of `probe` for each of `files`, keyed by file; files it gave
// nothing for are absent. At most `concurrency` probes (clamped to 1 to
// maximumConcurrency) are awaited at once; they start in list order.
QCoro::Task<QHash<QString, QString>> run(QStringList files, int concurrency, Probe probe);

} // namespace ProbeBatch
