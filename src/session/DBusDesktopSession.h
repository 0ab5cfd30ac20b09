#pragma once

#include "session/DesktopSession.h"
#include "session/LauncherEntry.h"
#include "session/LogindInhibitor.h"
#include "session/NotificationServer.h"
#include "session/PortalInhibitor.h"
#include "session/PortalNotifications.h"

// The desktop session over D-Bus, for the app and tolvane-cli alike. Sleep is
// held off through the desktop portal where it answers, otherwise through
// logind on the system bus; notifications go to the portal inside a sandbox
// and to the notification server elsewhere.
class DBusDesktopSession final : public DesktopSession
{
public:
    // Reads the buses from the environment, as every D-Bus program does.
    DBusDesktopSession();
    DBusDesktopSession(QDBusConnection sessionBus, QDBusConnection systemBus, bool sandboxed);

    QCoro::Task<std::optional<QString>> holdOffSleep(QString why) override;
    void allowSleep() override;
    void notify(Notification notification) override;
    void showProgress(std::optional<double> fraction) override;

    // Whether this program runs in a Flatpak or Snap sandbox.
    static bool insideSandbox();
    // Why sleep could not be held off, from what each service said.
    static QString notHeldReason(const QString& portalFailure, const QString& logindFailure);

private:
    const bool m_sandboxed;
    PortalInhibitor m_portalInhibitor;
    LogindInhibitor m_logindInhibitor;
    NotificationServer m_notificationServer;
    PortalNotifications m_portalNotifications;
    LauncherEntry m_launcherEntry;
};
