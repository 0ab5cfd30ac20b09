#pragma once

#include "run/BackupFirst.h"
#include "run/ConversionViewModel.h"
#include "store/BackupSettings.h"
#include "store/ConversionHistoryStore.h"
#include "store/Desktop.h"
#include "store/KeyValueStore.h"
#include "store/RecentFoldersStore.h"
#include "store/SettingsStore.h"
#include "ui/AppMaintenance.h"
#include "ui/FreeSpaceConfirmation.h"
#include "ui/HelpPresenter.h"
#include "ui/HistoryPresenter.h"
#include "ui/PairingDetailsPresenter.h"
#include "ui/PlatformTexts.h"
#include "ui/RecentFoldersModel.h"
#include "ui/SessionPresenter.h"
#include "ui/SettingsPresenter.h"

#include <memory>
#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

class QJSEngine;
class QQmlEngine;

// The application's long-lived state, made once: the shared stores, the one
// session driver and the desktop they talk to. QML reaches it as the App
// singleton (App.driver, App.settings, App.recentFolders, App.history); the app
// and the tests each make one over their own preference store and desktop and
// make it current before loading any QML.
class AppContext : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(App)
    QML_SINGLETON
    Q_PROPERTY(ConversionViewModel* driver READ driver CONSTANT)
    Q_PROPERTY(SettingsStore* settings READ settings CONSTANT)
    Q_PROPERTY(RecentFoldersStore* recentFolders READ recentFolders CONSTANT)
    Q_PROPERTY(ConversionHistoryStore* history READ history CONSTANT)
    Q_PROPERTY(RecentFoldersModel* recentFoldersModel READ recentFoldersModel CONSTANT)
    Q_PROPERTY(PlatformTexts* texts READ texts CONSTANT)
    Q_PROPERTY(AppMaintenance* maintenance READ maintenance CONSTANT)
    // What the window's banner says when the stored settings and history could
    // not be read and were kept aside; empty otherwise.
    Q_PROPERTY(QString storeNotice READ storeNotice NOTIFY storeNoticeChanged)
    Q_PROPERTY(SessionPresenter* session READ session CONSTANT)
    Q_PROPERTY(BackupSettings* backupSettings READ backupSettings CONSTANT)
    Q_PROPERTY(BackupFirst* backupFirst READ backupFirst CONSTANT)
    // Sheets:
    Q_PROPERTY(PairingDetailsPresenter* pairingDetails READ pairingDetails CONSTANT)
    Q_PROPERTY(HistoryPresenter* historyPresenter READ historyPresenter CONSTANT)
    Q_PROPERTY(SettingsPresenter* settingsPresenter READ settingsPresenter CONSTANT)
    Q_PROPERTY(HelpPresenter* help READ help CONSTANT)

public:
    // Without a desktop session, runs hold off no sleep and show nothing outside the window.
    AppContext(std::shared_ptr<KeyValueStore> defaults, std::shared_ptr<Desktop> desktop,
               std::shared_ptr<DesktopSession> session = nullptr, QObject* parent = nullptr);
    ~AppContext() override;

    // The context that QML engines created from now on see.
    static void setCurrent(AppContext* context);
    // The singleton's factory: the current context, kept owned by C++.
    static AppContext* create(QQmlEngine* engine, QJSEngine* scriptEngine);

    ConversionViewModel* driver() { return &m_driver; }
    SettingsStore* settings() { return &m_settings; }
    RecentFoldersStore* recentFolders() { return &m_recentFolders; }
    ConversionHistoryStore* history() { return &m_history; }
    RecentFoldersModel* recentFoldersModel() { return &m_recentFoldersModel; }
    PlatformTexts* texts() { return &m_texts; }
    AppMaintenance* maintenance() { return &m_maintenance; }
    SessionPresenter* session() { return &m_session; }
    BackupSettings* backupSettings() { return &m_backupSettings; }
    BackupFirst* backupFirst() { return &m_backupFirst; }
    Desktop& desktop() { return *m_desktop; }
    QString storeNotice() const { return m_storeNotices.join(QLatin1Char('\n')); }
    // Sheets:
    PairingDetailsPresenter* pairingDetails() { return &m_pairingDetails; }
    HistoryPresenter* historyPresenter() { return &m_historyPresenter; }
    SettingsPresenter* settingsPresenter() { return &m_settingsPresenter; }
    HelpPresenter* help() { return &m_help; }

    // Shows the file or folder at `path` selected in the file manager.
    Q_INVOKABLE void revealInFileManager(const QString& path);
    // Empties the "Open Recent" list.
    Q_INVOKABLE void clearRecentFolders();
    // Empties the conversion history.
    Q_INVOKABLE void clearHistory();
    // Lets the user pick the output folder; cancelling changes nothing.
    Q_INVOKABLE void chooseOutputFolder();
    // Lets the user pick the backup destination at `index` (0 or 1).
    Q_INVOKABLE void chooseBackupDestination(int index);

signals:
    void storeNoticeChanged();

private:
    std::shared_ptr<KeyValueStore> m_defaults;
    QStringList m_storeNotices;
    std::shared_ptr<Desktop> m_desktop;
    SettingsStore m_settings;
    RecentFoldersStore m_recentFolders;
    ConversionHistoryStore m_history;
    // After the stores, so it goes before them: it refers to them.
    ConversionViewModel m_driver;
    RecentFoldersModel m_recentFoldersModel;
    PlatformTexts m_texts;
    AppMaintenance m_maintenance;
    FreeSpaceConfirmation m_freeSpaceConfirmation;
    BackupSettings m_backupSettings;
    // After the driver, so it goes first: it drives it.
    BackupFirst m_backupFirst;
    // After the backup, so it goes first: it ends the backup on quitting.
    SessionPresenter m_session;
    QCoro::Task<> m_outputFolderChooser;
    QCoro::Task<> m_backupDestinationChooser;
    // Sheets:
    PairingDetailsPresenter m_pairingDetails;
    HistoryPresenter m_historyPresenter;
    SettingsPresenter m_settingsPresenter;
    HelpPresenter m_help;
};
