#include "backup/BackupText.h"
#include "backup/MhlXml.h"
#include "BackupCardTree.h"
#include "CommandRun.h"
#include "TestFiles.h"

#include <csignal>
#include <QDirIterator>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {

CommandRun cli(const QStringList& arguments)
{
    return runCommand(QStringLiteral(TOLVANE_CLI_PATH), arguments);
}

QStringList filesBelow(const QString& root)
{
    QStringList found;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext())
        found.append(it.next().mid(root.size() + 1));
    found.sort();
    return found;
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
    QTemporaryDir m_root;
    int m_caseNumber = 0;
    QString m_case;

    QString folder(const QString& name)
    {
        const QString path = m_case + QLatin1Char('/') + name;
        QDir().mkpath(path);
        return path;
    }

    // Starts a backup of a card with one large file onto a tmpfs, sends
    // `signal` once the large file is being written, and checks what is left.
    void interruptWith(int signal)
    {
        const QString card = folder(QStringLiteral("CARD_B"));
        QFile large(card + QStringLiteral("/CONTENTS/VIDEO/0001XY.MXF"));
        QDir().mkpath(QFileInfo(large).path());
        QVERIFY(large.open(QIODevice::WriteOnly));
        // Sparse: costs no disk here, reads quickly, and still takes a while to copy.
        QVERIFY(large.resize(qint64(3) * 1024 * 1024 * 1024));
        large.close();
        writeFile(card + QStringLiteral("/CONTENTS/CLIP/0001XY.XML"), "<clip/>");
        const QString destination = folder(QStringLiteral("drive"));
        const SmallDisk disk(destination, QStringLiteral("size=4g"));
        QVERIFY2(disk.mounted(), "the tests mount a tmpfs, which needs root");

        QProcess backup;
        backup.start(QStringLiteral(TOLVANE_CLI_PATH), {QStringLiteral("backup"), card, destination});
        QVERIFY(backup.waitForStarted());
        const QString partial =
            destination + QStringLiteral("/CARD_B/CONTENTS/VIDEO/.0001XY.MXF.tolvane-part");
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(partial).size() > 0, 60000);
        ::kill(pid_t(backup.processId()), signal);
        QVERIFY(backup.waitForFinished(60000));

        QCOMPARE(backup.exitStatus(), QProcess::NormalExit);
        QCOMPARE(backup.exitCode(), 1);
        QVERIFY(QString::fromUtf8(backup.readAllStandardError()).contains(BackupText::cancelledSentence()));
        QVERIFY(!QFileInfo::exists(partial));
        QVERIFY(!QFileInfo::exists(destination + QStringLiteral("/CARD_B/CONTENTS/VIDEO/0001XY.MXF")));
        for (const QString& left : filesBelow(destination))
            QVERIFY2(!left.endsWith(QLatin1String(".tolvane-part")), qPrintable(left));
    }

private slots:
    void init()
    {
        m_case = m_root.filePath(QString::number(++m_caseNumber));
        QDir().mkpath(m_case);
    }

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

    void ctrlCLeavesNoIncompleteFile() { interruptWith(SIGINT); }
    void sigtermLeavesNoIncompleteFile() { interruptWith(SIGTERM); }
};

QTEST_GUILESS_MAIN(CliBackupTest)
#include "CliBackupTest.moc"
