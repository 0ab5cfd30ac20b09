// tolvane-cli against cards and output folders made to trip it up: names that
// collide, folders it may not read, disks that fill up, paths that look like
// options. Each test runs the real program on a real synthetic card.
#include "CommandRun.h"
#include "media/FFmpegService.h"
#include "run/ConvertCommand.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"

#include <csignal>
#include <QCoroTask>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QtTest>
#include <unistd.h>

namespace {

const QRegularExpression datedFolderName(QStringLiteral("^\\d\\d-\\d\\d-\\d\\d\\d\\d$"));

// The one dated run folder below `base`, or nothing.
QString runFolderIn(const QString& base)
{
    const QStringList folders = QDir(base).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    if (folders.size() != 1 || !datedFolderName.match(folders.first()).hasMatch())
        return QString();
    return QDir(base).filePath(folders.first());
}

// Every file name directly in `folder`, hidden ones included, sorted.
QStringList filesIn(const QString& folder)
{
    QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden);
    names.sort();
    return names;
}

// Every path below `folder`, hidden ones included, sorted.
QStringList treeOf(const QString& folder)
{
    QStringList paths;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        paths.append(it.next());
    paths.sort();
    return paths;
}

QString textOf(const QString& path)
{
    return QString::fromUtf8(readFile(path));
}

} // namespace

class HostileCardTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_root;
    QString m_home;

    QString preferencesFile() const { return m_home + QStringLiteral("/.config/Tolvane/Tolvane.json"); }

    void storePreferences(const QJsonObject& preferences)
    {
        writeFile(preferencesFile(), QJsonDocument(preferences).toJson());
    }

    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), m_home);
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home + QStringLiteral("/.config"));
        return environment;
    }

    CommandRun runCli(const QStringList& arguments, const QString& workingDirectory = QString())
    {
        return runCommand(QStringLiteral(TOLVANE_CLI_PATH), arguments, workingDirectory, environment());
    }

    // Runs the CLI as a user whom file permissions bind: root reads anything,
    // so as root the run drops to "nobody".
    CommandRun runCliUnprivileged(const QStringList& arguments)
    {
        if (geteuid() != 0)
            return runCli(arguments);
        // A home of its own that the user may write.
        const QString home = m_root.filePath(QStringLiteral("unprivileged home"));
        QDir().mkpath(home);
        QFile::setPermissions(home, QFileDevice::Permissions(0x7777));
        QProcessEnvironment unprivileged = environment();
        unprivileged.insert(QStringLiteral("HOME"), home);
        unprivileged.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
        return runCommand(QStringLiteral("/usr/sbin/runuser"),
                          QStringList{QStringLiteral("-u"), QStringLiteral("nobody"), QStringLiteral("--"),
                                      QStringLiteral(TOLVANE_CLI_PATH)} +
                              arguments,
                          QString(), unprivileged);
    }

    QString freshFolder(const QString& name)
    {
        const QString path = m_root.filePath(name);
        QDir(path).removeRecursively();
        return path;
    }

    // A card of `clips` in a fresh folder `name`, or nothing after saying why not.
    std::optional<SyntheticCard::WrittenCard> writeCard(std::vector<SyntheticCard::ClipSpec> clips,
                                                        const QString& name)
    {
        SyntheticCard::CardSpec plan;
        plan.clips = std::move(clips);
        try {
            return SyntheticCard::write(plan, freshFolder(name));
        } catch (const SyntheticCard::Error& error) {
            qWarning("%s", error.what());
            return std::nullopt;
        }
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        TOLVANE_REQUIRE_INSTALLED_TOOLS();
        m_home = m_root.filePath(QStringLiteral("home"));
        QVERIFY(QDir().mkpath(m_home));
        // Cards and homes here are shared with the unprivileged user of the permission tests.
        QVERIFY(QFile::setPermissions(m_root.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                                         QFile::ReadOther | QFile::ExeOther));
    }

    void init() { QFile::remove(preferencesFile()); }

    // Two cameras' clips of one name, each with its own XML, UMID and audio,
    // must both be converted, each into its own movie.
    void clipsOfOneNameGetMoviesOfTheirOwn_data()
    {
        QTest::addColumn<bool>("skipExisting");
        QTest::newRow("skipping existing movies") << true;
        QTest::newRow("replacing existing movies") << false;
    }

    void clipsOfOneNameGetMoviesOfTheirOwn()
    {
        QFETCH(bool, skipExisting);
        SyntheticCard::ClipSpec first = SyntheticCard::clip(1, 1);
        // Shot a minute later by a second camera that numbers its clips alike.
        SyntheticCard::ClipSpec second = SyntheticCard::clip(2, 2);
        second.clipName = first.clipName;
        second.subfolder = QStringLiteral("camB");
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({first, second}, QStringLiteral("same names"));
        QVERIFY(card);
        storePreferences({{QStringLiteral("prefixExportsWithOrderNumber"), false},
                          {QStringLiteral("skipExistingFiles"), skipExisting}});
        const QString output = freshFolder(QStringLiteral("same names out"));

        const CommandRun run =
            runCli({QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"), output});
        QCOMPARE(run.standardError, QString());
        QCOMPARE(run.exitStatus, 0);
        QVERIFY2(run.standardOutput.contains(QLatin1String("All done. 2 clips converted.")),
                 qPrintable(run.standardOutput));
        const QString folder = runFolderIn(output);
        QVERIFY(!folder.isEmpty());
        QVERIFY2(filesIn(folder).contains(QStringLiteral("0001AB.mov")),
                 qPrintable(filesIn(folder).join(' ')));
        QVERIFY2(filesIn(folder).contains(QStringLiteral("0001AB-2.mov")),
                 qPrintable(filesIn(folder).join(' ')));
        // Each movie holds its own clip: one audio track in one, two in the other.
        const CommandRun tracks =
            runCommand(SyntheticCard::ffprobePath(),
                       {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-select_streams"),
                        QStringLiteral("a"), QStringLiteral("-show_entries"), QStringLiteral("stream=index"),
                        QStringLiteral("-of"), QStringLiteral("csv=p=0"),
                        QDir(folder).filePath(QStringLiteral("0001AB-2.mov"))});
        QCOMPARE(tracks.standardOutput.trimmed().split(QLatin1Char('\n')).size(), 2);
    }

    // A folder name that reads as an option or a protocol is still a folder.
    void cardNamesThatLookLikeOptionsOrProtocolsAreRead_data()
    {
        QTest::addColumn<QString>("cardName");
        QTest::newRow("leading dash") << QStringLiteral("-card");
        QTest::newRow("protocol prefix") << QStringLiteral("take1:A");
    }

    void cardNamesThatLookLikeOptionsOrProtocolsAreRead()
    {
        QFETCH(QString, cardName);
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({SyntheticCard::clip(1, 1)}, cardName);
        QVERIFY(card);
        for (const QString& command : {QStringLiteral("scan"), QStringLiteral("debug-report")}) {
            const CommandRun run = runCli({command, QStringLiteral("--"), cardName}, m_root.path());
            QCOMPARE(run.standardError, QString());
            QCOMPARE(run.exitStatus, 0);
            QVERIFY2(run.standardOutput.contains(QLatin1String("XML metadata (UMID-verified)")),
                     qPrintable(command + QLatin1Char('\n') + run.standardOutput));
        }
    }

    // Nothing is ever written into the card, even when asked to.
    void anOutputFolderInsideTheCardIsRefused_data()
    {
        QTest::addColumn<QString>("relativeOutput");
        QTest::newRow("its VIDEO folder") << QStringLiteral("CONTENTS/VIDEO");
        QTest::newRow("the card itself") << QString();
        QTest::newRow("a new folder in it") << QStringLiteral("CONTENTS/../movies");
    }

    void anOutputFolderInsideTheCardIsRefused()
    {
        QFETCH(QString, relativeOutput);
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({SyntheticCard::clip(1, 1)}, QStringLiteral("guarded card"));
        QVERIFY(card);
        const QStringList before = treeOf(card->rootPath);

        const QString output =
            relativeOutput.isEmpty() ? card->rootPath : card->rootPath + QLatin1Char('/') + relativeOutput;
        const CommandRun run =
            runCli({QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"), output});
        QCOMPARE(run.exitStatus, 2);
        QCOMPARE(run.standardOutput,
                 QStringLiteral("Found 1 clip — 1 with audio, all verified via CLIP XML.\n"));
        const QRegularExpression refusal(QStringLiteral(
            "^The output folder “.*/\\d\\d-\\d\\d-\\d\\d\\d\\d” is inside the card\\. Choose a "
            "folder outside the card: nothing is ever written to a card\\.\n$"));
        QVERIFY2(refusal.match(run.standardError).hasMatch(), qPrintable(run.standardError));

        QCOMPARE(treeOf(card->rootPath), before);
    }

    // Reports that do not fit on the disk are a failure of the run, said out
    // loud, and no report is left truncated under its name.
    void reportsThatCannotBeWrittenFailTheRun()
    {
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({SyntheticCard::clip(1, 1)}, QStringLiteral("small disk card"));
        QVERIFY(card);
        const QString output = freshFolder(QStringLiteral("small disk"));
        // Room for the run's folder and its movie, not for the reports.
        const SmallDisk disk(output, QStringLiteral("size=4m,nr_inodes=3"));
        if (!disk.mounted())
            QSKIP("mounting a small tmpfs needs root");

        const CommandRun run =
            runCli({QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"), output});
        QCOMPARE(run.exitStatus, 1);
        const QString folder = runFolderIn(output);
        QVERIFY(!folder.isEmpty());
        QCOMPARE(filesIn(folder), QStringList{QStringLiteral("001.mov")});
        const QString failures = QStringLiteral(
            "Could not write CONVERSION_REPORT.txt (No space left on device), PAIRING_REPORT.txt "
            "(No space left on device), DEBUG_REPORT.txt (No space left on device).");
        QCOMPARE(run.standardError, failures + QLatin1Char('\n'));
        QVERIFY2(run.standardOutput.endsWith(failures + QStringLiteral(" All done. 1 clip converted.\n") +
                                             folder + QLatin1Char('\n')),
                 qPrintable(run.standardOutput));
    }

    // A clip name in the XML cannot add lines to the report or drive the terminal.
    void clipNamesCannotForgeReportLines()
    {
        // An XML may carry a line feed in its ClipName as "&#10;"; ESC cannot
        // be written in XML, but a file name may hold it.
        SyntheticCard::ClipSpec clip = SyntheticCard::clip(1, 1);
        clip.declaredAudioCount = 2;
        clip.xmlFileName = QStringLiteral("0001AB\x1b[2J.XML");
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({clip}, QStringLiteral("forging card"));
        QVERIFY(card);
        const QString xml = card->contentsPath + QStringLiteral("/CLIP/") + clip.xmlFileName;
        QByteArray text = readFile(xml);
        QVERIFY(text.contains("<ClipName>0001AB</ClipName>"));
        text.replace("<ClipName>0001AB</ClipName>", "<ClipName>0001AB&#10;XML file: forged</ClipName>");
        writeFile(xml, text);

        const CommandRun run = runCli({QStringLiteral("scan"), card->rootPath});
        QCOMPARE(run.exitStatus, 0);
        QVERIFY2(run.standardOutput.contains(
                     QStringLiteral("0001AB\\nXML file: forged: CLIP XML declares 2 audio essence(s); found "
                                    "1 UMID-matching AUDIO file(s).\n")),
                 qPrintable(run.standardOutput));
        QVERIFY2(run.standardOutput.contains(QStringLiteral("\nXML file: 0001AB\\x1b[2J.XML\n")),
                 qPrintable(run.standardOutput));
        QVERIFY(!run.standardOutput.contains(QLatin1Char('\x1b')));
        QVERIFY(!run.standardOutput.contains(QStringLiteral("\nXML file: forged")));
    }

    // On a terminal the scan counts the files whose UMID it has read; piped, it keeps quiet.
    void scanCountsTheUMIDsItReadsOnATerminal()
    {
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({SyntheticCard::clip(1, 2), SyntheticCard::clip(2, 2)}, QStringLiteral("counted card"));
        QVERIFY(card);
        const CommandRun piped = runCli({QStringLiteral("scan"), card->rootPath});
        QCOMPARE(piped.exitStatus, 0);
        QVERIFY2(!piped.standardError.contains(QStringLiteral("Reading UMIDs")),
                 qPrintable(piped.standardError));

        // script(1) gives the program a terminal and passes on what it shows;
        // the report goes to /dev/null, so only standard error is seen.
        const QString command = shellQuoted(QStringLiteral(TOLVANE_CLI_PATH)) + QStringLiteral(" scan ") +
                                shellQuoted(card->rootPath) + QStringLiteral(" >/dev/null");
        const CommandRun shown = runCommand(QStringLiteral("script"),
                                            {QStringLiteral("-qec"), command, QStringLiteral("/dev/null")},
                                            QString(), environment());
        QCOMPARE(shown.exitStatus, 0);
        // Two clips of a video and two audio files each; their headers are read a list at a
        // time, the two videos first.
        for (const int done : {2, 6})
            QVERIFY2(shown.standardOutput.contains(QStringLiteral("\rReading UMIDs %1 / 6").arg(done)),
                     qPrintable(shown.standardOutput));
        // The count is wiped before the program ends.
        QVERIFY(shown.standardOutput.endsWith(QStringLiteral("\r") + QString(19, QLatin1Char(' ')) +
                                              QStringLiteral("\r")));
    }

    // A second Ctrl-C stops at once, without leaving half a movie behind.
    void aSecondInterruptLeavesNoPartialMovie()
    {
        SyntheticCard::ClipSpec longClip = SyntheticCard::clip(6, 1);
        longClip.frames = 1200;
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({longClip}, QStringLiteral("long card"));
        QVERIFY(card);
        const QString output = freshFolder(QStringLiteral("interrupted out"));
        QProcess cli;
        cli.setProcessEnvironment(environment());
        cli.start(QStringLiteral(TOLVANE_CLI_PATH),
                  {QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"), output});
        QVERIFY(cli.waitForStarted());
        const auto converting = [&output] {
            const QString folder = runFolderIn(output);
            return !folder.isEmpty() && filesIn(folder).contains(QStringLiteral(".001.mov.partial"));
        };
        while (!converting() && cli.state() == QProcess::Running)
            cli.waitForFinished(20);
        QVERIFY(converting());
        // Two Ctrl-Cs sent back to back can reach the program as one, and a
        // cancelled run may be over before a second one is sent: a Ctrl-C with
        // a SIGTERM right behind it is the same second interrupt, and never
        // merges with it.
        const pid_t pid = pid_t(cli.processId());
        QVERIFY(pid > 0);
        ::kill(pid, SIGINT);
        ::kill(pid, SIGTERM);
        QVERIFY(cli.waitForFinished(60000));
        QCOMPARE(cli.exitCode(), 130);
        // ffmpeg ends with the program: the folder is looked at once it is gone.
        QTRY_VERIFY_WITH_TIMEOUT(processesNaming(output).isEmpty(), 60000);
        // Reports the first Ctrl-C had time to write may stay; no movie, whole or half, does.
        const QStringList left = filesIn(runFolderIn(output));
        for (const QString& name : left)
            QVERIFY2(name.endsWith(QStringLiteral(".txt")), qPrintable(left.join(QStringLiteral(", "))));
    }

    void staleTemporariesOfMoviesAreRemoved()
    {
        QTemporaryDir folder;
        for (const char* name : {".001.mov.partial", ".-My Card $x.mov.partial", "keep.mov.partial",
                                 ".notes.partial", "001.mov", ".001.mov"})
            writeFile(folder.filePath(QString::fromUtf8(name)), "x");
        QVERIFY(QDir().mkpath(folder.filePath(QStringLiteral(".folder.mov.partial"))));
        FFmpegService::removeStaleTemporaries(folder.path());
        QCOMPARE(
            QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name),
            (QStringList{QStringLiteral(".001.mov"), QStringLiteral(".folder.mov.partial"),
                         QStringLiteral(".notes.partial"), QStringLiteral("001.mov"),
                         QStringLiteral("keep.mov.partial")}));
    }

    // A VIDEO file cut in half converts into half a movie: that is a failure,
    // and the half that could be recovered is kept.
    void aTruncatedSourceIsNotConvertedSuccessfully()
    {
        SyntheticCard::ClipSpec clip = SyntheticCard::clip(1, 1);
        clip.frames = 15;
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({clip}, QStringLiteral("truncated card"));
        QVERIFY(card);
        QFile video(card->clips.at(0).videoPath);
        QVERIFY(video.resize(video.size() / 2));
        const QString output = freshFolder(QStringLiteral("truncated out"));

        const CommandRun run =
            runCli({QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"), output});
        QCOMPARE(run.exitStatus, 1);
        const QRegularExpression failed(QStringLiteral(
            "\\] 0001AB: FAILED — output has (\\d+) of 15 frames — the VIDEO file looks truncated; "
            "the movie was kept, as it is all that could be recovered\n"));
        const QRegularExpressionMatch match = failed.match(run.standardOutput);
        QVERIFY2(match.hasMatch(), qPrintable(run.standardOutput));
        QVERIFY(match.captured(1).toInt() < 14);
        const QString folder = runFolderIn(output);
        QVERIFY(filesIn(folder).contains(QStringLiteral("001.mov")));
        QCOMPARE(textOf(QDir(folder).filePath(QStringLiteral("FFMPEG_ERRORS.txt"))),
                 QStringLiteral(
                     "0001AB: output has %1 of 15 frames — the VIDEO file looks truncated; the movie was "
                     "kept, as it is all that could be recovered\n")
                     .arg(match.captured(1)));
    }

    void aPathLongerThanTheSystemAllowsSaysSo()
    {
        const QString path = m_root.filePath(QString(300, QLatin1Char('x')));
        const CommandRun run = runCli({QStringLiteral("scan"), path});
        QCOMPARE(run.exitStatus, 2);
        QCOMPARE(run.standardError,
                 QStringLiteral("tolvane-cli scan: “%1” is a longer path than the system allows. "
                                "Try tolvane-cli --help.\n")
                     .arg(path));
    }

    void anOutputFolderThatIsADanglingLinkSaysSo()
    {
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({SyntheticCard::clip(1, 1)}, QStringLiteral("link card"));
        QVERIFY(card);
        const QString link = freshFolder(QStringLiteral("dangling out"));
        QFile::remove(link);
        const QString target = m_root.filePath(QStringLiteral("gone"));
        QVERIFY(QFile::link(target, link));
        const CommandRun run =
            runCli({QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"), link});
        QCOMPARE(run.exitStatus, 2);
        QCOMPARE(run.standardError,
                 QStringLiteral(
                     "Could not create output folder: Symbolic link to “%1”, which does not exist (%2)\n")
                     .arg(target, link));
    }

    // In process, where the tool folders can be chosen: ffmpeg without ffprobe.
    void convertSaysFFprobeIsMissing()
    {
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({SyntheticCard::clip(1, 1)}, QStringLiteral("no ffprobe card"));
        QVERIFY(card);
        ToolFolder tools;
        QVERIFY(tools.addReal(QStringLiteral("ffmpeg")));
        FFmpegService::setToolDirectoriesForTesting({tools.path()});
        const auto restore = qScopeGuard([] { FFmpegService::setToolDirectoriesForTesting({}); });
        qputenv("XDG_CONFIG_HOME", (m_home + QStringLiteral("/.config")).toUtf8());
        const CardCommand::Outcome outcome = QCoro::waitFor(ConvertCommand::run({card->rootPath}));
        QCOMPARE(outcome.exitStatus, 2);
        QCOMPARE(outcome.standardOutput, QString());
        QCOMPARE(outcome.standardError, ConvertCommand::ffprobeMissingMessage() + QLatin1Char('\n'));
        QVERIFY(outcome.standardError.startsWith(QLatin1String("ffprobe was not found. Install it with: ")));
    }

    // What cannot be read is never taken for what is not there: the folder or
    // file is named with the system's reason, and a clip is never converted
    // short of a channel.
    void unreadablePartsOfACardAreNamed_data()
    {
        QTest::addColumn<QString>("blocked"); // relative to CONTENTS; "" for none
        QTest::addColumn<QString>("emptied"); // relative to CONTENTS; "" for none
        QTest::addColumn<int>("exitStatus");
        QTest::addColumn<QString>("note"); // the entry's note, or the whole error when no report
        QTest::newRow("AUDIO folder")
            << "AUDIO"
            << "" << 1 << "AUDIO folder “CONTENTS/AUDIO” cannot be read: Permission denied";
        QTest::newRow("an audio file")
            << "AUDIO/0001AB01.MXF"
            << "" << 1 << "AUDIO file 0001AB01.MXF cannot be read: Permission denied";
        QTest::newRow("an empty audio file")
            << ""
            << "AUDIO/0001AB01.MXF" << 1 << "AUDIO file 0001AB01.MXF cannot be read: The file is empty";
        QTest::newRow("VIDEO folder")
            << "VIDEO"
            << "" << 2
            << "No video MXF file of this folder could be read. “CONTENTS/VIDEO” cannot "
               "be read: Permission denied.\n";
        QTest::newRow("CLIP folder")
            << "CLIP"
            << "" << 1 << "No XML/UMID match. Add --allow-unsafe-fallback to include this clip.";
    }

    void unreadablePartsOfACardAreNamed()
    {
        QFETCH(QString, blocked);
        QFETCH(QString, emptied);
        QFETCH(int, exitStatus);
        QFETCH(QString, note);
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({SyntheticCard::clip(1, 2)}, QStringLiteral("guarded card"));
        QVERIFY(card);
        const QString contents = card->contentsPath;
        if (!emptied.isEmpty())
            writeFile(contents + QLatin1Char('/') + emptied, {});
        const QString blockedPath = contents + QLatin1Char('/') + blocked;
        if (!blocked.isEmpty())
            QVERIFY(QFile::setPermissions(blockedPath, QFileDevice::Permissions()));
        const auto unblock =
            qScopeGuard([&] { QFile::setPermissions(blockedPath, QFileDevice::Permissions(0x7755)); });
        // The real path, as the program names it.
        const QString expectedNote =
            QString(note).replace(QStringLiteral("CONTENTS/"), contents + QLatin1Char('/'));

        const CommandRun scan = runCliUnprivileged({QStringLiteral("scan"), card->rootPath});
        QCOMPARE(scan.exitStatus, exitStatus);
        if (exitStatus == 2) {
            QCOMPARE(scan.standardError, expectedNote);
            return;
        }
        QVERIFY2(scan.standardOutput.contains(QStringLiteral("Status: NOT CONVERTED — ") + expectedNote +
                                              QLatin1Char('\n')),
                 qPrintable(scan.standardOutput));
        if (!blocked.isEmpty()) {
            const QString sentence =
                QStringLiteral("“%1” cannot be read: Permission denied.").arg(blockedPath);
            QVERIFY2(scan.standardOutput.startsWith(sentence + QLatin1Char('\n')),
                     qPrintable(scan.standardOutput));
            QCOMPARE(scan.standardError, sentence + QLatin1Char('\n'));
        }

        const QString output = freshFolder(QStringLiteral("guarded out"));
        QVERIFY(QDir().mkpath(output));
        QVERIFY(QFile::setPermissions(output, QFileDevice::Permissions(0x7777)));
        const CommandRun convert = runCliUnprivileged(
            {QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"), output});
        QCOMPARE(convert.exitStatus, 1);
        QVERIFY2(
            convert.standardError.endsWith(
                QStringLiteral("0 clips ready to convert — 1 clip(s) had no verified XML/UMID match. See "
                               "tolvane-cli scan, or add --allow-unsafe-fallback.") +
                (blocked.isEmpty()
                     ? QString()
                     : QStringLiteral(" “%1” cannot be read: Permission denied.").arg(blockedPath)) +
                QLatin1Char('\n')),
            qPrintable(convert.standardError));
        QCOMPARE(QDir(output).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }
};

QTEST_GUILESS_MAIN(HostileCardTest)
#include "HostileCardTest.moc"
