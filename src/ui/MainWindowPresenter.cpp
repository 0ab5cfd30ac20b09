#include "ui/MainWindowPresenter.h"

#include "base/DisplayText.h"
#include "run/ConversionViewModel.h"

using Phase = ConversionViewModel::Phase;

MainWindowPresenter::MainWindowPresenter(QObject* parent)
    : DriverPresenter(
          {&ConversionViewModel::phaseChanged, &ConversionViewModel::summaryChanged,
           &ConversionViewModel::ffmpegAvailableChanged, &ConversionViewModel::scanErrorMessageChanged,
           &ConversionViewModel::outputFolderURLChanged, &ConversionViewModel::statusMessageChanged},
          parent)
{
}

MainWindowPresenter::CentralView MainWindowPresenter::centralView() const
{
    return driver() ? centralViewFor(driver()->phase(), driver()->summary().has_value())
                    : CentralView::nothing;
}

MainWindowPresenter::CentralView MainWindowPresenter::centralViewFor(Phase phase, bool hasSummary)
{
    switch (phase) {
    case Phase::idle:
    case Phase::scanning:
        return CentralView::dropZone;
    case Phase::scanned:
        return CentralView::cardSummary;
    case Phase::converting:
    case Phase::cancelling:
        return CentralView::progress;
    case Phase::finished:
        return hasSummary ? CentralView::runSummary : CentralView::nothing;
    }
    return CentralView::nothing;
}

bool MainWindowPresenter::isScanning() const
{
    return driver() && driver()->phase() == Phase::scanning;
}

bool MainWindowPresenter::showsOutputFolderRow() const
{
    const CentralView view = centralView();
    return view == CentralView::dropZone || view == CentralView::cardSummary;
}

bool MainWindowPresenter::showsFFmpegBanner() const
{
    return driver() && !driver()->ffmpegAvailable();
}

QString MainWindowPresenter::scanError() const
{
    return driver() ? driver()->scanErrorMessage().value_or(QString()) : QString();
}

bool MainWindowPresenter::footerShowsFolder() const
{
    return driver() && footerShowsFolderFor(driver()->outputFolderURL());
}

QString MainWindowPresenter::footerFolder() const
{
    return driver() ? footerFolderFor(driver()->outputFolderURL()) : QString();
}

QString MainWindowPresenter::footerFolderFor(const std::optional<QString>& runFolder)
{
    return DisplayText::escaped(runFolder.value_or(QString()));
}

QString MainWindowPresenter::footerCaption() const
{
    return driver() ? driver()->statusMessage() : QString();
}

bool MainWindowPresenter::footerShowsCancel() const
{
    return driver() && driver()->isConverting();
}

bool MainWindowPresenter::footerShowsConvert() const
{
    return driver() && driver()->phase() == Phase::scanned;
}

bool MainWindowPresenter::acceptsDrop(const QList<QUrl>& urls)
{
    return !urls.isEmpty() && urls.constFirst().isLocalFile() && !urls.constFirst().toLocalFile().isEmpty();
}

bool MainWindowPresenter::drop(const QList<QUrl>& urls)
{
    if (!driver() || !acceptsDrop(urls))
        return false;
    driver()->scan(urls.constFirst().toLocalFile());
    return true;
}
