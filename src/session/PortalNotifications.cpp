#include "session/PortalNotifications.h"

#include <QDBusMessage>
#include <QDBusMetaType>

namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString interface = QStringLiteral("org.freedesktop.portal.Notification");
const QString actionName = QStringLiteral("open");

} // namespace

PortalNotifications::PortalNotifications(QDBusConnection bus, QObject* parent)
    : QObject(parent), m_bus(std::move(bus))
{
    qDBusRegisterMetaType<QList<QVariantMap>>();
    m_bus.connect(service, path, interface, QStringLiteral("ActionInvoked"), this,
                  SLOT(actionInvoked(QString, QString, QVariantList)));
}

void PortalNotifications::notify(DesktopSession::Notification notification)
{
    const QString id = QStringLiteral("run-%1").arg(++m_sent);
    const QList<QVariantMap> buttons{
        {{QStringLiteral("label"), notification.actionLabel}, {QStringLiteral("action"), actionName}}};
    const QVariantMap content{{QStringLiteral("title"), notification.title},
                              {QStringLiteral("body"), notification.body},
                              {QStringLiteral("default-action"), actionName},
                              {QStringLiteral("buttons"), QVariant::fromValue(buttons)}};
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("AddNotification"));
    call << id << content;
    if (notification.onAction)
        m_actions.insert(id, std::move(notification.onAction));
    m_bus.send(call);
}

void PortalNotifications::actionInvoked(const QString& id, const QString& action, const QVariantList&)
{
    if (action != actionName)
        return;
    if (const std::function<void()> onAction = m_actions.value(id))
        onAction();
}
