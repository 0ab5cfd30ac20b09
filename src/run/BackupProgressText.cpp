#include "run/BackupProgressText.h"

#include "backup/BackupText.h"
#include "run/ProgressText.h"

namespace BackupProgressText {

namespace {

// Shorter than this, a stage's speed says more about start-up than about the disks.
constexpr double shortestMeasure = 0.5;

QString stageName(BackupProgress::Stage stage)
{
    switch (stage) {
    case BackupProgress::Stage::preparing:
        return QStringLiteral("Preparing the backup…");
    case BackupProgress::Stage::copying:
        return QStringLiteral("Backing up");
    case BackupProgress::Stage::verifying:
        return QStringLiteral("Verifying copies");
    case BackupProgress::Stage::recording:
        return QStringLiteral("Writing the ASC MHL history…");
    case BackupProgress::Stage::finished:
        return QStringLiteral("Backup done");
    }
    return QString();
}

} // namespace

std::optional<double> speed(qint64 done, double elapsedSeconds)
{
    if (elapsedSeconds < shortestMeasure || done <= 0)
        return std::nullopt;
    return double(done) / elapsedSeconds;
}

QString line(BackupProgress::Stage stage, bool cancelling, qint64 done, qint64 total, double elapsedSeconds)
{
    if (cancelling)
        return QStringLiteral("Cancelling…");
    QString text = stageName(stage);
    if (stage != BackupProgress::Stage::copying && stage != BackupProgress::Stage::verifying)
        return text;
    text += QStringLiteral(" · %1 of %2").arg(BackupText::size(done), BackupText::size(total));
    const std::optional<double> perSecond = speed(done, elapsedSeconds);
    if (!perSecond)
        return text + QStringLiteral(" · Calculating…");
    return text + QStringLiteral(" · %1/s · Remaining %2")
                      .arg(BackupText::size(qint64(*perSecond)),
                           ProgressText::formatted(double(std::max<qint64>(total - done, 0)) / *perSecond));
}

} // namespace BackupProgressText
