#include "run/ProgressText.h"

#include "base/DisplayText.h"

#include <cmath>
#include <QtGlobal>

namespace ProgressText {

QString formatted(double seconds)
{
    // The driver never hands over such a value; showing one would hide the bug.
    if (!std::isfinite(seconds))
        qFatal("ProgressText::formatted: %f seconds cannot be shown", seconds);
    const long long total = std::llround(seconds);
    const auto twoDigits = [](long long value) {
        return QStringLiteral("%1").arg(value, 2, 10, QLatin1Char('0'));
    };
    if (total < 3600)
        return QStringLiteral("%1:%2").arg(total / 60).arg(twoDigits(total % 60));
    return QStringLiteral("%1:%2:%3")
        .arg(total / 3600)
        .arg(twoDigits(total / 60 % 60))
        .arg(twoDigits(total % 60));
}

QString percentText(double progress)
{
    return QStringLiteral("%1%").arg(std::llround(progress * 100));
}

QString progressLine(const Snapshot& snapshot)
{
    const QString separator = QStringLiteral(" · ");
    return (snapshot.cancelling ? QStringLiteral("Cancelling…") : QStringLiteral("Converting")) +
           QStringLiteral(" %1 / %2").arg(snapshot.completedCount).arg(snapshot.totalCount) + separator +
           percentText(snapshot.overallProgress) + separator +
           (snapshot.currentClipName.isEmpty() ? QStringLiteral("Preparing…")
                                               : DisplayText::escaped(snapshot.currentClipName)) +
           separator + QStringLiteral("Elapsed ") + formatted(snapshot.elapsed) + separator +
           QStringLiteral("Remaining ") +
           (snapshot.estimatedRemaining ? formatted(*snapshot.estimatedRemaining)
                                        : QStringLiteral("Calculating…"));
}

QString cancellingWait(qint64 graceSeconds)
{
    return QStringLiteral("Cancelling — waiting for ffmpeg to stop; it is ended by force after %1 second%2.")
        .arg(graceSeconds)
        .arg(graceSeconds == 1 ? QString() : QStringLiteral("s"));
}

QString generatingDebugReport()
{
    return QStringLiteral(
        "Generating debug report — probing every video/audio file, this may take a moment…");
}

QString debugReportLine()
{
    return generatingDebugReport() + QStringLiteral(" Ctrl-C skips it.");
}

} // namespace ProgressText
