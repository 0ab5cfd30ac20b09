#include "PrivateBus.h"
#include "session/DBusDesktopSession.h"

#include <QCoro/QCoroTask>
#include <QtTest>

namespace {

const QString logindInhibit = QStringLiteral("org.freedesktop.login1.Manager.Inhibit(");
const QString logindReleased = QStringLiteral("logind lock released");

// What QCoro's waitFor gives back, with the event loop running meanwhile.
std::optional<QString> holdOffSleep(DesktopSession& session, const QString& why)
{
    return QCoro::waitFor(session.holdOffSleep(why));
}

} // namespace

class SessionTest : public QObject
{
    Q_OBJECT

private:
    int m_connections = 0;

    // A session whose buses are both `bus`.
    std::unique_ptr<DBusDesktopSession> sessionOn(const PrivateBus& bus, bool sandboxed = false)
    {
        const QString name = QStringLiteral("test-%1").arg(++m_connections);
        const QDBusConnection connection = QDBusConnection::connectToBus(bus.address(), name);
        if (!connection.isConnected())
            return nullptr;
        return std::make_unique<DBusDesktopSession>(connection, connection, sandboxed);
    }

private slots:
    void holdsOffSleepThroughLogindWhereNoPortalAnswers()
    {
        PrivateBus bus;
        QVERIFY(bus.startStandIns({QStringLiteral("logind")}));
        const auto session = sessionOn(bus);
        QVERIFY(session);
        QCOMPARE(holdOffSleep(*session, QStringLiteral("Converting 2 clips to ProRes")), std::nullopt);
        QCOMPARE(bus.calls(), QStringList{QStringLiteral("org.freedesktop.login1.Manager.Inhibit(sleep:idle|"
                                                         "Tolvane|Converting 2 clips to ProRes|block)")});
        session->allowSleep();
        QVERIFY(bus.waitForCall(logindReleased));
    }

    void theLogindLockEndsWithTheSession()
    {
        PrivateBus bus;
        QVERIFY(bus.startStandIns({QStringLiteral("logind")}));
        auto session = sessionOn(bus);
        QVERIFY(session);
        QCOMPARE(holdOffSleep(*session, QStringLiteral("Converting 1 clip to ProRes")), std::nullopt);
        QVERIFY(!bus.waitForCall(logindReleased, 100));
        session.reset();
        QVERIFY(bus.waitForCall(logindReleased));
    }

    void prefersThePortalWhereItAnswers()
    {
        PrivateBus bus;
        QVERIFY(bus.startStandIns({QStringLiteral("portal"), QStringLiteral("logind")}));
        const auto session = sessionOn(bus);
        QVERIFY(session);
        QCOMPARE(holdOffSleep(*session, QStringLiteral("Converting 1 clip to ProRes")), std::nullopt);
        session->allowSleep();
        QVERIFY(bus.waitForCall(QStringLiteral("org.freedesktop.portal.Request.Close(")));
        QCOMPARE(bus.calls(), (QStringList{QStringLiteral("org.freedesktop.portal.Inhibit.Inhibit(|12|"
                                                          "{reason=Converting 1 clip to ProRes})"),
                                           QStringLiteral("org.freedesktop.portal.Request.Close()")}));
    }

    void saysWhySleepWasNotHeldOff_data()
    {
        QTest::addColumn<QStringList>("standIns");
        QTest::addColumn<bool>("sandboxed");
        QTest::addColumn<QString>("logindFailure");
        QTest::newRow("neither service")
            << QStringList() << false
            << QStringLiteral("The name org.freedesktop.login1 was not provided by "
                              "any .service files");
        // Only the portal reaches out of a sandbox, so logind is never asked.
        QTest::newRow("sandbox without a portal") << QStringList{QStringLiteral("logind")} << true
                                                  << QStringLiteral("not reachable from a sandbox");
    }

    void saysWhySleepWasNotHeldOff()
    {
        QFETCH(QStringList, standIns);
        QFETCH(bool, sandboxed);
        QFETCH(QString, logindFailure);
        PrivateBus bus;
        QVERIFY(bus.startStandIns(standIns));
        const auto session = sessionOn(bus, sandboxed);
        QVERIFY(session);
        QCOMPARE(
            holdOffSleep(*session, QStringLiteral("Converting 3 clips to ProRes")),
            DBusDesktopSession::notHeldReason(
                QStringLiteral("The name org.freedesktop.portal.Desktop was not provided by any .service "
                               "files"),
                logindFailure));
        QCOMPARE(bus.calls(), QStringList());
        // Nothing was held, so there is nothing to release.
        session->allowSleep();
    }

    void aNotificationCarriesTitleBodyAndItsAction()
    {
        PrivateBus bus;
        QVERIFY(bus.startStandIns({QStringLiteral("notifications")}, QStringLiteral("open")));
        const auto session = sessionOn(bus);
        QVERIFY(session);
        int chosen = 0;
        session->notify({QStringLiteral("Conversion Complete"), QStringLiteral("2 clips converted"),
                         QStringLiteral("Open Output Folder"), [&chosen] { ++chosen; }});
        QTRY_COMPARE_WITH_TIMEOUT(chosen, 1, 60000);
        QCOMPARE(bus.calls(),
                 QStringList{QStringLiteral(
                     "org.freedesktop.Notifications.Notify(Tolvane|0|org.tolvane.Tolvane|Conversion Complete|"
                     "2 clips converted|[default,Open Output Folder,open,Open Output Folder]|"
                     "{desktop-entry=org.tolvane.Tolvane}|-1)")});
    }

    void anotherActionDoesNothing()
    {
        PrivateBus bus;
        QVERIFY(bus.startStandIns({QStringLiteral("notifications")}, QStringLiteral("dismiss")));
        const auto session = sessionOn(bus);
        QVERIFY(session);
        int chosen = 0;
        session->notify({QStringLiteral("Conversion Complete"), QStringLiteral("1 clip converted"),
                         QStringLiteral("Open Output Folder"), [&chosen] { ++chosen; }});
        QVERIFY(bus.waitForCall(QStringLiteral("org.freedesktop.Notifications.Notify(")));
        QTest::qWait(100);
        QCOMPARE(chosen, 0);
    }

    void aSandboxNotifiesThroughThePortal()
    {
        PrivateBus bus;
        QVERIFY(bus.startStandIns({QStringLiteral("portal"), QStringLiteral("notifications")},
                                  QStringLiteral("open")));
        const auto session = sessionOn(bus, true);
        QVERIFY(session);
        int chosen = 0;
        session->notify({QStringLiteral("Finished with some issues"),
                         QStringLiteral("1 clip converted · 1 clip failed"),
                         QStringLiteral("Open Output Folder"), [&chosen] { ++chosen; }});
        QTRY_COMPARE_WITH_TIMEOUT(chosen, 1, 60000);
        QCOMPARE(
            bus.calls(),
            QStringList{QStringLiteral(
                "org.freedesktop.portal.Notification.AddNotification(run-1|{body=1 clip converted · 1 clip "
                "failed,buttons=[{action=open,label=Open Output Folder}],default-action=open,"
                "title=Finished with some issues})")});
    }

    void theLauncherEntryShowsWholePercentsAndIsCleared()
    {
        PrivateBus bus;
        QVERIFY(bus.startStandIns({QStringLiteral("launcher")}));
        const auto session = sessionOn(bus);
        QVERIFY(session);
        session->showProgress(0.42);
        session->showProgress(0.425);
        session->showProgress(1.0);
        session->showProgress(std::nullopt);
        QVERIFY(bus.waitForCall(QStringLiteral("com.canonical.Unity.LauncherEntry.Update(application://"
                                               "org.tolvane.Tolvane.desktop|{progress=0,")));
        const QString update = QStringLiteral(
            "com.canonical.Unity.LauncherEntry.Update(application://org.tolvane.Tolvane.desktop|{%1})");
        QCOMPARE(bus.calls(), (QStringList{update.arg(QStringLiteral("progress=0.42,progress-visible=true")),
                                           update.arg(QStringLiteral("progress=1,progress-visible=true")),
                                           update.arg(QStringLiteral("progress=0,progress-visible=false"))}));
    }
};

QTEST_GUILESS_MAIN(SessionTest)

#include "SessionTest.moc"
