#include "session/PortalInhibitor.h"

#include "session/DBusCall.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QVariantMap>

namespace {

// The portal's flags for what waits: suspending (4) and idling (8).
constexpr uint suspendAndIdle = 4 | 8;

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");

QDBusMessage inhibitCall(const QString& why)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        portalService, QStringLiteral("/org/freedesktop/portal/desktop"),
        QStringLiteral("org.freedesktop.portal.Inhibit"), QStringLiteral("Inhibit"));
    call << QString() << suspendAndIdle << QVariantMap{{QStringLiteral("reason"), why}};
    return call;
}

} // namespace

PortalInhibitor::PortalInhibitor(QDBusConnection bus) : m_bus(std::move(bus)) {}

PortalInhibitor::~PortalInhibitor()
{
    release();
}

QCoro::Task<std::optional<QString>> PortalInhibitor::inhibit(QString why)
{
    release();
    QCoro::Task<std::variant<QVariant, QString>> calling = DBusCall::firstValue(m_bus, inhibitCall(why));
    const std::variant<QVariant, QString> answer = co_await calling;
    if (const QString* failure = std::get_if<QString>(&answer))
        co_return *failure;
    m_handle = std::get<QVariant>(answer).value<QDBusObjectPath>().path();
    if (m_handle.isEmpty())
        co_return QString::fromLatin1("the portal gave no request");
    co_return std::nullopt;
}

void PortalInhibitor::release()
{
    if (m_handle.isEmpty())
        return;
    // Nobody waits for the answer: the portal drops the lock either way once
    // this program leaves the bus.
    m_bus.send(QDBusMessage::createMethodCall(
        portalService, m_handle, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Close")));
    m_handle.clear();
}
