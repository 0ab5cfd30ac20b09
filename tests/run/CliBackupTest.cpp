#include "backup/BackupText.h"
#include "backup/MhlXml.h"
#include "BackupCardTree.h"
#include "CommandRun.h"
#include "TestFiles.h"

#include <csignal>
#include <functional>
#include <optional>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

CommandRun cli(const QStringList& arguments)
{
    return runCommand(QStringLiteral(TOLVANE_CLI_PATH), arguments);
}

QList<Mhl::Action> actionsIn(const QString& manifestPath)
{
    QString error;
    const std::optional<Mhl::Manifest> manifest = MhlXml::readManifest(readFile(manifestPath), error);
    QList<Mhl::Action> actions;
    if (manifest) {
        for (const Mhl::FileRecord& file : manifest->files)
            actions.append(file.action);
    }
    return actions;
}

// Whether a thread of the process `pid` waits in opening a named pipe for its reader.
bool waitsOnAPipe(qint64 pid)
{
    const QString tasks = QStringLiteral("/proc/%1/task").arg(pid);
    for (const QString& task : QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (readFile(tasks + QLatin1Char('/') + task + QStringLiteral("/wchan")) == "wait_for_partner")
            return true;
    }
    return false;
}

// As sendTwoInterruptsTogether, but both to the main thread: a thread held in
// opening the named pipe is then never interrupted, which would restart its
// open after the pipe was removed and create the file anew.
bool sendTwoInterruptsToTheMainThread(qint64 pid)
{
    const auto process = static_cast<pid_t>(pid);
    if (pid <= 0 || ::kill(process, SIGSTOP) != 0)
        return false;
    for (int wait = 0; !isStopped(process); ++wait) {
        if (wait == 3000)
            return false;
        QThread::msleep(10);
    }
    return ::syscall(SYS_tgkill, process, process, SIGHUP) == 0 &&
           ::syscall(SYS_tgkill, process, process, SIGINT) == 0 && ::kill(process, SIGCONT) == 0;
}

QString onlyManifest(const QString& history, const QString& prefix)
{
    const QStringList names = QDir(history).entryList({prefix + QStringLiteral("_*.mhl")}, QDir::Files);
    return names.size() == 1 ? history + QLatin1Char('/') + names.first() : QString();
}

} // namespace

class CliBackupTest : public QObject
{
    Q_OBJECT

private:
    CaseFolders m_cases;
    QString m_case;

    QString folder(const QString& name) const { return m_cases.folder(name); }

    // Starts a backup of a card with one large file onto a tmpfs, mounted on
    // `destination` while `disk` lives, and waits until the large file is
    // being written under its temporary name.
    void startBackingUpALargeFile(QProcess& backup, const QString& destination,
                                  std::optional<SmallDisk>& disk)
    {
        const QString card = folder(QStringLiteral("CARD_B"));
        QFile large(card + QStringLiteral("/CONTENTS/VIDEO/0001XY.MXF"));
        QDir().mkpath(QFileInfo(large).path());
        QVERIFY(large.open(QIODevice::WriteOnly));
        // Sparse: costs no disk here, reads quickly, and still takes a while to copy.
        QVERIFY(large.resize(qint64(3) * 1024 * 1024 * 1024));
        large.close();
        writeFile(card + QStringLiteral("/CONTENTS/CLIP/0001XY.XML"), "<clip/>");
        disk.emplace(destination, QStringLiteral("size=4g"));
        QVERIFY2(disk->mounted(), "the tests mount a tmpfs, which needs root");

        backup.start(QStringLiteral(TOLVANE_CLI_PATH), {QStringLiteral("backup"), card, destination});
        QVERIFY(backup.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(partialCopy(destination)).size() > 0, 60000);
        QCOMPARE(backup.state(), QProcess::Running);
    }

    static QString partialCopy(const QString& destination)
    {
        return destination + QStringLiteral("/CARD_B/CONTENTS/VIDEO/.0001XY.MXF.tolvane-part");
    }

    // Neither the large file nor any temporary file is left.
    static void verifyNothingIncompleteIn(const QString& destination)
    {
        QVERIFY(!QFileInfo::exists(partialCopy(destination)));
        QVERIFY(!QFileInfo::exists(destination + QStringLiteral("/CARD_B/CONTENTS/VIDEO/0001XY.MXF")));
        for (const QString& left : everyFileBelow(destination))
            QVERIFY2(!left.endsWith(QLatin1String(".tolvane-part")), qPrintable(left));
    }

    // Interrupts a backup once its large file is being written, with
    // `interrupt` given the process id, and checks the exit status and what is
    // left. A backup that stops as cancelled says so; one that ends at once
    // cannot.
    void interruptWith(const std::function<bool(qint64)>& interrupt, int exitStatus)
    {
        const QString destination = folder(QStringLiteral("drive"));
        std::optional<SmallDisk> disk;
        QProcess backup;
        startBackingUpALargeFile(backup, destination, disk);
        if (QTest::currentTestFailed())
            return;
        QVERIFY(interrupt(backup.processId()));
        QVERIFY(backup.waitForFinished(60000));

        QCOMPARE(backup.exitStatus(), QProcess::NormalExit);
        QCOMPARE(backup.exitCode(), exitStatus);
        QCOMPARE(QString::fromUtf8(backup.readAllStandardError()).contains(BackupText::cancelledSentence()),
                 exitStatus == 1);
        verifyNothingIncompleteIn(destination);
    }

    static std::function<bool(qint64)> signalling(int signal)
    {
        return [signal](qint64 pid) { return ::kill(pid_t(pid), signal) == 0; };
    }

private slots:
    void init() { m_case = m_cases.next(); }

    void backsUpToTwoDestinationsAndVerifiesACopyLater()
    {
        const QString card = BackupCardTree::create(m_case);
        const QString first = folder(QStringLiteral("one"));
        const QString second = folder(QStringLiteral("two"));

        const CommandRun backup =
            cli({QStringLiteral("backup"), card + QStringLiteral("/CONTENTS"), first, second});

        QCOMPARE(backup.standardError, QString());
        QCOMPARE(backup.exitStatus, 0);
        const int fileCount = int(BackupCardTree::files().size());
        qint64 bytes = 0;
        for (const QString& file : BackupCardTree::files())
            bytes += QFileInfo(card + QLatin1Char('/') + file).size();
        QCOMPARE(backup.standardOutput, BackupText::provenSentence(fileCount, bytes, 2) + QLatin1Char('\n') +
                                            first + QStringLiteral("/CARD_A\n") + second +
                                            QStringLiteral("/CARD_A\n"));

        const QString copy = first + QStringLiteral("/CARD_A");
        const CommandRun verify = cli({QStringLiteral("verify-backup"), copy});
        QCOMPARE(verify.standardError, QString());
        QCOMPARE(verify.exitStatus, 0);
        const QString generation2 = onlyManifest(copy + QStringLiteral("/ascmhl"), QStringLiteral("0002"));
        QVERIFY(!generation2.isEmpty());
        QCOMPARE(verify.standardOutput,
                 QStringLiteral("Verified %1 files; every one matches its history.\n%2\n")
                     .arg(fileCount)
                     .arg(generation2));
        QCOMPARE(actionsIn(generation2), QList<Mhl::Action>(fileCount, Mhl::Action::verified));
        QCOMPARE(BackupCardTree::schemaProblems(generation2, QStringLiteral("ASCMHL.xsd")), QString());
        QCOMPARE(BackupCardTree::schemaProblems(copy + QStringLiteral("/ascmhl/ascmhl_chain.xml"),
                                                QStringLiteral("ASCMHLDirectory.xsd")),
                 QString());
    }

    void verifyingNamesEveryFailedMissingAndNewFile()
    {
        const QString card = BackupCardTree::create(m_case);
        const QString destination = folder(QStringLiteral("drive"));
        QCOMPARE(cli({QStringLiteral("backup"), card, destination}).exitStatus, 0);
        const QString copy = destination + QStringLiteral("/CARD_A");
        QFile damaged(copy + QStringLiteral("/CONTENTS/CLIP/0001AB.XML"));
        QVERIFY(damaged.open(QIODevice::ReadWrite));
        damaged.seek(10);
        damaged.putChar('!');
        damaged.close();
        QVERIFY(QFile::remove(copy + QStringLiteral("/LASTCLIP.TXT")));
        writeFile(copy + QStringLiteral("/CONTENTS/extra.txt"), "new");
        // What the standard ignores is neither new nor checked.
        writeFile(copy + QStringLiteral("/CONTENTS/.DS_Store"), "finder");

        const CommandRun verify = cli({QStringLiteral("verify-backup"), copy});

        QCOMPARE(verify.exitStatus, 1);
        QCOMPARE(verify.standardError, QStringLiteral("failed: CONTENTS/CLIP/0001AB.XML\n"
                                                      "missing: LASTCLIP.TXT\n"
                                                      "new: CONTENTS/extra.txt\n"));
        const QString generation2 = onlyManifest(copy + QStringLiteral("/ascmhl"), QStringLiteral("0002"));
        const int fileCount = int(BackupCardTree::files().size());
        QCOMPARE(verify.standardOutput, QStringLiteral("%1 verified, 1 failed, 1 missing, 1 new.\n%2\n")
                                            .arg(fileCount - 2)
                                            .arg(generation2));
        const QList<Mhl::Action> actions = actionsIn(generation2);
        QCOMPARE(actions.count(Mhl::Action::failed), 1);
        QCOMPARE(actions.count(Mhl::Action::verified), fileCount - 2);
        QCOMPARE(BackupCardTree::schemaProblems(generation2, QStringLiteral("ASCMHL.xsd")), QString());
    }

    void aFolderWithoutHistoryCannotBeVerified()
    {
        const QString plain = folder(QStringLiteral("plain"));
        const CommandRun verify = cli({QStringLiteral("verify-backup"), plain});
        QCOMPARE(verify.exitStatus, 2);
        QCOMPARE(verify.standardError,
                 QStringLiteral("“%1” holds no ASC MHL history (ascmhl/ascmhl_chain.xml).\n").arg(plain));
    }

    void usageErrorsExitWithTwo()
    {
        const CommandRun alone = cli({QStringLiteral("backup"), m_case});
        QCOMPARE(alone.exitStatus, 2);
        QCOMPARE(
            alone.standardError,
            QStringLiteral("tolvane-cli backup: give the card and a destination. Try tolvane-cli --help.\n"));
        const CommandRun option = cli({QStringLiteral("backup"), QStringLiteral("--fast"), m_case, m_case});
        QCOMPARE(option.exitStatus, 2);
        QCOMPARE(option.standardError,
                 QStringLiteral("tolvane-cli backup: unknown option “--fast”. Try tolvane-cli --help.\n"));
        QVERIFY(cli({QStringLiteral("--help")})
                    .standardOutput.contains(QStringLiteral("  verify-backup COPY\n")));
    }

    void aFolderStartingWithADashFollowsTheDoubleDash()
    {
        const QString card = BackupCardTree::create(m_case, QStringLiteral("-card"));
        const QString destination = folder(QStringLiteral("-drive"));
        const CommandRun backup = runCommand(QStringLiteral(TOLVANE_CLI_PATH),
                                             {QStringLiteral("backup"), QStringLiteral("--"),
                                              QStringLiteral("-card"), QStringLiteral("-drive")},
                                             m_case);
        QCOMPARE(backup.standardError, QString());
        QCOMPARE(backup.exitStatus, 0);
        QVERIFY(QFileInfo::exists(destination + QStringLiteral("/-card/LASTCLIP.TXT")));
        QVERIFY(BackupCardTree::sameBytes(card + QStringLiteral("/LASTCLIP.TXT"),
                                          destination + QStringLiteral("/-card/LASTCLIP.TXT")));
    }

    void tooLittleRoomExitsWithTwo()
    {
        const QString card = BackupCardTree::create(m_case);
        const QString small = folder(QStringLiteral("small"));
        const SmallDisk disk(small, QStringLiteral("size=2m"));
        QVERIFY2(disk.mounted(), "the tests mount a tmpfs, which needs root");
        const CommandRun backup = cli({QStringLiteral("backup"), card, small});
        QCOMPARE(backup.exitStatus, 2);
        QVERIFY2(backup.standardError.startsWith(QStringLiteral("Not enough free space on “%1”").arg(small)),
                 qPrintable(backup.standardError));
    }

    void ctrlCLeavesNoIncompleteFile() { interruptWith(signalling(SIGINT), 1); }
    void sigtermLeavesNoIncompleteFile() { interruptWith(signalling(SIGTERM), 1); }
    // A hang-up and a Ctrl-C together end the process inside the handler.
    void aSecondInterruptEndsAtOnceAndLeavesNoTemporaryFile()
    {
        interruptWith(sendTwoInterruptsTogether, 130);
    }

    // The history's chain is the last file a backup writes. A named pipe left
    // under its temporary name holds the backup there, in the middle of
    // writing its history, until the interrupts arrive.
    void aSecondInterruptWhileTheHistoryIsWrittenLeavesNoTemporaryFile()
    {
        const QString card = BackupCardTree::create(m_case);
        const QString destination = folder(QStringLiteral("drive"));
        const QString history = destination + QStringLiteral("/CARD_A/ascmhl");
        QVERIFY(QDir().mkpath(history));
        const QString chainInProgress = history + QStringLiteral("/.ascmhl_chain.xml.tolvane-part");
        QCOMPARE(::mkfifo(QFile::encodeName(chainInProgress).constData(), 0644), 0);
        QProcess backup;
        backup.start(QStringLiteral(TOLVANE_CLI_PATH), {QStringLiteral("backup"), card, destination});
        QVERIFY(backup.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(waitsOnAPipe(backup.processId()), 60000);

        QVERIFY(sendTwoInterruptsToTheMainThread(backup.processId()));
        QVERIFY(backup.waitForFinished(60000));

        QCOMPARE(backup.exitStatus(), QProcess::NormalExit);
        QCOMPARE(backup.exitCode(), 130);
        QVERIFY(!QFileInfo::exists(chainInProgress));
        QVERIFY(!QFileInfo::exists(history + QStringLiteral("/ascmhl_chain.xml")));
        for (const QString& left : everyFileBelow(destination))
            QVERIFY2(!left.endsWith(QLatin1String(".tolvane-part")), qPrintable(left));
        // The copies themselves were complete before the history was begun.
        for (const QString& file : BackupCardTree::files())
            QVERIFY(BackupCardTree::sameBytes(card + QLatin1Char('/') + file,
                                              destination + QStringLiteral("/CARD_A/") + file));
    }
};

QTEST_GUILESS_MAIN(CliBackupTest)
#include "CliBackupTest.moc"
