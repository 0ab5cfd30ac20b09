#pragma once

#include <memory>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A dbus-daemon of a test's own, given to programs as both their session and
// their system bus, with stand-ins for the desktop's services that write every
// call they receive to a log. Nothing on it can be activated, so a service
// that was not started is missing, as on a desktop without it.
class PrivateBus
{
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    // Empty when the daemon could not be started.
    const QString& address() const { return m_address; }
    // `base` with this bus as the session and the system bus.
    QProcessEnvironment
    environment(QProcessEnvironment base = QProcessEnvironment::systemEnvironment()) const;
    // Points this process's own session and system bus at this bus; only
    // before its first use of either.
    void useForThisProcess() const;

    // Starts the stand-ins for `services` (logind, portal, notifications,
    // launcher); false when they could not be started. `chosenAction`, when
    // given, is chosen at once for every notification shown.
    bool startStandIns(const QStringList& services, const QString& chosenAction = QString());
    // Every call received so far, one line each, in order.
    QStringList calls() const;
    // Waits up to `timeoutMs` until a call line starts with `prefix`.
    bool waitForCall(const QString& prefix, int timeoutMs = 20000) const;

private:
    QTemporaryDir m_folder;
    QProcess m_daemon;
    QString m_address;
    std::unique_ptr<QProcess> m_standIns;
};
