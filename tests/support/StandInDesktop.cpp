// Stand-ins for the desktop session's services on a private bus, for tests.
// Usage: stand-in-desktop LOG SERVICE… where SERVICE is logind, portal,
// notifications or launcher. Every call (and the release of every lock) is
// appended to LOG as one line; "ready" is printed once the names are owned.
// The bus is DBUS_SESSION_BUS_ADDRESS, which tests also give as the system bus.
#include <fcntl.h>
#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QDBusVirtualObject>
#include <QFile>
#include <QSocketNotifier>
#include <unistd.h>

namespace {

QString describe(const QVariant& value);

QString describeMap(const QVariantMap& map)
{
    QStringList entries;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        entries.append(it.key() + QLatin1Char('=') + describe(it.value()));
    return QLatin1Char('{') + entries.join(QLatin1Char(',')) + QLatin1Char('}');
}

QString describe(const QVariant& value)
{
    if (value.canConvert<QDBusArgument>()) {
        const QDBusArgument argument = value.value<QDBusArgument>();
        if (argument.currentType() == QDBusArgument::MapType)
            return describeMap(qdbus_cast<QVariantMap>(argument));
        if (argument.currentType() == QDBusArgument::ArrayType) {
            QStringList items;
            argument.beginArray();
            while (!argument.atEnd()) {
                QVariantMap item;
                argument >> item;
                items.append(describeMap(item));
            }
            argument.endArray();
            return QLatin1Char('[') + items.join(QLatin1Char(',')) + QLatin1Char(']');
        }
    }
    if (value.metaType() == QMetaType::fromType<QVariantMap>())
        return describeMap(value.toMap());
    if (value.metaType() == QMetaType::fromType<QStringList>())
        return QLatin1Char('[') + value.toStringList().join(QLatin1Char(',')) + QLatin1Char(']');
    if (value.metaType() == QMetaType::fromType<QDBusVariant>())
        return describe(value.value<QDBusVariant>().variant());
    return value.toString();
}

class StandIn : public QDBusVirtualObject
{
public:
    explicit StandIn(const QString& logPath) : m_log(logPath)
    {
        m_log.open(QIODevice::Append | QIODevice::WriteOnly);
    }

    void record(const QString& line)
    {
        m_log.write(line.toUtf8() + '\n');
        m_log.flush();
    }

    QString introspect(const QString&) const override { return QString(); }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        QStringList arguments;
        for (const QVariant& argument : message.arguments())
            arguments.append(describe(argument));
        record(message.interface() + QLatin1Char('.') + message.member() + QLatin1Char('(') +
               arguments.join(QLatin1Char('|')) + QLatin1Char(')'));
        const QString member = message.member();
        if (message.interface() == QLatin1String("org.freedesktop.login1.Manager") &&
            member == QLatin1String("Inhibit"))
            return connection.send(message.createReply(QVariant::fromValue(lock())));
        if (message.interface() == QLatin1String("org.freedesktop.portal.Inhibit")) {
            const QString handle =
                QStringLiteral("/org/freedesktop/portal/desktop/request/1_1/t%1").arg(++m_requests);
            return connection.send(message.createReply(QVariant::fromValue(QDBusObjectPath(handle))));
        }
        if (message.interface() == QLatin1String("org.freedesktop.portal.Request"))
            return connection.send(message.createReply());
        if (message.interface() == QLatin1String("org.freedesktop.Notifications") &&
            member == QLatin1String("Notify")) {
            const uint id = ++m_notifications;
            connection.send(message.createReply(QVariant::fromValue(id)));
            if (qEnvironmentVariableIsSet("STAND_IN_CHOOSE_ACTION")) {
                QDBusMessage invoked = QDBusMessage::createSignal(
                    QStringLiteral("/org/freedesktop/Notifications"),
                    QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("ActionInvoked"));
                invoked << id << qEnvironmentVariable("STAND_IN_CHOOSE_ACTION");
                connection.send(invoked);
            }
            return true;
        }
        if (message.interface() == QLatin1String("org.freedesktop.portal.Notification")) {
            connection.send(message.createReply());
            if (qEnvironmentVariableIsSet("STAND_IN_CHOOSE_ACTION")) {
                QDBusMessage invoked = QDBusMessage::createSignal(
                    QStringLiteral("/org/freedesktop/portal/desktop"),
                    QStringLiteral("org.freedesktop.portal.Notification"), QStringLiteral("ActionInvoked"));
                invoked << message.arguments().value(0).toString()
                        << qEnvironmentVariable("STAND_IN_CHOOSE_ACTION")
                        << QVariant::fromValue(QVariantList());
                connection.send(invoked);
            }
            return true;
        }
        return connection.send(message.createErrorReply(QDBusError::UnknownMethod, member));
    }

    // The write end of a pipe whose read end is watched: logind's lock is
    // released when every copy of the write end is closed.
    QDBusUnixFileDescriptor lock()
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            return {};
        const QDBusUnixFileDescriptor handed(ends[1]);
        ::close(ends[1]);
        auto* watch = new QSocketNotifier(ends[0], QSocketNotifier::Read);
        QObject::connect(watch, &QSocketNotifier::activated, watch, [this, watch, end = ends[0]] {
            char byte;
            if (::read(end, &byte, 1) > 0)
                return;
            record(QStringLiteral("logind lock released"));
            watch->setEnabled(false);
            ::close(end);
            watch->deleteLater();
        });
        return handed;
    }

private:
    QFile m_log;
    int m_requests = 0;
    uint m_notifications = 0;
};

// Records the launcher entry's signals, which nobody owns a name for.
class LauncherListener : public QObject
{
    Q_OBJECT

public:
    explicit LauncherListener(StandIn& log) : m_log(log) {}

public slots:
    void update(const QDBusMessage& message)
    {
        const QList<QVariant> arguments = message.arguments();
        m_log.record(QStringLiteral("com.canonical.Unity.LauncherEntry.Update(%1|%2)")
                         .arg(arguments.value(0).toString(), describe(arguments.value(1))));
    }

private:
    StandIn& m_log;
};

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments().mid(1);
    if (arguments.isEmpty())
        return 2;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return 3;
    StandIn standIn(arguments.first());
    LauncherListener launcher(standIn);
    const auto serve = [&](const char* name, const char* path,
                           QDBusConnection::VirtualObjectRegisterOption option) {
        return bus.registerService(QString::fromLatin1(name)) &&
               bus.registerVirtualObject(QString::fromLatin1(path), &standIn, option);
    };
    for (const QString& service : arguments.mid(1)) {
        bool served = true;
        if (service == QLatin1String("logind"))
            served = serve("org.freedesktop.login1", "/org/freedesktop/login1", QDBusConnection::SingleNode);
        else if (service == QLatin1String("portal"))
            served = serve("org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
                           QDBusConnection::SubPath);
        else if (service == QLatin1String("notifications"))
            served = serve("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                           QDBusConnection::SingleNode);
        else if (service == QLatin1String("launcher"))
            served = bus.connect(QString(), QString(), QStringLiteral("com.canonical.Unity.LauncherEntry"),
                                 QStringLiteral("Update"), &launcher, SLOT(update(QDBusMessage)));
        if (!served)
            return 4;
    }
    std::fputs("ready\n", stdout);
    std::fflush(stdout);
    return QCoreApplication::exec();
}

#include "StandInDesktop.moc"
