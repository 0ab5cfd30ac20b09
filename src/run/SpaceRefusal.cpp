#include "run/SpaceRefusal.h"

#include "base/DisplayText.h"
#include "run/SpaceEstimate.h"

namespace SpaceRefusal {

QCoro::Task<std::optional<QString>> shortfall(QList<std::shared_ptr<ConversionJob>> jobs,
                                              ProResProfile profile, bool skipExistingFiles, QString folder)
{
    // Named: g++ 12 mishandles temporaries inside co_await.
    QCoro::Task<qint64> estimating = SpaceEstimate::neededBytes(std::move(jobs), profile, skipExistingFiles);
    const qint64 needed = co_await estimating;
    const std::optional<qint64> available = SpaceEstimate::availableBytes(folder);
    if (!available || needed <= *available)
        co_return std::nullopt;
    co_return sentence(folder, needed, *available);
}

QString sentence(const QString& folder, qint64 needed, qint64 available)
{
    return QStringLiteral("Not enough free space in “%1”: the movies need about %2 and %3 is free.")
        .arg(DisplayText::escaped(folder), SpaceEstimate::formattedBytes(needed),
             SpaceEstimate::formattedBytes(available));
}

} // namespace SpaceRefusal
