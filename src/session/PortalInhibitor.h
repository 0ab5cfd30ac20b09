#pragma once

#include <optional>
#include <QCoro/QCoroTask>
#include <QDBusConnection>
#include <QString>

// The desktop portal's inhibitor (org.freedesktop.portal.Inhibit), the one a
// sandboxed program may use: the lock lasts until its request is closed, or
// until the program leaves the session bus.
class PortalInhibitor
{
public:
    explicit PortalInhibitor(QDBusConnection bus);
    ~PortalInhibitor();
    PortalInhibitor(const PortalInhibitor&) = delete;
    PortalInhibitor& operator=(const PortalInhibitor&) = delete;

    // Takes the lock; nothing when held, otherwise the portal's reason for refusing.
    QCoro::Task<std::optional<QString>> inhibit(QString why);
    void release();

private:
    QDBusConnection m_bus;
    // The request object that stands for the lock; empty when none is held.
    QString m_handle;
};
