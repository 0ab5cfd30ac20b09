#include "session/DBusDesktopSession.h"

#include "base/AppInfo.h"

#include <QFileInfo>
#include <QProcessEnvironment>

DBusDesktopSession::DBusDesktopSession()
    : DBusDesktopSession(QDBusConnection::sessionBus(), QDBusConnection::systemBus(), insideSandbox())
{
}

DBusDesktopSession::DBusDesktopSession(QDBusConnection sessionBus, QDBusConnection systemBus, bool sandboxed)
    : m_sandboxed(sandboxed), m_portalInhibitor(sessionBus), m_logindInhibitor(std::move(systemBus)),
      m_notificationServer(sessionBus), m_portalNotifications(sessionBus),
      m_launcherEntry(sessionBus, QString::fromLatin1(AppInfo::applicationId) + QStringLiteral(".desktop"))
{
}

bool DBusDesktopSession::insideSandbox()
{
    return QFileInfo::exists(QStringLiteral("/.flatpak-info")) ||
           QProcessEnvironment::systemEnvironment().contains(QStringLiteral("SNAP"));
}

QString DBusDesktopSession::notHeldReason(const QString& portalFailure, const QString& logindFailure)
{
    return QStringLiteral("the desktop portal did not hold it off (%1), nor did logind (%2)")
        .arg(portalFailure, logindFailure);
}

QCoro::Task<std::optional<QString>> DBusDesktopSession::holdOffSleep(QString why)
{
    // Named tasks: g++ 12 destroys copies of arguments made inside a co_await expression twice.
    QCoro::Task<std::optional<QString>> portal = m_portalInhibitor.inhibit(why);
    const std::optional<QString> portalFailure = co_await portal;
    if (!portalFailure)
        co_return std::nullopt;
    // Only the portal reaches out of a sandbox.
    if (m_sandboxed)
        co_return notHeldReason(*portalFailure, QString::fromLatin1("not reachable from a sandbox"));
    QCoro::Task<std::optional<QString>> logind = m_logindInhibitor.inhibit(why);
    const std::optional<QString> logindFailure = co_await logind;
    if (!logindFailure)
        co_return std::nullopt;
    co_return notHeldReason(*portalFailure, *logindFailure);
}

void DBusDesktopSession::allowSleep()
{
    m_portalInhibitor.release();
    m_logindInhibitor.release();
}

void DBusDesktopSession::notify(Notification notification)
{
    if (m_sandboxed)
        m_portalNotifications.notify(std::move(notification));
    else
        m_notificationServer.notify(std::move(notification));
}

void DBusDesktopSession::showProgress(std::optional<double> fraction)
{
    m_launcherEntry.show(fraction);
}
