#include "ui/AppContext.h"

#include "base/AppInfo.h"
#include "run/HistoryCommand.h"
#include "ui/BuildInfo.h"

#include <QJSEngine>

namespace {
QPointer<AppContext> currentContext;
}

AppContext::AppContext(std::shared_ptr<KeyValueStore> defaults, std::shared_ptr<Desktop> desktop,
                       std::shared_ptr<DesktopSession> session, QObject* parent)
    : QObject(parent), m_defaults(defaults), m_desktop(std::move(desktop)), m_settings(defaults, m_desktop),
      m_recentFolders(defaults), m_history(defaults),
      m_driver(m_settings, m_recentFolders, m_history, m_desktop), m_recentFoldersModel(m_recentFolders),
      m_texts(Platform::current()), m_maintenance(m_driver, m_settings, *m_desktop),
      m_freeSpaceConfirmation(m_driver, *m_desktop), m_backupSettings(defaults),
      m_backupFirst(m_backupSettings, m_driver),
      m_session(m_driver, m_backupFirst, m_desktop, session, defaults),
      // Sheets:
      m_pairingDetails(m_driver), m_historyPresenter(m_history, m_desktop),
      m_settingsPresenter(m_settings, Platform::current()),
      m_help(Platform::current(), QString::fromLatin1(AppInfo::version),
             QString::fromLatin1(BuildInfo::buildNumber))
{
    m_defaults->setSetAsideListener([this](const QString& notice) {
        m_storeNotices.append(notice);
        emit storeNoticeChanged();
    });
    m_driver.setDesktopSession(std::move(session));
}

AppContext::~AppContext()
{
    m_defaults->setSetAsideListener({});
}

void AppContext::setCurrent(AppContext* context)
{
    currentContext = context;
}

AppContext* AppContext::create(QQmlEngine*, QJSEngine*)
{
    Q_ASSERT_X(currentContext, "AppContext::create", "no context made current before loading QML");
    QJSEngine::setObjectOwnership(currentContext, QJSEngine::CppOwnership);
    return currentContext;
}

void AppContext::revealInFileManager(const QString& path)
{
    if (!path.isEmpty())
        m_desktop->revealInFileManager({path});
}

void AppContext::chooseOutputFolder()
{
    m_outputFolderChooser = m_settings.chooseOutputFolderViaPanel();
}

void AppContext::chooseBackupDestination(int index)
{
    m_backupDestinationChooser = [](QPointer<AppContext> self, std::shared_ptr<Desktop> desktop,
                                    int index) -> QCoro::Task<> {
        const std::optional<QString> folder = co_await desktop->chooseFolder(
            QStringLiteral("Choose"), QStringLiteral("Choose the drive or folder to back the card up to"));
        if (self && folder && !folder->isEmpty())
            self->m_backupSettings.setDestination(index, *folder);
    }(this, m_desktop, index);
}

void AppContext::clearRecentFolders()
{
    m_recentFolders.clear();
}

void AppContext::clearHistory()
{
    if (const std::optional<QString> failure = m_history.clear()) {
        m_storeNotices.append(HistoryCommand::clearFailureSentence(*failure));
        emit storeNoticeChanged();
    }
}
