#include "DriverSession.h"
#include "media/FFmpegService.h"
#include "MovieTags.h"
#include "run/BackupFirst.h"
#include "run/ConversionViewModel.h"
#include "store/BackupSettings.h"
#include "store/MemoryKeyValueStore.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"

#include <memory>
#include <QCoroTask>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

using Phase = ConversionViewModel::Phase;
using Tags = QMap<QString, QString>;

namespace {

// Only a guard against a hang: every wait ends as soon as the work is done.
constexpr int workTimeoutMs = 300000;

// The tags ffmpeg gives every movie of its own accord.
const Tags muxerTags{{QStringLiteral("major_brand"), QStringLiteral("qt  ")},
                     {QStringLiteral("minor_version"), QStringLiteral("512")},
                     {QStringLiteral("compatible_brands"), QStringLiteral("qt  ")},
                     {QStringLiteral("encoder"), QStringLiteral("Lavf59.27.100")}};

// A clip whose CLIP XML holds every note, each with something a shell, a
// terminal or a naive parser would trip on; filmed at 10:00 on 1 July 2026 (UTC−5).
SyntheticCard::ClipSpec notedClip()
{
    SyntheticCard::ClipSpec clip = SyntheticCard::clip(1, 2);
    clip.userClipName = QStringLiteral("Interview \"Ana\" – $HOME `id`\n\tsecond line");
    clip.modelName = QStringLiteral("AJ-PX270");
    clip.serialNumber = QStringLiteral("-C3TA0012");
    clip.shooter = QStringLiteral("Jürgen O'Brien; rm -rf ~");
    clip.scene = QStringLiteral("12A");
    clip.take = QStringLiteral("3");
    clip.memo = QStringLiteral("Boom in shot\r\n at 00:12 = keep? 日本語");
    return clip;
}

// What the movie of `notedClip` must read back: each value without its
// control characters, nothing else changed.
Tags notedTags(const QString& umid)
{
    Tags tags = muxerTags;
    tags.insert(
        {{QStringLiteral("timecode"), QStringLiteral("01:00:00:00")},
         {QStringLiteral("creation_time"), QStringLiteral("2026-07-01T15:00:00Z")},
         {QStringLiteral("com.apple.quicktime.title"),
          QStringLiteral("Interview \"Ana\" – $HOME `id`second line")},
         {QStringLiteral("com.apple.quicktime.make"), QStringLiteral("Panasonic")},
         {QStringLiteral("com.apple.quicktime.model"), QStringLiteral("AJ-PX270")},
         {QStringLiteral("com.tolvane.camera-serial-number"), QStringLiteral("-C3TA0012")},
         {QStringLiteral("com.tolvane.shooter"), QStringLiteral("Jürgen O'Brien; rm -rf ~")},
         {QStringLiteral("com.tolvane.scene"), QStringLiteral("12A")},
         {QStringLiteral("com.tolvane.take"), QStringLiteral("3")},
         {QStringLiteral("com.tolvane.memo"), QStringLiteral("Boom in shot — at 00:12 = keep? 日本語")},
         {QStringLiteral("com.tolvane.material-package-umid"), umid}});
    return tags;
}

} // namespace

class ClipMetadataMovieTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<ToolFolder> tools_;
    std::unique_ptr<QTemporaryDir> work_;
    SyntheticCard::WrittenCard notedCard_;

    DriverSession session_;
    std::unique_ptr<SettingsStore>& settings_ = session_.settings;
    std::unique_ptr<ConversionViewModel>& driver_ = session_.driver;

    // Scans `root`, converts every clip and gives the movies, in run order.
    QStringList convert(const QString& root)
    {
        driver_->scan(root);
        if (!QTest::qWaitFor([this] { return driver_->phase() != Phase::scanning; }, workTimeoutMs))
            return {};
        driver_->start();
        // The run's last piece of work is its DEBUG_REPORT.txt.
        if (!QTest::qWaitFor(
                [this] {
                    return driver_->phase() == Phase::finished && driver_->debugReportGenerationTick() == 1;
                },
                workTimeoutMs))
            return {};
        QStringList movies;
        for (const std::shared_ptr<ConversionJob>& job : driver_->jobs()) {
            if (job->status() == ClipStatus::completed())
                movies.append(job->outputURL());
        }
        return movies;
    }

    QString runReport(const QString& name) const
    {
        return QString::fromUtf8(readFile(QDir(*driver_->outputFolderURL()).filePath(name)));
    }

    // The command CONVERSION_REPORT.txt gives for the run's only clip.
    QString reportedCommand() const
    {
        const QString report = runReport(QStringLiteral("CONVERSION_REPORT.txt"));
        const QStringList lines = report.split(QLatin1Char('\n'));
        for (qsizetype i = 0; i + 1 < lines.size(); ++i) {
            if (lines[i].endsWith(QLatin1String(": running command:")))
                return lines[i + 1];
        }
        return {};
    }

private slots:
    void initTestCase()
    {
        work_ = std::make_unique<QTemporaryDir>();
        tools_ = std::make_unique<ToolFolder>();
        TOLVANE_REQUIRE_REAL_TOOLS(*tools_);
        SyntheticCard::CardSpec plan;
        plan.clips = {notedClip()};
        notedCard_ = SyntheticCard::write(plan, work_->filePath(awkwardName(QStringLiteral(" noted"))));
    }

    void init()
    {
        FFmpegService::setToolDirectoriesForTesting({tools_->path()});
        session_.openConverting(work_->filePath(QString::fromLatin1(QTest::currentTestFunction())));
    }

    void cleanup() { session_.close(); }

    void everyNoteReadsBackFromTheMovie()
    {
        settings_->setWriteClipMetadata(true);
        const QStringList movies = convert(notedCard_.rootPath);
        QCOMPARE(movies.size(), 1);

        const MovieTags movie = movieTags(movies.first());
        QVERIFY(movie.read);
        QCOMPARE(movie.format, notedTags(notedCard_.clips[0].umid));
        // The reel name is the timecode track's, where editing software conforms by it.
        QCOMPARE(movie.timecodeTrack.value(QStringLiteral("reel_name")), QStringLiteral("0001AB"));
        QCOMPARE(movie.timecodeTrack.value(QStringLiteral("creation_time")),
                 QStringLiteral("2026-07-01T15:00:00.000000Z"));
        QVERIFY(!movie.reelNameElsewhere);

        // The debug report's command writes the same metadata as the one that ran.
        const QString command = reportedCommand();
        const qsizetype start = command.indexOf(QLatin1String(" -map_metadata -1 "));
        const qsizetype end = command.indexOf(QLatin1String(" -progress "));
        QVERIFY2(start > 0 && end > start, qPrintable(command));
        const QString metadataArguments = command.mid(start, end - start);
        QVERIFY(metadataArguments.contains(QStringLiteral(" -metadata:s:v:0 reel_name=0001AB ")));
        QVERIFY(runReport(QStringLiteral("DEBUG_REPORT.txt")).contains(metadataArguments));
    }

    void withTheOptionOffTheCommandIsUnchangedAndTheMovieCarriesNoNote()
    {
        QCOMPARE(settings_->writeClipMetadata(), false);
        const QStringList movies = convert(notedCard_.rootPath);
        QCOMPARE(movies.size(), 1);

        const SyntheticCard::WrittenClip& clip = notedCard_.clips[0];
        const FFmpegService::SourceFacts source = QCoro::waitFor(FFmpegService::sourceFacts(clip.videoPath));
        QCOMPARE(reportedCommand(),
                 FFmpegService::commandLineString(
                     *FFmpegService::resolvedFFmpegPath(),
                     FFmpegService::buildArguments(
                         clip.videoPath, clip.audioPaths, 0.0, ProResProfile::proxy, source.timecode,
                         FFmpegService::temporaryPath(movies.first()), source.picture)));
        const MovieTags movie = movieTags(movies.first());
        QVERIFY(movie.read);
        QCOMPARE(movie.format, muxerTags);
        QVERIFY(!movie.timecodeTrack.contains(QStringLiteral("reel_name")));
        QVERIFY(!movie.timecodeTrack.contains(QStringLiteral("creation_time")));
        QVERIFY(!movie.reelNameElsewhere);
        QVERIFY(!runReport(QStringLiteral("DEBUG_REPORT.txt")).contains(QLatin1String("-metadata")));
    }

    void everyKindOfClipCarriesItsMetadata()
    {
        using Codec = SyntheticCard::VideoCodec;
        const QList<std::pair<Codec, QString>> kinds{
            {Codec::DV25, QStringLiteral("DV")},
            {Codec::DVCProHD1080i, QStringLiteral("DVCPRO HD 1080i")},
            {Codec::AVCIntra100_1080i, QStringLiteral("AVC-Intra 100 1080i")},
            {Codec::AVCIntra50_720p, QStringLiteral("AVC-Intra 50 720p")}};
        SyntheticCard::CardSpec plan;
        for (qsizetype i = 0; i < kinds.size(); ++i) {
            SyntheticCard::ClipSpec clip = SyntheticCard::clip(int(i) + 40, 1);
            clip.codec = kinds[i].first;
            clip.scene = kinds[i].second;
            plan.clips.push_back(clip);
        }
        SyntheticCard::WrittenCard card;
        try {
            card = SyntheticCard::write(plan, work_->filePath(QStringLiteral("kinds")));
        } catch (const SyntheticCard::Error& error) {
            QFAIL(error.what());
        }
        settings_->setWriteClipMetadata(true);

        const QStringList movies = convert(card.rootPath);
        QCOMPARE(movies.size(), kinds.size());

        for (const std::shared_ptr<ConversionJob>& job : driver_->jobs()) {
            const qsizetype i = job->clip().videoName().mid(2, 2).toInt() - 40;
            QVERIFY2(i >= 0 && i < kinds.size(), qPrintable(job->clip().videoName()));
            const MovieTags movie = movieTags(job->outputURL());
            QCOMPARE(movie.timecodeTrack.value(QStringLiteral("reel_name")), plan.clips[size_t(i)].clipName);
            QCOMPARE(movie.format.value(QStringLiteral("com.tolvane.scene")), kinds[i].second);
            QCOMPARE(movie.format.value(QStringLiteral("com.tolvane.material-package-umid")),
                     card.clips[size_t(i)].umid);
            QCOMPARE(movie.format.value(QStringLiteral("creation_time")),
                     QDateTime(QDate(2026, 7, 1), QTime(15, int(i) + 39), QTimeZone::utc())
                         .toString(QStringLiteral("yyyy-MM-ddTHH:mm:ssZ")));
        }
    }

    void aJoinedShotCarriesItsFirstPiece()
    {
        SyntheticCard::CardSpec plan;
        plan.clips =
            SyntheticCard::spannedShot(30, {QStringLiteral("0301AA"), QStringLiteral("0302BB")}, 3, 1);
        plan.clips[0].shooter = QStringLiteral("First");
        plan.clips[1].shooter = QStringLiteral("Second");
        const SyntheticCard::WrittenCard card =
            SyntheticCard::write(plan, work_->filePath(QStringLiteral("shot")));
        settings_->setJoinSpannedRecordings(true);
        settings_->setWriteClipMetadata(true);

        const QStringList movies = convert(card.rootPath);
        QCOMPARE(movies.size(), 1);

        const MovieTags movie = movieTags(movies.first());
        QCOMPARE(movie.timecodeTrack.value(QStringLiteral("reel_name")), QStringLiteral("0301AA"));
        QCOMPARE(movie.format.value(QStringLiteral("com.tolvane.shooter")), QStringLiteral("First"));
        QCOMPARE(movie.format.value(QStringLiteral("com.tolvane.material-package-umid")), card.clips[0].umid);
        QCOMPARE(movie.format.value(QStringLiteral("com.apple.quicktime.title")), QStringLiteral("0301AA"));
    }

    void backUpFirstConvertsTheCopyWithItsMetadata()
    {
        settings_->setWriteClipMetadata(true);
        BackupSettings backup(std::make_shared<MemoryKeyValueStore>());
        backup.setBackUpFirst(true);
        const QString destination = work_->filePath(QStringLiteral("backup"));
        QVERIFY(QDir().mkpath(destination));
        backup.setDestination(0, destination);
        BackupFirst backUpFirst(backup, *driver_);
        driver_->scan(notedCard_.rootPath);
        QVERIFY(QTest::qWaitFor([this] { return driver_->phase() == Phase::scanned; }, workTimeoutMs));

        backUpFirst.convert();
        QVERIFY(QTest::qWaitFor(
            [this] {
                return driver_->phase() == Phase::finished && driver_->debugReportGenerationTick() == 1;
            },
            workTimeoutMs));

        QCOMPARE(driver_->jobs().size(), 1);
        const ConversionJob& job = *driver_->jobs().first();
        QCOMPARE(job.status(), ClipStatus::completed());
        QVERIFY2(job.clip().videoURL.startsWith(destination), qPrintable(job.clip().videoURL));
        const MovieTags movie = movieTags(job.outputURL());
        QCOMPARE(movie.format, notedTags(notedCard_.clips[0].umid));
        QCOMPARE(movie.timecodeTrack.value(QStringLiteral("reel_name")), QStringLiteral("0001AB"));
    }

    void controlCharactersAreDroppedAndEverythingElseArrives()
    {
        const SyntheticCard::WrittenClip& clip = notedCard_.clips[0];
        MovieMetadata metadata;
        metadata.reelName = QStringLiteral("\x1b[31mA001\x07 C002");
        metadata.entries = {
            {QStringLiteral("com.tolvane.memo"), QStringLiteral("tab\there\x01\x7f, bell\x07 and = sign 🎬")},
            {QStringLiteral("com.tolvane.shooter"), QStringLiteral("\"quoted\" 'single' $(date) \\back")},
            {QStringLiteral("com.tolvane.scene"), QStringLiteral("\n\r\x1f")},
        };
        const QString movie = work_->filePath(QStringLiteral("hostile/-movie $x.mov"));
        FFmpegService service;
        QCoro::waitFor(service.convert(clip.videoPath, clip.audioPaths, 0.0, ProResProfile::proxy, movie, {},
                                       {}, metadata));

        const MovieTags tags = movieTags(movie);
        QVERIFY(tags.read);
        QCOMPARE(tags.timecodeTrack.value(QStringLiteral("reel_name")), QStringLiteral("[31mA001 C002"));
        QCOMPARE(tags.format.value(QStringLiteral("com.tolvane.memo")),
                 QStringLiteral("tabhere, bell and = sign 🎬"));
        QCOMPARE(tags.format.value(QStringLiteral("com.tolvane.shooter")),
                 QStringLiteral("\"quoted\" 'single' $(date) \\back"));
        // A value of nothing but control characters is left out.
        QVERIFY(!tags.format.contains(QStringLiteral("com.tolvane.scene")));
    }
};

QTEST_GUILESS_MAIN(ClipMetadataMovieTest)
#include "ClipMetadataMovieTest.moc"
