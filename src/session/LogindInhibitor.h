#pragma once

#include <optional>
#include <QCoro/QCoroTask>
#include <QDBusConnection>
#include <QString>

// logind's inhibitor lock (org.freedesktop.login1.Manager.Inhibit on the
// system bus): suspending and idling wait while the file descriptor it hands
// out stays open. The descriptor is closed on exec, so a tool left running
// never holds the lock past the program, and the kernel closes it should the
// program end without releasing.
class LogindInhibitor
{
public:
    explicit LogindInhibitor(QDBusConnection bus);
    ~LogindInhibitor();
    LogindInhibitor(const LogindInhibitor&) = delete;
    LogindInhibitor& operator=(const LogindInhibitor&) = delete;

    // Takes the lock; nothing when held, otherwise logind's reason for refusing.
    QCoro::Task<std::optional<QString>> inhibit(QString why);
    void release();

private:
    QDBusConnection m_bus;
    int m_descriptor = -1;
};
