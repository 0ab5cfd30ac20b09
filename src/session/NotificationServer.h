#pragma once

#include "session/DesktopSession.h"

#include <QDBusConnection>
#include <QHash>
#include <QObject>

// The desktop's notification server (org.freedesktop.Notifications): shows a
// notification with the app's icon and one action, and runs the action when
// the user chooses it.
class NotificationServer : public QObject
{
    Q_OBJECT

public:
    // The key of the one action a notification offers besides clicking it.
    static constexpr const char* actionKey = "open";

    explicit NotificationServer(QDBusConnection bus, QObject* parent = nullptr);

    void notify(DesktopSession::Notification notification);

private slots:
    void actionInvoked(uint id, const QString& key);
    void closed(uint id);

private:
    QDBusConnection m_bus;
    QHash<uint, std::function<void()>> m_actions;
};
