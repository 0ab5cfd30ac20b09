#include "session/NotificationServer.h"

#include "base/AppInfo.h"

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QPointer>

namespace {

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");

} // namespace

NotificationServer::NotificationServer(QDBusConnection bus, QObject* parent)
    : QObject(parent), m_bus(std::move(bus))
{
    m_bus.connect(service, path, service, QStringLiteral("ActionInvoked"), this,
                  SLOT(actionInvoked(uint, QString)));
    m_bus.connect(service, path, service, QStringLiteral("NotificationClosed"), this, SLOT(closed(uint)));
}

void NotificationServer::notify(DesktopSession::Notification notification)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
    const QString appId = QString::fromLatin1(AppInfo::applicationId);
    // Clicking the notification does what its one button does.
    const QStringList actions{QStringLiteral("default"), notification.actionLabel,
                              QString::fromLatin1(actionKey), notification.actionLabel};
    call << QString::fromLatin1(AppInfo::applicationName) << uint(0) << appId << notification.title
         << notification.body << actions << QVariantMap{{QStringLiteral("desktop-entry"), appId}} << -1;
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, onAction = std::move(notification.onAction)](QDBusPendingCallWatcher* finished) {
                const QDBusPendingReply<uint> reply = *finished;
                if (!reply.isError() && onAction)
                    m_actions.insert(reply.value(), onAction);
                finished->deleteLater();
            });
}

void NotificationServer::actionInvoked(uint id, const QString& key)
{
    if (key != QLatin1String("default") && key != QLatin1String(actionKey))
        return;
    if (const std::function<void()> action = m_actions.value(id))
        action();
}

void NotificationServer::closed(uint id)
{
    m_actions.remove(id);
}
