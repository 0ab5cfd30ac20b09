#include "ui/ProgressPresenter.h"

#include "run/ConversionViewModel.h"
#include "run/ProgressText.h"

ProgressPresenter::ProgressPresenter(QObject* parent)
    : DriverPresenter({&ConversionViewModel::phaseChanged, &ConversionViewModel::completedCountChanged,
                       &ConversionViewModel::totalCountChanged, &ConversionViewModel::currentClipNameChanged,
                       &ConversionViewModel::overallProgressChanged, &ConversionViewModel::elapsedChanged,
                       &ConversionViewModel::estimatedRemainingChanged},
                      parent)
{
}

QString ProgressPresenter::title() const
{
    return driver() && driver()->phase() == ConversionViewModel::Phase::cancelling
               ? QStringLiteral("Cancelling…")
               : QStringLiteral("Converting");
}

QString ProgressPresenter::countText() const
{
    if (!driver())
        return {};
    return QStringLiteral("%1 / %2").arg(driver()->completedCount()).arg(driver()->totalCount());
}

double ProgressPresenter::progress() const
{
    return driver() ? driver()->overallProgress() : 0;
}

QString ProgressPresenter::clipText() const
{
    return !driver() || driver()->currentClipName().isEmpty() ? QStringLiteral("Preparing…")
                                                              : driver()->currentClipName();
}

QString ProgressPresenter::percentText() const
{
    return ProgressText::percentText(progress());
}

QString ProgressPresenter::elapsedText() const
{
    return ProgressText::formatted(driver() ? driver()->elapsed() : 0);
}

QString ProgressPresenter::remainingText() const
{
    if (!driver() || !driver()->estimatedRemaining())
        return QStringLiteral("Calculating…");
    return ProgressText::formatted(*driver()->estimatedRemaining());
}
