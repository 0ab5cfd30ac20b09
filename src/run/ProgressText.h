#pragma once

#include <optional>
#include <QString>

// The figures of a conversion run as text, as the progress screen and the
// progress line of tolvane-cli show them, and what is said while a debug
// report is built.
namespace ProgressText {

// Seconds rounded to the nearest whole second (halves away from zero), as
// "m:ss" below an hour ("1:15", "0:05") and "h:mm:ss" from an hour on
// ("1:02:05"). The seconds must be finite.
QString formatted(double seconds);

// A share of 0…1 as a whole percentage, halves away from zero: "42%".
QString percentText(double progress);

// What the progress line shows of a run under way.
struct Snapshot
{
    bool cancelling = false;
    int completedCount = 0;
    int totalCount = 0;
    QString currentClipName;
    double overallProgress = 0;
    double elapsed = 0;
    std::optional<double> estimatedRemaining;
};

// One line: "Converting 1 / 3 · 42% · 0001AB · Elapsed 0:15 · Remaining 0:21",
// with "Cancelling…" once a cancel was asked for, "Preparing…" while no clip
// has started and "Calculating…" while there is no estimate.
QString progressLine(const Snapshot& snapshot);

// What is said once a cancel was asked for: the run waits for ffmpeg to end,
// at most `graceSeconds` before it is killed.
QString cancellingWait(qint64 graceSeconds);

// What is said while a debug report is being built.
QString generatingDebugReport();
// The progress line once the movies are done and the run's debug report is
// still being built: the same words, and how not to wait for them.
QString debugReportLine();

} // namespace ProgressText
