#include "ui/SessionPresenter.h"

#include "backup/BackupText.h"
#include "base/AppInfo.h"
#include "run/ProgressText.h"
#include "ui/RunSummaryPresenter.h"
#include "ui/UiText.h"

#include <QCoroSignal>
#include <QGuiApplication>
#include <QPointer>
#include <QScreen>

namespace {

const QString geometryKey = QStringLiteral("windowGeometry");

// How much of the title bar must stay on a screen for the window to be reachable.
constexpr int reachableWidth = 100;
constexpr int reachableHeight = 24;

} // namespace

SessionPresenter::SessionPresenter(ConversionViewModel& driver, BackupFirst& backup,
                                   std::shared_ptr<Desktop> desktop, std::shared_ptr<DesktopSession> session,
                                   std::shared_ptr<KeyValueStore> store, QObject* parent)
    : QObject(parent), m_driver(driver), m_backup(backup), m_desktop(std::move(desktop)),
      m_session(std::move(session)), m_store(std::move(store)), m_shownTitle(windowTitle())
{
    connect(&m_driver, &ConversionViewModel::overallProgressChanged, this, &SessionPresenter::followProgress);
    connect(&m_driver, &ConversionViewModel::phaseChanged, this, &SessionPresenter::followProgress);
    connect(&m_driver, &ConversionViewModel::phaseChanged, this, &SessionPresenter::runEnded);
}

void SessionPresenter::setWindowActive(bool active)
{
    if (active == m_windowActive)
        return;
    m_windowActive = active;
    emit windowActiveChanged();
}

QString SessionPresenter::windowTitleFor(bool converting, double progress)
{
    const QString name = QString::fromLatin1(AppInfo::applicationName);
    return converting ? ProgressText::percentText(progress) + QStringLiteral(" — ") + name : name;
}

QString SessionPresenter::clipsLeftText(int clipsLeft)
{
    return UiText::counted(clipsLeft, QStringLiteral("clip")) +
           QStringLiteral(
               " still to convert. Stopping ends the running clip without leaving part of a movie, "
               "and the reports are written.");
}

QString SessionPresenter::backupLeftText(BackupProgress::Stage stage, qint64 bytesLeft)
{
    const QString stopping =
        QStringLiteral("The card is not backed up yet: stopping leaves no partial copy, and the backup is "
                       "recorded in the history as cancelled.");
    switch (stage) {
    case BackupProgress::Stage::copying:
        if (bytesLeft > 0)
            return QStringLiteral("%1 still to copy. ").arg(BackupText::size(bytesLeft)) + stopping;
        break;
    case BackupProgress::Stage::verifying:
        if (bytesLeft > 0)
            return QStringLiteral("%1 of the copies still to read back and check. ")
                       .arg(BackupText::size(bytesLeft)) +
                   stopping;
        break;
    case BackupProgress::Stage::recording:
    case BackupProgress::Stage::finished:
        // The copies are proven; what is left is too short to stop.
        return QStringLiteral("The copies are proven and their ASC MHL history is being written. Tolvane "
                              "quits once it is written, and the backup is recorded in the history.");
    case BackupProgress::Stage::preparing:
        break;
    }
    return stopping;
}

void SessionPresenter::followProgress()
{
    const QString title = windowTitle();
    if (title != m_shownTitle) {
        m_shownTitle = title;
        emit windowTitleChanged();
    }
    if (m_session)
        m_session->showProgress(m_driver.isConverting() ? std::optional(m_driver.overallProgress())
                                                        : std::nullopt);
}

void SessionPresenter::runEnded()
{
    const std::optional<ConversionSummary>& summary = m_driver.summary();
    if (!summary || m_driver.phase() != ConversionViewModel::Phase::finished || m_windowActive || !m_session)
        return;
    const QString folder = summary->outputFolder;
    const std::shared_ptr<Desktop> desktop = m_desktop;
    m_session->notify({RunSummaryPresenter::headingFor(*summary),
                       RunSummaryPresenter::notificationBodyFor(*summary), openOutputFolderTitle(),
                       [desktop, folder] { desktop->revealInFileManager({folder}); }});
}

bool SessionPresenter::requestQuit()
{
    if (m_driver.isConverting() || m_backup.isBackingUp()) {
        if (!m_asking)
            m_question = askBeforeQuitting();
        return false;
    }
    // A proven backup about to be converted from: nothing to ask, but it is
    // recorded before the app quits.
    if (m_backup.isUnderWay()) {
        stopAndQuit();
        return false;
    }
    emit quitRequested();
    return true;
}

QCoro::Task<> SessionPresenter::askBeforeQuitting()
{
    m_asking = true;
    const QPointer<SessionPresenter> self(this);
    const std::shared_ptr<Desktop> desktop = m_desktop;
    QCoro::Task<int> asking =
        m_backup.isBackingUp()
            ? desktop->showAlert(AlertStyle::warning, backupQuitQuestion(),
                                 backupLeftText(m_backup.stage(), m_backup.bytesLeft()),
                                 {keepBackingUpTitle(), stopAndQuitTitle()})
            : desktop->showAlert(AlertStyle::warning, quitQuestion(),
                                 clipsLeftText(m_driver.totalCount() - m_driver.completedCount()),
                                 {keepConvertingTitle(), stopAndQuitTitle()});
    const int chosen = co_await asking;
    if (!self)
        co_return;
    self->m_asking = false;
    if (chosen == 1)
        self->stopAndQuit();
}

void SessionPresenter::stopAndQuit()
{
    if (m_backup.isUnderWay()) {
        m_stopping = endBackupThenQuit();
        return;
    }
    if (!m_driver.isConverting()) {
        emit quitRequested();
        return;
    }
    m_stopping = stopThenQuit();
}

QCoro::Task<> SessionPresenter::stopThenQuit()
{
    const QPointer<SessionPresenter> self(this);
    const QPointer<ConversionViewModel> driver(&m_driver);
    const int reportsBefore = m_driver.debugReportGenerationTick();
    m_driver.cancel();
    // The run ends with its reports, the debug report last.
    while (driver && driver->debugReportGenerationTick() == reportsBefore)
        co_await qCoro(driver.data(), &ConversionViewModel::debugReportGenerationTickChanged);
    if (self)
        emit self->quitRequested();
}

QCoro::Task<> SessionPresenter::endBackupThenQuit()
{
    const QPointer<SessionPresenter> self(this);
    const QPointer<ConversionViewModel> driver(&m_driver);
    // The session ends once the backup has stopped and is recorded, always
    // after this returns: the backup's end comes through the event loop.
    m_backup.endSession();
    co_await qCoro(driver.data(), &ConversionViewModel::sessionEnded);
    if (self)
        emit self->quitRequested();
}

QRect SessionPresenter::restoredGeometry() const
{
    // Kept as four numbers, which the preference file can hold.
    const QVariantList saved = m_store->value(geometryKey).value_or(QVariant()).toList();
    if (saved.size() != 4)
        return {};
    QList<QRect> screens;
    for (const QScreen* screen : QGuiApplication::screens())
        screens.append(screen->availableGeometry());
    const QRect geometry(saved.at(0).toInt(), saved.at(1).toInt(), saved.at(2).toInt(), saved.at(3).toInt());
    return geometryOnScreens(geometry, screens).value_or(QRect());
}

void SessionPresenter::saveGeometry(const QRect& geometry)
{
    if (geometry.isValid())
        m_store->setValue(geometryKey,
                          QVariantList{geometry.x(), geometry.y(), geometry.width(), geometry.height()});
}

std::optional<QRect> SessionPresenter::geometryOnScreens(const QRect& saved, const QList<QRect>& screens)
{
    if (!saved.isValid())
        return std::nullopt;
    const QRect titleBar(saved.x(), saved.y(), saved.width(), reachableHeight);
    for (const QRect& screen : screens) {
        const QRect shown = screen.intersected(titleBar);
        if (shown.width() >= std::min(reachableWidth, saved.width()) && shown.height() >= reachableHeight)
            return saved;
    }
    return std::nullopt;
}
