#pragma once

#include "store/ConversionHistoryStore.h"

#include <QDateTime>
#include <QLocale>
#include <QString>

// How a recorded run reads, in the history sheet and in `tolvane-cli history`
// alike, so both say the same thing about the same run.
namespace HistoryText {

// "1 batch", "3 batches".
QString batchCount(qsizetype count);

// "4 converted · 1 failed · 2 excluded · 3 not started": the converted count
// always, the others only when not zero.
QString statsLine(const ConversionHistoryEntry& entry);

// True when a run failed a clip, left one out for want of a verified pairing
// or ended before it reached one.
bool needsAttention(const ConversionHistoryEntry& entry);

// The run's mark: "⚠" when it needs attention, "✔" for a clean run.
QString statusMark(const ConversionHistoryEntry& entry);

// The moment a run was recorded, in local time: the locale's date with the
// month abbreviated (its long date without the weekday) and its short time,
// for example "Jul 1, 2026, 3:00 PM".
QString dateText(const QDateTime& date, const QLocale& locale);

// What the sheet shows when nothing was recorded.
QString emptyText();

} // namespace HistoryText
