#include "CommandRun.h"
#include "PrivateBus.h"
#include "session/DBusDesktopSession.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"

#include <csignal>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

// tolvane-cli convert holds off sleep from its first clip until its reports
// are written, and lets go however the run ends.
namespace {

const QString inhibitTwoClips = QStringLiteral(
    "org.freedesktop.login1.Manager.Inhibit(sleep:idle|Tolvane|Converting 2 clips to ProRes|block)");
const QString released = QStringLiteral("logind lock released");

// A card of `clips`, each of three frames; a card that cannot be written fails the test.
SyntheticCard::WrittenCard writeCard(std::vector<SyntheticCard::ClipSpec> clips, const QString& path)
{
    SyntheticCard::CardSpec plan;
    plan.clips = std::move(clips);
    for (SyntheticCard::ClipSpec& clip : plan.clips)
        clip.frames = std::min(clip.frames, 3);
    return SyntheticCard::write(plan, path);
}

// The debug report of the one run folder below `base`.
QString debugReportIn(const QString& base)
{
    const QStringList folders = QDir(base).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    if (folders.size() != 1)
        return QString();
    return QString::fromUtf8(
        readFile(QDir(base).filePath(folders.first() + QStringLiteral("/DEBUG_REPORT.txt"))));
}

} // namespace

class SleepInhibitTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_root;
    std::optional<SyntheticCard::WrittenCard> m_card;
    std::optional<SyntheticCard::WrittenCard> m_longCard;
    int m_outputs = 0;

    QProcessEnvironment environment(const PrivateBus& bus) const
    {
        QProcessEnvironment environment = bus.environment();
        environment.insert(QStringLiteral("HOME"), m_root.filePath(QStringLiteral("home")));
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"),
                           m_root.filePath(QStringLiteral("home/.config")));
        return environment;
    }

    QString freshOutput() { return m_root.filePath(awkwardName(QStringLiteral(" out %1")).arg(++m_outputs)); }

    // Runs the CLI to its end; its exit status.
    int convert(const PrivateBus& bus, const QString& card, const QString& output,
                const QStringList& options = {})
    {
        QProcess cli;
        cli.setProcessEnvironment(environment(bus));
        cli.start(QStringLiteral(TOLVANE_CLI_PATH),
                  QStringList{QStringLiteral("convert"), card, QStringLiteral("--output-folder"), output} +
                      options);
        if (!cli.waitForFinished(300000))
            return -1;
        return cli.exitStatus() == QProcess::NormalExit ? cli.exitCode() : -1;
    }

    // Starts converting the card whose second clip is long, and returns once that clip converts.
    void startConvertingTheLongCard(QProcess& cli, const PrivateBus& bus, const QString& output)
    {
        cli.setProcessEnvironment(environment(bus));
        cli.start(QStringLiteral(TOLVANE_CLI_PATH), {QStringLiteral("convert"), m_longCard->rootPath,
                                                     QStringLiteral("--output-folder"), output});
        QVERIFY(cli.waitForStarted());
        QVERIFY(bus.waitForCall(inhibitTwoClips, 60000));
        // ffmpeg is writing the movie once its partial file is there.
        const auto converting = [&output] {
            const QStringList folders = QDir(output).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
            return !folders.isEmpty() && QFile::exists(QDir(output).filePath(
                                             folders.first() + QStringLiteral("/.002.mov.partial")));
        };
        while (!converting() && cli.state() == QProcess::Running)
            cli.waitForFinished(20);
        QCOMPARE(cli.state(), QProcess::Running);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        TOLVANE_REQUIRE_INSTALLED_TOOLS();
        m_card = writeCard({SyntheticCard::clip(1, 1), SyntheticCard::clip(2, 1)},
                           m_root.filePath(awkwardName(QStringLiteral(" card"))));
        // The long clip comes second, so its ffmpeg starts while the lock is held.
        SyntheticCard::ClipSpec longClip = SyntheticCard::clip(6, 1);
        longClip.frames = 1200;
        SyntheticCard::CardSpec plan;
        plan.clips = {SyntheticCard::clip(5, 1), longClip};
        m_longCard = SyntheticCard::write(plan, m_root.filePath(QStringLiteral("long card")));
    }

    void heldDuringARunAndReleasedAtItsEnd()
    {
        PrivateBus bus;
        QVERIFY(bus.startStandIns({QStringLiteral("logind")}));
        const QString output = freshOutput();
        QCOMPARE(convert(bus, m_card->rootPath, output), 0);
        QVERIFY(bus.waitForCall(released));
        QCOMPARE(bus.calls(), (QStringList{inhibitTwoClips, released}));
        QVERIFY(!debugReportIn(output).contains(QStringLiteral("Sleep")));
    }

    void releasedAfterAFailingClip()
    {
        // One frame: half of the file ends inside the only frame, which ffmpeg cannot decode.
        SyntheticCard::ClipSpec broken = SyntheticCard::clip(5, 1);
        broken.frames = 1;
        const SyntheticCard::WrittenCard card =
            writeCard({SyntheticCard::clip(4, 1), broken}, m_root.filePath(QStringLiteral("broken card")));
        QFile essence(card.clips.at(1).videoPath);
        QVERIFY(essence.resize(essence.size() / 2));
        PrivateBus bus;
        QVERIFY(bus.startStandIns({QStringLiteral("logind")}));
        QCOMPARE(convert(bus, card.rootPath, freshOutput()), 1);
        QVERIFY(bus.waitForCall(released));
        QCOMPARE(bus.calls(), (QStringList{inhibitTwoClips, released}));
    }

    void releasedAfterACancel()
    {
        PrivateBus bus;
        QVERIFY(bus.startStandIns({QStringLiteral("logind")}));
        QProcess cli;
        startConvertingTheLongCard(cli, bus, freshOutput());
        QCOMPARE(bus.calls(), QStringList{inhibitTwoClips});
        QCOMPARE(::kill(static_cast<pid_t>(cli.processId()), SIGINT), 0);
        QVERIFY(cli.waitForFinished(300000));
        QCOMPARE(cli.exitCode(), 1);
        QVERIFY(bus.waitForCall(released));
        QCOMPARE(bus.calls(), (QStringList{inhibitTwoClips, released}));
    }

    void releasedByASecondInterrupt()
    {
        PrivateBus bus;
        QVERIFY(bus.startStandIns({QStringLiteral("logind")}));
        const QString output = freshOutput();
        QProcess cli;
        startConvertingTheLongCard(cli, bus, output);
        const auto pid = static_cast<pid_t>(cli.processId());
        // A Ctrl-C and a SIGTERM, both pending when it resumes, so the first cannot stop ffmpeg.
        QCOMPARE(::kill(pid, SIGSTOP), 0);
        QTRY_VERIFY_WITH_TIMEOUT(isStopped(pid), 60000);
        QCOMPARE(::kill(pid, SIGINT), 0);
        QCOMPARE(::kill(pid, SIGTERM), 0);
        QCOMPARE(::kill(pid, SIGCONT), 0);
        QVERIFY(cli.waitForFinished(300000));
        QCOMPARE(cli.exitCode(), 130);
        // The program ended at once; the kernel closed the lock with it.
        QVERIFY(bus.waitForCall(released));
        QCOMPARE(bus.calls(), (QStringList{inhibitTwoClips, released}));
        // ffmpeg, told to stop as its parent ended, may not have finished yet.
        for (const pid_t left : processesNaming(output))
            ::kill(left, SIGKILL);
    }

    void allowSleepAsksNothing()
    {
        PrivateBus bus;
        QVERIFY(bus.startStandIns({QStringLiteral("logind"), QStringLiteral("portal")}));
        const QString output = freshOutput();
        QCOMPARE(convert(bus, m_card->rootPath, output, {QStringLiteral("--allow-sleep")}), 0);
        QCOMPARE(bus.calls(), QStringList());
        QVERIFY(!debugReportIn(output).contains(QStringLiteral("Sleep")));
    }

    void aDesktopWithoutEitherServiceIsToldInTheDebugReport()
    {
        PrivateBus bus;
        QVERIFY(!bus.address().isEmpty());
        const QString output = freshOutput();
        QCOMPARE(convert(bus, m_card->rootPath, output), 0);
        const QString why = DBusDesktopSession::notHeldReason(
            QStringLiteral("The name org.freedesktop.portal.Desktop was not provided by any .service files"),
            QStringLiteral("The name org.freedesktop.login1 was not provided by any .service files"));
        const QString report = debugReportIn(output);
        QVERIFY2(report.endsWith(
                     QStringLiteral("\n\nSleep could not be held off during this run: %1.\n").arg(why)),
                 qPrintable(report.right(400)));
    }
};

QTEST_GUILESS_MAIN(SleepInhibitTest)

#include "SleepInhibitTest.moc"
