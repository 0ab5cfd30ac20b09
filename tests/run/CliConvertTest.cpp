#include "CommandRun.h"
#include "MovieTags.h"
#include "run/RunFolderLock.h"
#include "store/ConversionHistoryStore.h"
#include "store/QSettingsKeyValueStore.h"
#include "store/RecentFoldersStore.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"

#include <csignal>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString noVideoMessage =
    QStringLiteral("No video MXF files were found in this folder. Make sure you selected a "
                   "P2 card (or its CONTENTS folder) containing a VIDEO folder.\n");

const QRegularExpression datedFolderName(QStringLiteral("^\\d\\d-\\d\\d-\\d\\d\\d\\d$"));

// The settings a run may read but must never write.
const QStringList settingKeys{QStringLiteral("audioOffsetSeconds"),
                              QStringLiteral("audioSyncMode"),
                              QStringLiteral("outputFolderPath"),
                              QStringLiteral("proResProfile"),
                              QStringLiteral("allowUnsafeFallbackPairing"),
                              QStringLiteral("prefixExportsWithOrderNumber"),
                              QStringLiteral("openOutputFolderWhenFinished"),
                              QStringLiteral("skipExistingFiles"),
                              QStringLiteral("joinSpannedRecordings"),
                              QStringLiteral("writeClipMetadata"),
                              QStringLiteral("migratedAudioOffsetV2")};

// The card written, or nothing after saying why it could not be.
std::optional<SyntheticCard::WrittenCard> writeCard(std::vector<SyntheticCard::ClipSpec> clips,
                                                    const QString& path)
{
    SyntheticCard::CardSpec plan;
    plan.clips = std::move(clips);
    try {
        return SyntheticCard::write(plan, path);
    } catch (const SyntheticCard::Error& error) {
        qWarning("%s", error.what());
        return std::nullopt;
    }
}

// A short clip with two audio tracks.
SyntheticCard::ClipSpec shortClip(int n)
{
    SyntheticCard::ClipSpec clip = SyntheticCard::clip(n, 2);
    clip.frames = 3;
    return clip;
}

// The one dated run folder below `base`.
QString runFolderIn(const QString& base)
{
    const QStringList folders = QDir(base).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    if (folders.size() != 1 || !datedFolderName.match(folders.first()).hasMatch())
        return QString();
    return QDir(base).filePath(folders.first());
}

// Every file name below `folder`, hidden ones included.
QStringList filesBelow(const QString& folder)
{
    QStringList names;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        names.append(QFileInfo(it.next()).fileName());
    names.sort();
    return names;
}

QString textOf(const QString& path)
{
    return QString::fromUtf8(readFile(path));
}

} // namespace

class CliConvertTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_root;
    QString m_home;
    std::optional<SyntheticCard::WrittenCard> m_card;
    std::optional<SyntheticCard::WrittenCard> m_longCard;

    QString preferencesFile() const { return m_home + QStringLiteral("/.config/Tolvane/Tolvane.json"); }

    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), m_home);
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home + QStringLiteral("/.config"));
        return environment;
    }

    // Runs the real CLI with the preferences kept in a temporary home.
    CommandRun runCli(const QStringList& arguments, const QString& workingDirectory = QString())
    {
        return runCommand(QStringLiteral(TOLVANE_CLI_PATH), arguments, workingDirectory, environment());
    }

    QString freshFolder(const QString& name)
    {
        const QString path = m_root.filePath(name);
        QDir(path).removeRecursively();
        return path;
    }

    // Starts converting a card of a long clip and a short one, and returns once
    // ffmpeg writes the first movie.
    void startConvertingTheLongCard(QProcess& cli, const QString& output)
    {
        if (!m_longCard) {
            // Long enough that the conversion is still running when the interrupt arrives.
            SyntheticCard::ClipSpec longClip = SyntheticCard::clip(6, 1);
            longClip.frames = 1200;
            m_longCard = writeCard({longClip, shortClip(7)}, m_root.filePath(QStringLiteral("long card")));
            QVERIFY(m_longCard);
        }
        cli.setProcessEnvironment(environment());
        cli.start(QStringLiteral(TOLVANE_CLI_PATH), {QStringLiteral("convert"), m_longCard->rootPath,
                                                     QStringLiteral("--output-folder"), output});
        QVERIFY(cli.waitForStarted());
        // The hidden partial movie appears once ffmpeg is writing.
        const auto converting = [&output] {
            const QString folder = runFolderIn(output);
            return !folder.isEmpty() && filesBelow(folder).contains(QStringLiteral(".001.mov.partial"));
        };
        while (!converting() && cli.state() == QProcess::Running)
            cli.waitForFinished(20);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        TOLVANE_REQUIRE_INSTALLED_TOOLS();
        m_home = m_root.filePath(QStringLiteral("home"));
        QVERIFY(QDir().mkpath(m_home));
        m_card =
            writeCard({shortClip(1), shortClip(2)}, m_root.filePath(awkwardName(QStringLiteral(" card"))));
        QVERIFY(m_card);
    }

    // First: it checks the preferences file as the only writer of it.
    void convertsACardWithOptionsThatAreNotSaved()
    {
        const QJsonObject stored{
            {QStringLiteral("proResProfile"), 3},
            {QStringLiteral("outputFolderPath"), m_root.filePath(QStringLiteral("never"))},
            {QStringLiteral("openOutputFolderWhenFinished"), true}};
        writeFile(preferencesFile(), QJsonDocument(stored).toJson());

        // Relative paths from the card's parent: the card's name starts with a dash.
        const QString cardName = QFileInfo(m_card->rootPath).fileName();
        const QString outputName = awkwardName(QStringLiteral(" out"));
        const CommandRun run =
            runCli({QStringLiteral("convert"), QStringLiteral("--profile"), QStringLiteral("proxy"),
                    QStringLiteral("--output-folder=") + outputName, QStringLiteral("--"), cardName},
                   m_root.path());
        QCOMPARE(run.standardError, QString());
        QCOMPARE(run.exitStatus, 0);

        const QString folder = runFolderIn(m_root.filePath(outputName));
        QVERIFY2(!folder.isEmpty(), qPrintable(run.standardOutput));
        QCOMPARE(filesBelow(folder),
                 (QStringList{QStringLiteral("001.mov"), QStringLiteral("002.mov"),
                              QStringLiteral("CONVERSION_REPORT.txt"), QStringLiteral("DEBUG_REPORT.txt"),
                              QStringLiteral("PAIRING_REPORT.txt")}));

        const QStringList lines = run.standardOutput.split(QLatin1Char('\n'));
        QCOMPARE(lines.size(), 6);
        QCOMPARE(lines.at(0), QStringLiteral("Found 2 clips — 2 with audio, all verified via CLIP XML."));
        QVERIFY2(lines.at(1).endsWith(QLatin1String("] 0001AB: converted successfully.")),
                 qPrintable(lines.at(1)));
        QVERIFY2(lines.at(2).endsWith(QLatin1String("] 0002AB: converted successfully.")),
                 qPrintable(lines.at(2)));
        QCOMPARE(lines.at(3), QStringLiteral("All done. 2 clips converted."));
        QCOMPARE(lines.at(4), folder);
        QCOMPARE(lines.at(5), QString());

        // The profile option reached the encoder.
        const QString report = textOf(QDir(folder).filePath(QStringLiteral("CONVERSION_REPORT.txt")));
        QCOMPARE(report.count(QStringLiteral("-profile:v 0")), 2);

        // The overrides stayed in the run; the run itself entered history and recent folders.
        const QJsonObject after = QJsonDocument::fromJson(readFile(preferencesFile())).object();
        for (const QString& key : settingKeys)
            QCOMPARE(after.value(key), stored.value(key));
        const auto preferences = std::make_shared<QSettingsKeyValueStore>(preferencesFile());
        const ConversionHistoryStore history(preferences);
        QCOMPARE(history.entries().size(), 1);
        QCOMPARE(history.entries().first().outputFolder, folder);
        QCOMPARE(history.entries().first().converted, 2);
        QCOMPARE(history.entries().first().cardName, cardName);
        const RecentFoldersStore recent(preferences);
        QCOMPARE(recent.folders(), QStringList{m_card->rootPath});
    }

    // With fresh preferences the movies go to Tolvane in the user's videos
    // folder, made when missing. The tools come from the fixed folders: a
    // failing ffmpeg first on PATH is never run.
    void convertsIntoTheVideosFolderWithFreshPreferences()
    {
        const QString home = m_root.filePath(awkwardName(QStringLiteral(" fresh home")));
        const QString onPath = m_root.filePath(QStringLiteral("tools on PATH"));
        QVERIFY(QDir().mkpath(home));
        QVERIFY(QDir().mkpath(onPath));
        for (const QString& tool : {QStringLiteral("ffmpeg"), QStringLiteral("ffprobe")}) {
            writeFile(onPath + QLatin1Char('/') + tool, "#!/bin/sh\nexit 1\n");
            QFile::setPermissions(onPath + QLatin1Char('/') + tool,
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        }
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home);
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
        environment.insert(QStringLiteral("PATH"),
                           onPath + QLatin1Char(':') + environment.value(QStringLiteral("PATH")));

        const CommandRun run =
            runCommand(QStringLiteral(TOLVANE_CLI_PATH), {QStringLiteral("convert"), m_card->rootPath},
                       QString(), environment);
        QCOMPARE(run.standardError, QString());
        QCOMPARE(run.exitStatus, 0);

        const QString folder = runFolderIn(home + QStringLiteral("/Videos/Tolvane"));
        QVERIFY2(!folder.isEmpty(), qPrintable(run.standardOutput));
        QVERIFY(run.standardOutput.endsWith(QStringLiteral("All done. 2 clips converted.\n") + folder +
                                            QLatin1Char('\n')));
        QVERIFY(QFileInfo(QDir(folder).filePath(QStringLiteral("001.mov"))).size() > 0);
        QVERIFY(QFileInfo(QDir(folder).filePath(QStringLiteral("002.mov"))).size() > 0);
    }

    void convertsAnUnverifiedClipOnlyWhenAllowed()
    {
        SyntheticCard::ClipSpec withoutXml = shortClip(3);
        withoutXml.writeXml = false;
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({withoutXml}, m_root.filePath(QStringLiteral("no xml")));
        QVERIFY(card);
        const QString output = freshFolder(QStringLiteral("unsafe out"));

        const CommandRun excluded =
            runCli({QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"), output});
        QCOMPARE(excluded.exitStatus, 1);
        QCOMPARE(excluded.standardOutput, QString());
        QCOMPARE(excluded.standardError,
                 QStringLiteral("0 clips ready to convert — 1 clip(s) had no verified XML/UMID match. See "
                                "tolvane-cli scan, or add --allow-unsafe-fallback.\n"));
        QVERIFY(!QFileInfo::exists(output));

        const CommandRun allowed =
            runCli({QStringLiteral("convert"), QStringLiteral("--allow-unsafe-fallback"), card->rootPath,
                    QStringLiteral("--output-folder"), output});
        QCOMPARE(allowed.standardError, QString());
        QCOMPARE(allowed.exitStatus, 0);
        QVERIFY(allowed.standardOutput.startsWith(
            QStringLiteral("Found 1 clip — 1 with audio. 1 used UNSAFE fallback pairing — check tolvane-cli "
                           "scan.\n")));
        QVERIFY(allowed.standardOutput.contains(QStringLiteral("] 0003AB: converted successfully.\n")));
        const QString folder = runFolderIn(output);
        QVERIFY(QFileInfo(QDir(folder).filePath(QStringLiteral("001.mov"))).size() > 0);
    }

    void writesClipMetadataForThisRunOnlyWhenAsked()
    {
        SyntheticCard::ClipSpec clip = shortClip(4);
        clip.shooter = QStringLiteral("Ana $USER");
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({clip}, m_root.filePath(QStringLiteral("noted card")));
        QVERIFY(card);
        const QString output = freshFolder(QStringLiteral("noted out"));

        const CommandRun noted = runCli({QStringLiteral("convert"), QStringLiteral("--clip-metadata"),
                                         card->rootPath, QStringLiteral("--output-folder"), output});
        QCOMPARE(noted.standardError, QString());
        QCOMPARE(noted.exitStatus, 0);
        const QString movie = QDir(runFolderIn(output)).filePath(QStringLiteral("001.mov"));
        const MovieTags tags = movieTags(movie);
        QVERIFY(tags.read);
        QCOMPARE(tags.timecodeTrack.value(QStringLiteral("reel_name")), QStringLiteral("0004AB"));
        QCOMPARE(tags.format.value(QStringLiteral("com.tolvane.shooter")), QStringLiteral("Ana $USER"));
        QCOMPARE(tags.format.value(QStringLiteral("com.tolvane.material-package-umid")), card->clips[0].umid);
        // The option lasted for that run only.
        const QJsonObject stored = QJsonDocument::fromJson(readFile(preferencesFile())).object();
        QVERIFY(!stored.contains(QStringLiteral("writeClipMetadata")));

        const QString plainOutput = freshFolder(QStringLiteral("plain out"));
        const CommandRun plain = runCli(
            {QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"), plainOutput});
        QCOMPARE(plain.exitStatus, 0);
        const MovieTags plainTags =
            movieTags(QDir(runFolderIn(plainOutput)).filePath(QStringLiteral("001.mov")));
        QVERIFY(plainTags.read);
        QVERIFY(!plainTags.timecodeTrack.contains(QStringLiteral("reel_name")));
        QVERIFY(!plainTags.format.contains(QStringLiteral("com.tolvane.shooter")));
    }

    void joinsSpannedShotsForThisRunOnlyWhenAsked()
    {
        const std::optional<SyntheticCard::WrittenCard> card = writeCard(
            SyntheticCard::spannedShot(20, {QStringLiteral("0201AA"), QStringLiteral("0204CE")}, 3, 2),
            m_root.filePath(QStringLiteral("spanned card")));
        QVERIFY(card);
        const QString output = freshFolder(QStringLiteral("spanned out"));

        const CommandRun joined = runCli({QStringLiteral("convert"), QStringLiteral("--join-spanned"),
                                          card->rootPath, QStringLiteral("--output-folder"), output});
        QCOMPARE(joined.standardError, QString());
        QCOMPARE(joined.exitStatus, 0);
        const QStringList lines = joined.standardOutput.split(QLatin1Char('\n'));
        QCOMPARE(lines.at(0),
                 QStringLiteral("Found 2 clips — 2 with audio, all verified via CLIP XML. 1 spanned "
                                "shot (2 pieces) will be joined into one movie."));
        QVERIFY2(lines.at(1).endsWith(QLatin1String("] 0201AA + 0204CE: converted successfully.")),
                 qPrintable(lines.at(1)));
        QCOMPARE(lines.at(2), QStringLiteral("All done. 1 clip converted."));
        const QString folder = runFolderIn(output);
        QCOMPARE(filesBelow(folder),
                 (QStringList{QStringLiteral("001.mov"), QStringLiteral("CONVERSION_REPORT.txt"),
                              QStringLiteral("DEBUG_REPORT.txt"), QStringLiteral("PAIRING_REPORT.txt")}));
        // The option lasted for that run only.
        const QJsonObject stored = QJsonDocument::fromJson(readFile(preferencesFile())).object();
        QVERIFY(!stored.contains(QStringLiteral("joinSpannedRecordings")));

        const CommandRun separate =
            runCli({QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"), output});
        QCOMPARE(separate.exitStatus, 0);
        QVERIFY(separate.standardOutput.startsWith(
            QStringLiteral("Found 2 clips — 2 with audio, all verified via CLIP XML.\n")));
        QVERIFY(separate.standardOutput.contains(QStringLiteral("] 0204CE: converted successfully.\n")));
    }

    void refusesAFolderWithoutVideo()
    {
        const QString empty = m_root.filePath(QStringLiteral("empty"));
        QVERIFY(QDir().mkpath(empty));
        const CommandRun run = runCli({QStringLiteral("convert"), empty});
        QCOMPARE(run.exitStatus, 2);
        QCOMPARE(run.standardOutput, QString());
        QCOMPARE(run.standardError, noVideoMessage);
    }

    void reportsAnOutputFolderThatCannotBeCreated()
    {
        // Tests may run as root, so a regular file in the way is what stops the folder.
        const QString blocker = m_root.filePath(awkwardName(QStringLiteral(" file")));
        writeFile(blocker, "not a folder");
        const CommandRun run =
            runCli({QStringLiteral("convert"), m_card->rootPath, QStringLiteral("--output-folder"), blocker});
        QCOMPARE(run.exitStatus, 2);
        QVERIFY2(run.standardError.startsWith(QStringLiteral("Could not create output folder: ")),
                 qPrintable(run.standardError));
        QVERIFY(run.standardError.endsWith(QLatin1Char('\n')));
        QCOMPARE(run.standardError.count(QLatin1Char('\n')), 1);
        QCOMPARE(readFile(blocker), QByteArray("not a folder"));
    }

    void aFailingClipDoesNotStopTheOthers()
    {
        // One frame: half of the file ends inside the only frame, which ffmpeg cannot decode.
        SyntheticCard::ClipSpec broken = shortClip(5);
        broken.frames = 1;
        const std::optional<SyntheticCard::WrittenCard> card =
            writeCard({shortClip(4), broken}, m_root.filePath(QStringLiteral("broken card")));
        QVERIFY(card);
        QFile essence(card->clips.at(1).videoPath);
        QVERIFY(essence.resize(essence.size() / 2));
        const QString output = freshFolder(QStringLiteral("broken out"));

        const CommandRun run =
            runCli({QStringLiteral("convert"), card->rootPath, QStringLiteral("--output-folder"), output});
        QCOMPARE(run.exitStatus, 1);
        QVERIFY2(run.standardOutput.contains(QStringLiteral("] 0004AB: converted successfully.\n")),
                 qPrintable(run.standardOutput));
        QVERIFY(run.standardOutput.contains(QStringLiteral("] 0005AB: FAILED — ffmpeg exited with code ")));
        const QString folder = runFolderIn(output);
        QVERIFY(run.standardOutput.endsWith(
            QStringLiteral("\nDone with 1 error. See logs in the output folder.\n%1\n").arg(folder)));
        QVERIFY(QFileInfo(QDir(folder).filePath(QStringLiteral("001.mov"))).size() > 0);
        QVERIFY(!QFileInfo::exists(QDir(folder).filePath(QStringLiteral("002.mov"))));
        QVERIFY(textOf(QDir(folder).filePath(QStringLiteral("FFMPEG_ERRORS.txt")))
                    .startsWith(QStringLiteral("0005AB: ffmpeg exited with code ")));
        QVERIFY(QFileInfo::exists(QDir(folder).filePath(QStringLiteral("DEBUG_REPORT.txt"))));
    }

    void anUnknownClipNameIsAUsageErrorBeforeAnythingIsConverted()
    {
        const QString output = freshFolder(QStringLiteral("unknown clip out"));
        const CommandRun run =
            runCli({QStringLiteral("convert"), m_card->rootPath, QStringLiteral("--output-folder"), output,
                    QStringLiteral("--clip"), QStringLiteral("0001AB"), QStringLiteral("--clip=0009ZZ")});
        QCOMPARE(run.exitStatus, 2);
        QCOMPARE(run.standardError,
                 QStringLiteral("tolvane-cli convert: no clip that would be converted is named “0009ZZ” "
                                "(tolvane-cli scan lists them). Try tolvane-cli --help.\n"));
        QVERIFY(!QFileInfo::exists(output));
    }

    // Two runs of one clip each, side by side, leave what one run of both leaves.
    void singleClipRunsInParallelGiveTheFilesOfOneRun()
    {
        const QString output = freshFolder(QStringLiteral("parallel out"));
        QList<std::shared_ptr<QProcess>> runs;
        for (const QString& clip : {QStringLiteral("0002AB"), QStringLiteral("0001AB")}) {
            auto cli = std::make_shared<QProcess>();
            cli->setProcessEnvironment(environment());
            cli->start(QStringLiteral(TOLVANE_CLI_PATH),
                       {QStringLiteral("convert"), QStringLiteral("--json"), QStringLiteral("--clip"), clip,
                        QStringLiteral("--output-folder"), output, m_card->rootPath});
            runs.append(cli);
        }
        QList<QJsonObject> documents;
        for (const std::shared_ptr<QProcess>& cli : runs) {
            QVERIFY(cli->waitForFinished(120000));
            QCOMPARE(cli->exitCode(), 0);
            documents.append(QJsonDocument::fromJson(cli->readAllStandardOutput()).object());
        }
        const QString folder = runFolderIn(output);
        QVERIFY(!folder.isEmpty());
        QCOMPARE(filesBelow(folder),
                 (QStringList{QStringLiteral("001.mov"), QStringLiteral("002.mov"),
                              QStringLiteral("CONVERSION_REPORT.txt"), QStringLiteral("DEBUG_REPORT.txt"),
                              QStringLiteral("PAIRING_REPORT.txt")}));
        const QString report = textOf(QDir(folder).filePath(QStringLiteral("CONVERSION_REPORT.txt")));
        QVERIFY2(!report.contains(QStringLiteral("not chosen")), qPrintable(report));
        QCOMPARE(report.count(QStringLiteral("0001AB: converted successfully.")), 1);
        QCOMPARE(report.count(QStringLiteral("0002AB: converted successfully.")), 1);

        // The first run's own summary: its clip converted, the other one left out.
        const QJsonObject first = documents.first();
        QCOMPARE(first.value(QStringLiteral("outputFolder")).toString(), folder);
        QCOMPARE(first.value(QStringLiteral("counts")).toObject().value(QStringLiteral("notChosen")).toInt(),
                 1);
        const QJsonArray clips = first.value(QStringLiteral("clips")).toArray();
        QCOMPARE(clips.size(), 2);
        QCOMPARE(clips.at(0).toObject().value(QStringLiteral("status")).toString(),
                 QStringLiteral("notChosen"));
        QVERIFY(clips.at(0).toObject().value(QStringLiteral("outputFile")).isNull());
        QCOMPARE(clips.at(1).toObject().value(QStringLiteral("status")).toString(),
                 QStringLiteral("converted"));
        QCOMPARE(clips.at(1).toObject().value(QStringLiteral("outputFile")).toString(),
                 QDir(folder).filePath(QStringLiteral("002.mov")));
        QCOMPARE(first.value(QStringLiteral("status")).toString(),
                 QStringLiteral("All done. 1 clip converted. 1 clip left out by choice."));
    }

    void scanPrintsTheClipsAsJson()
    {
        const CommandRun run = runCli({QStringLiteral("scan"), QStringLiteral("--json"), m_card->rootPath});
        QCOMPARE(run.exitStatus, 0);
        const QJsonObject document = QJsonDocument::fromJson(run.standardOutput.toUtf8()).object();
        const QJsonArray clips = document.value(QStringLiteral("clips")).toArray();
        QCOMPARE(clips.size(), 2);
        const QJsonObject second = clips.at(1).toObject();
        QCOMPARE(second.value(QStringLiteral("name")).toString(), QStringLiteral("0002AB"));
        QCOMPARE(second.value(QStringLiteral("number")).toInt(), 2);
        QCOMPARE(second.value(QStringLiteral("audioChannels")).toInt(), 2);
        QCOMPARE(second.value(QStringLiteral("pairing")).toString(), QStringLiteral("verified"));
        QCOMPARE(second.value(QStringLiteral("startTimecode")).toString(), QStringLiteral("01:00:10:00"));
    }

    void anInterruptCancelsLikeTheCancelButton()
    {
        const QString output = freshFolder(awkwardName(QStringLiteral(" cancelled")));
        QProcess cli;
        startConvertingTheLongCard(cli, output);
        QCOMPARE(cli.state(), QProcess::Running);
        QCOMPARE(::kill(static_cast<pid_t>(cli.processId()), SIGINT), 0);
        QVERIFY(cli.waitForFinished(300000));
        QCOMPARE(cli.exitStatus(), QProcess::NormalExit);
        QCOMPARE(cli.exitCode(), 1);

        const QString standardOutput = QString::fromUtf8(cli.readAllStandardOutput());
        const QString folder = runFolderIn(output);
        QVERIFY2(standardOutput.contains(QStringLiteral("] 0006AB: FAILED — Cancelled\n")),
                 qPrintable(standardOutput));
        QVERIFY(
            standardOutput.endsWith(QStringLiteral("\nThe run was cancelled. 0 converted, 1 failed, 1 not "
                                                   "started. See logs in the output folder.\n%1\n")
                                        .arg(folder)));
        QCOMPARE(textOf(QDir(folder).filePath(QStringLiteral("FFMPEG_ERRORS.txt"))),
                 QStringLiteral("0006AB: Cancelled\n"));
        QCOMPARE(filesBelow(folder),
                 (QStringList{QStringLiteral("CONVERSION_REPORT.txt"), QStringLiteral("DEBUG_REPORT.txt"),
                              QStringLiteral("FFMPEG_ERRORS.txt"), QStringLiteral("PAIRING_REPORT.txt")}));
    }

    void aHangUpOrTerminationCancelsLikeTheCancelButton_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("hang-up") << int(SIGHUP);
        QTest::newRow("termination") << int(SIGTERM);
    }

    void aHangUpOrTerminationCancelsLikeTheCancelButton()
    {
        QFETCH(int, signal);
        const QString output = freshFolder(QStringLiteral("ended by %1").arg(signal));
        QProcess cli;
        startConvertingTheLongCard(cli, output);
        QCOMPARE(cli.state(), QProcess::Running);
        QCOMPARE(::kill(static_cast<pid_t>(cli.processId()), signal), 0);
        QVERIFY(cli.waitForFinished(300000));
        QCOMPARE(cli.exitStatus(), QProcess::NormalExit);
        QCOMPARE(cli.exitCode(), 1);

        const QString standardOutput = QString::fromUtf8(cli.readAllStandardOutput());
        const QString folder = runFolderIn(output);
        QVERIFY2(standardOutput.contains(QStringLiteral(
                     "Cancelling — waiting for ffmpeg to stop; it is ended by force after 5 seconds.\n")),
                 qPrintable(standardOutput));
        QVERIFY(standardOutput.contains(QStringLiteral("] 0006AB: FAILED — Cancelled\n")));
        QVERIFY(standardOutput.contains(QStringLiteral("] 0007AB: not started — the run was cancelled.\n")));
        QVERIFY2(
            standardOutput.endsWith(QStringLiteral("\nThe run was cancelled. 0 converted, 1 failed, 1 not "
                                                   "started. See logs in the output folder.\n%1\n")
                                        .arg(folder)),
            qPrintable(standardOutput));
        // The running clip's partial movie is gone; every report is there.
        QCOMPARE(filesBelow(folder),
                 (QStringList{QStringLiteral("CONVERSION_REPORT.txt"), QStringLiteral("DEBUG_REPORT.txt"),
                              QStringLiteral("FFMPEG_ERRORS.txt"), QStringLiteral("PAIRING_REPORT.txt")}));
        QVERIFY(textOf(QDir(folder).filePath(QStringLiteral("CONVERSION_REPORT.txt")))
                    .contains(QStringLiteral("] 0007AB: not started — the run was cancelled.\n")));
        const auto preferences = std::make_shared<QSettingsKeyValueStore>(preferencesFile());
        const ConversionHistoryStore history(preferences);
        QVERIFY(!history.entries().isEmpty());
        const ConversionHistoryEntry& entry = history.entries().first();
        QCOMPARE(entry.outputFolder, folder);
        QCOMPARE(QList<qint64>({entry.converted, entry.failed, entry.notStarted}), QList<qint64>({0, 1, 1}));
    }

    void aNewRunRemovesWhatInterruptedRunsLeft()
    {
        const QString output = freshFolder(QStringLiteral("left behind"));
        const QString earlier = output + QStringLiteral("/11-20-2026");
        const QString held = output + QStringLiteral("/11-21-2026 (2)");
        const QString foreign = output + QStringLiteral("/holiday");
        for (const QString& folder : {earlier, held, foreign}) {
            QVERIFY(QDir().mkpath(folder));
            writeFile(folder + QStringLiteral("/.001.mov.partial"), "half a movie");
            writeFile(folder + QStringLiteral("/.notes.partial"), "not ours");
            writeFile(folder + QStringLiteral("/001.mov"), "a movie");
        }
        // Another Tolvane is converting into this one right now.
        std::optional<RunFolderLock> running = RunFolderLock::tryHold(held);
        QVERIFY(running);
        QVERIFY(!RunFolderLock::tryHold(held));

        const CommandRun run =
            runCli({QStringLiteral("convert"), m_card->rootPath, QStringLiteral("--output-folder"), output});
        QCOMPARE(run.exitStatus, 0);
        QCOMPARE(filesBelow(earlier),
                 (QStringList{QStringLiteral(".notes.partial"), QStringLiteral("001.mov")}));
        for (const QString& untouched : {held, foreign})
            QCOMPARE(filesBelow(untouched),
                     (QStringList{QStringLiteral(".001.mov.partial"), QStringLiteral(".notes.partial"),
                                  QStringLiteral("001.mov")}));
        // The run let go of its own folder when it ended.
        QVERIFY(RunFolderLock::tryHold(earlier));
    }

    void aRunThatCannotFitIsRefusedAndAFullDiskStopsIt()
    {
        const QString mountPoint = freshFolder(QStringLiteral("small disk"));
        QVERIFY(QDir().mkpath(mountPoint));
        QProcess mount;
        mount.start(QStringLiteral("mount"),
                    {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                     QStringLiteral("size=64k"), QStringLiteral("tmpfs"), mountPoint});
        if (!mount.waitForFinished(30000) || mount.exitStatus() != QProcess::NormalExit ||
            mount.exitCode() != 0)
            QSKIP(qPrintable(QStringLiteral("a small tmpfs could not be mounted: %1")
                                 .arg(QString::fromLocal8Bit(mount.readAllStandardError()).trimmed())));
        const auto unmount =
            qScopeGuard([&mountPoint] { QProcess::execute(QStringLiteral("umount"), {mountPoint}); });

        const CommandRun refused = runCli(
            {QStringLiteral("convert"), m_card->rootPath, QStringLiteral("--output-folder"), mountPoint});
        QCOMPARE(refused.exitStatus, 2);
        static const QRegularExpression shortfall(
            QStringLiteral(
                "^Not enough free space in “%1/\\d\\d-\\d\\d-\\d{4}”: the movies need about "
                "[0-9.]+ [kMG]?B and [0-9.]+ [kMG]?B is free\\. Free some space, choose another folder with "
                "--output-folder, or convert anyway with --ignore-free-space\\.\n$")
                .arg(QRegularExpression::escape(mountPoint)));
        QVERIFY2(shortfall.match(refused.standardError).hasMatch(), qPrintable(refused.standardError));
        // Nothing was written: not even the run's folder.
        QVERIFY(QDir(mountPoint).isEmpty());

        const CommandRun stopped =
            runCli({QStringLiteral("convert"), m_card->rootPath, QStringLiteral("--output-folder"),
                    mountPoint, QStringLiteral("--ignore-free-space")});
        QCOMPARE(stopped.exitStatus, 1);
        QVERIFY2(stopped.standardOutput.contains(QStringLiteral("] 0001AB: FAILED — ")) &&
                     stopped.standardOutput.contains(QStringLiteral("No space left on device")),
                 qPrintable(stopped.standardOutput));
        QVERIFY(stopped.standardOutput.contains(
            QStringLiteral("] 0002AB: not started — the output folder’s disk is full.\n")));
        QVERIFY2(
            stopped.standardOutput.contains(QStringLiteral(
                "The run stopped: the output folder’s disk is full. 0 converted, 1 failed, 1 not started. "
                "See logs in the output folder.\n")),
            qPrintable(stopped.standardOutput));
        // No partial movie was left to fill the disk.
        const QString folder = runFolderIn(mountPoint);
        QVERIFY(!filesBelow(folder).join(u' ').contains(QStringLiteral(".partial")));
    }

    void aSecondInterruptEndsAtOnce()
    {
        const QString output = freshFolder(QStringLiteral("interrupted twice"));
        QProcess cli;
        startConvertingTheLongCard(cli, output);
        QCOMPARE(cli.state(), QProcess::Running);
        // Both arrive before the first is handled.
        QVERIFY(sendTwoInterruptsTogether(cli.processId()));
        QVERIFY(cli.waitForFinished(300000));
        QCOMPARE(cli.exitStatus(), QProcess::NormalExit);
        QCOMPARE(cli.exitCode(), 130);
        QVERIFY(!cli.readAllStandardOutput().contains("Done with"));
        // Both interrupts came before the first could stop ffmpeg, which was left running.
        for (QList<pid_t> left = processesNaming(output); !left.isEmpty(); left = processesNaming(output)) {
            for (const pid_t pid : left)
                ::kill(pid, SIGKILL);
            QTest::qWait(10);
        }
    }

    void showsALiveProgressLineOnATerminal()
    {
        const QString script = QStandardPaths::findExecutable(QStringLiteral("script"));
        if (script.isEmpty()) {
            if (qEnvironmentVariable("CI") == QLatin1String("true"))
                QFAIL("script (util-linux) is needed on CI");
            QSKIP("script (util-linux) is not installed");
        }
        const QString output = freshFolder(QStringLiteral("terminal out"));
        const QString command = QStringList{shellQuoted(QStringLiteral(TOLVANE_CLI_PATH)),
                                            QStringLiteral("convert"),
                                            QStringLiteral("--output-folder"),
                                            shellQuoted(output),
                                            QStringLiteral("--"),
                                            shellQuoted(m_card->rootPath)}
                                    .join(QLatin1Char(' '));
        QProcessEnvironment terminal = environment();
        terminal.insert(QStringLiteral("SHELL"), QStringLiteral("/bin/sh"));
        const CommandRun run = runCommand(
            script, {QStringLiteral("-qec"), command, QStringLiteral("/dev/null")}, QString(), terminal);
        QCOMPARE(run.exitStatus, 0);
        const QRegularExpression progressLine(
            QStringLiteral("\r(Converting|Cancelling…) \\d+ / 2 · \\d+% · "));
        QVERIFY2(progressLine.match(run.standardOutput).hasMatch(), qPrintable(run.standardOutput));
        // Once the movies are done, the line says why the run still waits, and
        // is wiped before the closing sentence.
        const QString waiting = QStringLiteral("\rGenerating debug report — probing every video/audio file");
        const qsizetype shown = run.standardOutput.lastIndexOf(waiting);
        QVERIFY2(shown > progressLine.match(run.standardOutput).capturedStart(),
                 qPrintable(run.standardOutput));
        const QRegularExpression wiped(QStringLiteral("\r +\rAll done\\. 2 clips converted\\."));
        QVERIFY2(wiped.match(run.standardOutput, shown).hasMatch(), qPrintable(run.standardOutput));
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        const auto usage = [](const QString& problem) {
            return QStringLiteral("tolvane-cli convert: %1. Try tolvane-cli --help.\n").arg(problem);
        };
        const QString convert = QStringLiteral("convert");
        const QString root = QStringLiteral("/");
        QTest::newRow("no folder") << QStringList{convert} << usage(QStringLiteral("no card folder given"));
        QTest::newRow("unknown option") << QStringList{convert, QStringLiteral("--fast"), root}
                                        << usage(QStringLiteral("unknown option “--fast”"));
        QTest::newRow("bad profile")
            << QStringList{convert, root, QStringLiteral("--profile"), QStringLiteral("4444")}
            << usage(QStringLiteral("unknown profile “4444”; use proxy, standard or hq"));
        QTest::newRow("bad profile after =")
            << QStringList{convert, root, QStringLiteral("--profile=HQ")}
            << usage(QStringLiteral("unknown profile “HQ”; use proxy, standard or hq"));
        QTest::newRow("profile without value")
            << QStringList{convert, root, QStringLiteral("--profile")}
            << usage(QStringLiteral("--profile needs proxy, standard or hq"));
        QTest::newRow("output folder without value")
            << QStringList{convert, root, QStringLiteral("--output-folder")}
            << usage(QStringLiteral("--output-folder needs a folder"));
        QTest::newRow("empty output folder") << QStringList{convert, root, QStringLiteral("--output-folder=")}
                                             << usage(QStringLiteral("--output-folder needs a folder"));
        QTest::newRow("two output folders")
            << QStringList{convert, QStringLiteral("--output-folder"), QStringLiteral("/tmp/a"), root,
                           QStringLiteral("--output-folder=/tmp/b")}
            << usage(QStringLiteral("--output-folder given more than once"));
        QTest::newRow("two profiles") << QStringList{convert, QStringLiteral("--profile=hq"), root,
                                                     QStringLiteral("--profile"), QStringLiteral("hq")}
                                      << usage(QStringLiteral("--profile given more than once"));
        QTest::newRow("two card folders") << QStringList{convert, root, QStringLiteral("/tmp")}
                                          << usage(QStringLiteral("one card folder at a time, not 2"));
    }

    void usageErrors()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        QCOMPARE(runCli(arguments), (CommandRun{2, QString(), message}));
    }

    void helpNamesTheCommand()
    {
        const CommandRun run = runCli({QStringLiteral("--help")});
        QCOMPARE(run.exitStatus, 0);
        QVERIFY(run.standardOutput.contains(
            QStringLiteral("convert CARD [--output-folder DIR] [--profile proxy|standard|hq]")));
        // Where the movies go until an output folder is chosen, for the user who runs it.
        QVERIFY2(run.standardOutput.contains(QStringLiteral("The output folder is the one\n"
                                                            "               chosen in the app; until one is "
                                                            "chosen it is\n               ") +
                                             m_home + QStringLiteral("/Videos/Tolvane.\n")),
                 qPrintable(run.standardOutput));
    }
};

QTEST_GUILESS_MAIN(CliConvertTest)
#include "CliConvertTest.moc"
