#pragma once

#include "session/DesktopSession.h"

#include <QDBusConnection>
#include <QHash>
#include <QObject>

// Notifications through the desktop portal (org.freedesktop.portal.Notification),
// the only way a sandboxed program may show them.
class PortalNotifications : public QObject
{
    Q_OBJECT

public:
    explicit PortalNotifications(QDBusConnection bus, QObject* parent = nullptr);

    void notify(DesktopSession::Notification notification);

private slots:
    void actionInvoked(const QString& id, const QString& action, const QVariantList& parameters);

private:
    QDBusConnection m_bus;
    int m_sent = 0;
    QHash<QString, std::function<void()>> m_actions;
};
