#include "PrivateBus.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>

namespace {

// Everyone may own any name and send anything; there are no service folders,
// so nothing is activated behind a test's back.
const QByteArray configuration =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=@FOLDER@</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

} // namespace

PrivateBus::PrivateBus()
{
    if (!m_folder.isValid())
        return;
    const QString configPath = m_folder.filePath(QStringLiteral("bus.conf"));
    QFile config(configPath);
    if (!config.open(QIODevice::WriteOnly))
        return;
    config.write(QByteArray(configuration).replace("@FOLDER@", m_folder.path().toUtf8()));
    config.close();
    m_daemon.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--nofork"), QStringLiteral("--print-address"),
                    QStringLiteral("--config-file=") + configPath});
    if (!m_daemon.waitForStarted())
        return;
    while (!m_daemon.canReadLine() && m_daemon.waitForReadyRead(10000)) {
    }
    m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
}

PrivateBus::~PrivateBus()
{
    if (m_standIns) {
        m_standIns->kill();
        m_standIns->waitForFinished();
    }
    m_daemon.kill();
    m_daemon.waitForFinished();
}

QProcessEnvironment PrivateBus::environment(QProcessEnvironment base) const
{
    base.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_address);
    base.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), m_address);
    return base;
}

void PrivateBus::useForThisProcess() const
{
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_address.toUtf8());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.toUtf8());
}

bool PrivateBus::startStandIns(const QStringList& services, const QString& chosenAction)
{
    if (m_address.isEmpty())
        return false;
    m_standIns = std::make_unique<QProcess>();
    QProcessEnvironment environment = this->environment();
    if (!chosenAction.isEmpty())
        environment.insert(QStringLiteral("STAND_IN_CHOOSE_ACTION"), chosenAction);
    m_standIns->setProcessEnvironment(environment);
    m_standIns->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_standIns->start(QStringLiteral(TOLVANE_STAND_IN_DESKTOP),
                      QStringList{m_folder.filePath(QStringLiteral("calls.log"))} + services);
    if (!m_standIns->waitForStarted())
        return false;
    while (!m_standIns->canReadLine() && m_standIns->waitForReadyRead(10000)) {
    }
    return m_standIns->readLine() == "ready\n";
}

QStringList PrivateBus::calls() const
{
    QFile log(m_folder.filePath(QStringLiteral("calls.log")));
    if (!log.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(log.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

bool PrivateBus::waitForCall(const QString& prefix, int timeoutMs) const
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        for (const QString& call : calls())
            if (call.startsWith(prefix))
                return true;
        // The calls may be this process's own, which its event loop sends.
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return false;
}
