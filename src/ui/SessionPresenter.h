#pragma once

#include "backup/BackupProgress.h"
#include "run/BackupFirst.h"
#include "run/ConversionViewModel.h"
#include "session/DesktopSession.h"
#include "store/Desktop.h"
#include "store/KeyValueStore.h"

#include <memory>
#include <optional>
#include <QList>
#include <QObject>
#include <QRect>
#include <QtQml/qqmlregistration.h>

// What the desktop around the window shows of a run (its percentage in the
// window title, the bar on the launcher entry, a notification at its end while
// the window is not the active one) and how the app ends during a run or a
// backup: never without stopping it cleanly first. Also keeps the window's place.
class SessionPresenter : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The session presenter belongs to the application context.")
    Q_PROPERTY(QString windowTitle READ windowTitle NOTIFY windowTitleChanged)
    // Bound by the window to its own `active`.
    Q_PROPERTY(bool windowActive READ windowActive WRITE setWindowActive NOTIFY windowActiveChanged)

public:
    SessionPresenter(ConversionViewModel& driver, BackupFirst& backup, std::shared_ptr<Desktop> desktop,
                     std::shared_ptr<DesktopSession> session, std::shared_ptr<KeyValueStore> store,
                     QObject* parent = nullptr);

    QString windowTitle() const
    {
        return windowTitleFor(m_driver.isConverting(), m_driver.overallProgress());
    }
    bool windowActive() const { return m_windowActive; }
    void setWindowActive(bool active);

    // A request to close the window or quit. Outside a run or a backup the
    // app quits at once; during one the user is asked first. False while the
    // app stays.
    Q_INVOKABLE bool requestQuit();
    // Cancels the run under way as the Cancel button does, waits for its
    // reports and then quits; during a backup, cancels it, records it in the
    // history and then quits (`BackupFirst::endSession`), converting nothing;
    // quits at once outside both. Nobody is asked: this is the session
    // manager's quit.
    Q_INVOKABLE void stopAndQuit();

    // The window's last place, when it still fits on one of `screens`.
    Q_INVOKABLE QRect restoredGeometry() const;
    Q_INVOKABLE void saveGeometry(const QRect& geometry);

    // "42% — Tolvane" during a run, "Tolvane" otherwise.
    static QString windowTitleFor(bool converting, double progress);
    // The alert's informative text: how many clips are still to convert.
    static QString clipsLeftText(int clipsLeft);
    // `saved` when its title bar lies on one of `screens` (their available areas).
    static std::optional<QRect> geometryOnScreens(const QRect& saved, const QList<QRect>& screens);
    static QString quitQuestion() { return QStringLiteral("Stop converting and quit?"); }
    static QString keepConvertingTitle() { return QStringLiteral("Keep Converting"); }
    static QString stopAndQuitTitle() { return QStringLiteral("Stop and Quit"); }
    // The alert during a backup: its question, the button that keeps it
    // going ("Stop and Quit" stops it), and what stopping means at `stage`
    // with `bytesLeft` of that stage still to do.
    static QString backupQuitQuestion() { return QStringLiteral("Stop the backup and quit?"); }
    static QString keepBackingUpTitle() { return QStringLiteral("Keep Backing Up"); }
    static QString backupLeftText(BackupProgress::Stage stage, qint64 bytesLeft);
    // The notification's one action, named as the summary card's button.
    static QString openOutputFolderTitle() { return QStringLiteral("Open Output Folder"); }

signals:
    void windowTitleChanged();
    void windowActiveChanged();
    // The app may end now.
    void quitRequested();

private:
    void followProgress();
    void runEnded();
    QCoro::Task<> askBeforeQuitting();
    QCoro::Task<> stopThenQuit();
    QCoro::Task<> endBackupThenQuit();

    ConversionViewModel& m_driver;
    BackupFirst& m_backup;
    std::shared_ptr<Desktop> m_desktop;
    std::shared_ptr<DesktopSession> m_session;
    std::shared_ptr<KeyValueStore> m_store;
    bool m_windowActive = true;
    bool m_asking = false;
    QString m_shownTitle;
    QCoro::Task<> m_question;
    QCoro::Task<> m_stopping;
};
