#include "CommandRun.h"
#include "PrivateBus.h"
#include "store/ConversionHistoryStore.h"
#include "store/QSettingsKeyValueStore.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr quint32 controlKey = 0xffe3;
constexpr quint32 returnKey = 0xff0d;

// A port on this machine that nothing listens on now.
quint16 freePort()
{
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    quint16 port = 0;
    if (::bind(probe, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
        ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    ::close(probe);
    return port;
}

// The keyboard of a VNC viewer: the window, shown through Qt's VNC platform
// instead of a screen, takes keys from it as from a user. Speaks the oldest
// version of the protocol (RFB 3.3), which needs no password.
class VncKeyboard
{
public:
    ~VncKeyboard()
    {
        if (m_socket >= 0)
            ::close(m_socket);
    }

    bool connectTo(quint16 port, int timeoutMs)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        QElapsedTimer waited;
        waited.start();
        // The app listens once its window exists.
        for (;;) {
            m_socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            if (::connect(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
                break;
            ::close(m_socket);
            m_socket = -1;
            if (waited.elapsed() > timeoutMs)
                return false;
            QThread::msleep(100);
        }
        // The server's version, ours, then "no authentication" (1) and our
        // shared-session flag; the server's description of its screen follows.
        return read(12).startsWith("RFB 003.") && send("RFB 003.003\n") &&
               read(4) == QByteArray("\0\0\0\1", 4) && send(QByteArray(1, '\1')) && read(24).size() == 24;
    }

    bool press(quint32 modifier, quint32 key)
    {
        return event(modifier, true) && event(key, true) && event(key, false) && event(modifier, false);
    }

private:
    bool event(quint32 keysym, bool down)
    {
        QByteArray message(8, '\0');
        message[0] = 4;
        message[1] = down ? 1 : 0;
        qToBigEndian(keysym, message.data() + 4);
        return send(message);
    }

    bool send(const QByteArray& bytes)
    {
        return ::send(m_socket, bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL) == bytes.size();
    }

    QByteArray read(qsizetype count)
    {
        QByteArray bytes(count, '\0');
        qsizetype done = 0;
        while (done < count) {
            const ssize_t got = ::recv(m_socket, bytes.data() + done, size_t(count - done), 0);
            if (got <= 0)
                return bytes.left(done);
            done += got;
        }
        return bytes;
    }

    int m_socket = -1;
};

QStringList temporaryFilesBelow(const QString& root)
{
    QStringList found;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        if (path.endsWith(QLatin1String(".tolvane-part")))
            found.append(path);
    }
    return found;
}

} // namespace

// The real app, stopped by real signals while it backs a card up: the first
// cancels the backup as the Cancel button does and quits once it is recorded;
// a Ctrl-C with another interrupt ends it at once. Either way no temporary
// copy is left.
class WindowInterruptTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<ToolFolder> m_tools;
    QTemporaryDir m_work;
    QString m_card;
    const QString m_cardName = QStringLiteral("CARD_W");
    int m_caseNumber = 0;
    QString m_case;
    QString m_destination;
    QString m_settingsFile;
    std::optional<SmallDisk> m_disk;
    std::optional<PrivateBus> m_bus;
    QProcess m_app;

    QString folder(const QString& name)
    {
        const QString path = m_case + QLatin1Char('/') + name;
        QDir().mkpath(path);
        return path;
    }

    QString bigCopyInProgress() const
    {
        return m_destination + QLatin1Char('/') + m_cardName + QStringLiteral("/.BIG.BIN.tolvane-part");
    }

    // Starts the app with the card and "Back Up First" to a tmpfs, presses
    // Convert (Ctrl+Return) once the card is scanned, and waits until the
    // card's large file is being copied.
    void startBackingUp()
    {
        m_destination = folder(QStringLiteral("drive"));
        m_disk.emplace(m_destination, QStringLiteral("size=4g"));
        QVERIFY2(m_disk->mounted(), "the tests mount a tmpfs, which needs root");
        const QString config = folder(QStringLiteral("config"));
        m_settingsFile = config + QStringLiteral("/Tolvane/Tolvane.json");
        {
            QSettingsKeyValueStore settings(m_settingsFile);
            settings.setBool(QStringLiteral("backUpFirst"), true);
            settings.setStringList(QStringLiteral("backupDestinations"), {m_destination});
        }
        m_bus.emplace();
        QVERIFY(!m_bus->address().isEmpty());
        const quint16 port = freePort();
        QVERIFY(port != 0);
        QProcessEnvironment environment = m_bus->environment();
        environment.insert(QStringLiteral("HOME"), folder(QStringLiteral("home")));
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config);
        environment.insert(QStringLiteral("XDG_DATA_HOME"), folder(QStringLiteral("data")));
        environment.insert(QStringLiteral("XDG_CACHE_HOME"), folder(QStringLiteral("cache")));
        const QString runtime = folder(QStringLiteral("runtime"));
        QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"),
                           QStringLiteral("vnc:size=1280x900:port=%1").arg(port));
        environment.insert(QStringLiteral("QT_QUICK_BACKEND"), QStringLiteral("software"));
        m_app.setProcessEnvironment(environment);
        m_app.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_app.start(QStringLiteral(TOLVANE_APP_PATH), {m_card});
        QVERIFY(m_app.waitForStarted());

        VncKeyboard keyboard;
        QVERIFY(keyboard.connectTo(port, 60000));
        // Convert does nothing until the card is scanned.
        QElapsedTimer waited;
        waited.start();
        while (QFileInfo(bigCopyInProgress()).size() == 0) {
            QVERIFY2(waited.elapsed() < 120000, "the backup never started");
            QCOMPARE(m_app.state(), QProcess::Running);
            QVERIFY(keyboard.press(controlKey, returnKey));
            QTest::qWait(500);
        }
    }

    void verifyNothingIncompleteIsLeft()
    {
        QCOMPARE(temporaryFilesBelow(m_destination), QStringList());
        QVERIFY(
            !QFileInfo::exists(m_destination + QLatin1Char('/') + m_cardName + QStringLiteral("/BIG.BIN")));
    }

private slots:
    void initTestCase()
    {
        TOLVANE_REQUIRE_INSTALLED_TOOLS();
        m_tools = std::make_unique<ToolFolder>();
        TOLVANE_REQUIRE_REAL_TOOLS(*m_tools);
        SyntheticCard::CardSpec plan;
        plan.clips = {SyntheticCard::clip(1, 1)};
        m_card = SyntheticCard::write(plan, m_work.filePath(m_cardName)).rootPath;
        QFile big(m_card + QStringLiteral("/BIG.BIN"));
        QVERIFY(big.open(QIODevice::WriteOnly));
        // Sparse: costs no disk here, and still takes a while to copy.
        QVERIFY(big.resize(qint64(3) * 1024 * 1024 * 1024));
    }

    void cleanupTestCase() { m_tools.reset(); }

    void init()
    {
        m_case = m_work.filePath(QStringLiteral("case %1").arg(++m_caseNumber));
        QDir().mkpath(m_case);
    }

    void cleanup()
    {
        if (m_app.state() != QProcess::NotRunning) {
            m_app.kill();
            m_app.waitForFinished();
        }
        m_bus.reset();
        m_disk.reset();
    }

    void anInterruptCancelsTheBackupAsCancelDoesAndQuitsOnceItIsRecorded_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("Ctrl-C") << int(SIGINT);
        QTest::newRow("termination") << int(SIGTERM);
        QTest::newRow("hang-up") << int(SIGHUP);
    }

    void anInterruptCancelsTheBackupAsCancelDoesAndQuitsOnceItIsRecorded()
    {
        QFETCH(int, signal);
        startBackingUp();
        if (QTest::currentTestFailed())
            return;

        QCOMPARE(::kill(pid_t(m_app.processId()), signal), 0);
        QVERIFY(m_app.waitForFinished(120000));

        QCOMPARE(m_app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_app.exitCode(), 0);
        verifyNothingIncompleteIsLeft();
        ConversionHistoryStore history(std::make_shared<QSettingsKeyValueStore>(m_settingsFile));
        history.load();
        QCOMPARE(history.entries().size(), 1);
        const ConversionHistoryEntry& entry = history.entries().first();
        QCOMPARE(entry.cardName, m_cardName);
        QCOMPARE(entry.converted, 0);
        QCOMPARE(entry.backup, std::optional(BackupRecord{BackupRecord::Outcome::cancelled,
                                                          {m_destination + QLatin1Char('/') + m_cardName}}));
    }

    void aSecondInterruptEndsTheAppAtOnceAndLeavesNoTemporaryFile()
    {
        startBackingUp();
        if (QTest::currentTestFailed())
            return;

        QVERIFY(sendTwoInterruptsTogether(m_app.processId()));
        QVERIFY(m_app.waitForFinished(60000));

        QCOMPARE(m_app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_app.exitCode(), 130);
        verifyNothingIncompleteIsLeft();
    }
};

QTEST_GUILESS_MAIN(WindowInterruptTest)
#include "WindowInterruptTest.moc"
