#include "session/LogindInhibitor.h"

#include "base/AppInfo.h"
#include "session/DBusCall.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <unistd.h>

namespace {

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
    QCoro::Task<std::variant<QVariant, QString>> calling = DBusCall::firstValue(m_bus, inhibitCall(why));
    const std::variant<QVariant, QString> answer = co_await calling;
    if (const QString* failure = std::get_if<QString>(&answer))
        co_return *failure;
    const auto descriptor = std::get<QVariant>(answer).value<QDBusUnixFileDescriptor>();
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
