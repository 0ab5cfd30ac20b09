#include "session/LogindInhibitor.h"

#include "base/AppInfo.h"

#include <fcntl.h>
#include <QCoro/QCoroDBusPendingCall>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <unistd.h>

namespace {

// Long enough for a busy system bus, short enough that a run is not kept
// waiting for an answer that will never come.
constexpr int callTimeoutMs = 5000;

QDBusMessage inhibitCall(const QString& why)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << QStringLiteral("sleep:idle") << QString::fromLatin1(AppInfo::applicationName) << why
         << QStringLiteral("block");
    return call;
}

} // namespace

LogindInhibitor::LogindInhibitor(QDBusConnection bus) : m_bus(std::move(bus)) {}

LogindInhibitor::~LogindInhibitor()
{
    release();
}

QCoro::Task<std::optional<QString>> LogindInhibitor::inhibit(QString why)
{
    release();
    const QDBusPendingCall pending = m_bus.asyncCall(inhibitCall(why), callTimeoutMs);
    const QDBusMessage reply = co_await pending;
    if (reply.type() == QDBusMessage::ErrorMessage)
        co_return reply.errorMessage();
    const QList<QVariant> arguments = reply.arguments();
    const QDBusUnixFileDescriptor descriptor =
        arguments.isEmpty() ? QDBusUnixFileDescriptor() : arguments.first().value<QDBusUnixFileDescriptor>();
    if (!descriptor.isValid())
        co_return QString::fromLatin1("logind gave no lock");
    m_descriptor = fcntl(descriptor.fileDescriptor(), F_DUPFD_CLOEXEC, 0);
    if (m_descriptor < 0)
        co_return QString::fromLocal8Bit(strerror(errno));
    co_return std::nullopt;
}

void LogindInhibitor::release()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
    m_descriptor = -1;
}
