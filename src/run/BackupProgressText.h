#pragma once

#include "backup/BackupProgress.h"

#include <optional>
#include <QString>
#include <QtGlobal>

// A backup's progress as words, as the progress line of tolvane-cli and the
// window's progress screen show it.
namespace BackupProgressText {

// Bytes per second, or nothing until a stage has run long enough to tell.
std::optional<double> speed(qint64 done, double elapsedSeconds);

// "Backing up · 1.2 GB of 2.1 GB · 180.0 MB/s · Remaining 0:05"; while
// verifying "Verifying copies · …"; "Calculating…" in place of speed and time
// until they are known; "Cancelling…" once a cancel was asked for.
QString line(BackupProgress::Stage stage, bool cancelling, qint64 done, qint64 total, double elapsedSeconds);

} // namespace BackupProgressText
