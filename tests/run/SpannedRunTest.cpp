#include "DriverSession.h"
#include "media/FFmpegService.h"
#include "run/ConversionViewModel.h"
#include "run/LogWriter.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"

#include <cstdlib>
#include <memory>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using Phase = ConversionViewModel::Phase;
using JobList = QList<std::shared_ptr<ConversionJob>>;
using SyntheticCard::ClipSpec;

namespace {

// Only a guard against a hang: every wait ends as soon as the work is done.
constexpr int workTimeoutMs = 300000;

// Each piece is half a second: 15 frames at 29.97 fps, 24024 samples at 48 kHz.
constexpr int pieceFrames = 15;
constexpr int samplesPerPiece = 24024;
constexpr int samplesPerFrame = 1602;

const QStringList shotNames{QStringLiteral("0158Q5"), QStringLiteral("0159E2"), QStringLiteral("0161VE"),
                            QStringLiteral("0163K1")};
const QString shotName = shotNames.join(QStringLiteral(" + "));

// A shot of four pieces whose first piece is silent, so the tone that starts
// with the second piece marks the first boundary; some connections name their
// clip alone. Then an ordinary clip filmed later.
std::vector<ClipSpec> spannedCardClips()
{
    std::vector<ClipSpec> clips = SyntheticCard::spannedShot(1, shotNames, pieceFrames, 2);
    clips[0].silentAudio = true;
    clips[2].previous->globalClipID.clear();
    clips[3].top->globalClipID.clear();
    ClipSpec later = SyntheticCard::clip(10, 2);
    later.frames = 3;
    clips.push_back(later);
    return clips;
}

// The same clip without any trace of the shot it belongs to.
ClipSpec withoutRelation(ClipSpec clip)
{
    clip.top.reset();
    clip.previous.reset();
    clip.next.reset();
    clip.offsetInShot.reset();
    clip.globalShotID.clear();
    return clip;
}

QByteArray toolOutput(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(workTimeoutMs) || process.exitCode() != 0)
        return {};
    return process.readAllStandardOutput();
}

// The decoded samples of one audio track of a movie, as 16-bit mono.
QList<qint16> samplesOf(const QString& movie, int track)
{
    const QByteArray raw =
        toolOutput(SyntheticCard::ffmpegPath(),
                   {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), movie,
                    QStringLiteral("-map"), QStringLiteral("0:a:%1").arg(track), QStringLiteral("-f"),
                    QStringLiteral("s16le"), QStringLiteral("-ac"), QStringLiteral("1"),
                    QStringLiteral("-ar"), QStringLiteral("48000"), QStringLiteral("-")});
    QList<qint16> samples(raw.size() / 2);
    std::memcpy(samples.data(), raw.constData(), static_cast<size_t>(samples.size()) * 2);
    return samples;
}

qsizetype firstSoundAt(const QList<qint16>& samples)
{
    for (qsizetype i = 0; i < samples.size(); ++i)
        if (std::abs(samples[i]) > 1000)
            return i;
    return -1;
}

QString probeValue(const QString& movie, const QStringList& arguments)
{
    const QString output = QString::fromUtf8(
        toolOutput(SyntheticCard::ffprobePath(),
                   QStringList{QStringLiteral("-v"), QStringLiteral("error")} << arguments << movie));
    for (const QString& line : output.split(QLatin1Char('\n')))
        if (!line.trimmed().isEmpty())
            return line.trimmed();
    return QString();
}

// A report's lines with each "[HH:mm:ss] " stamp replaced by "[T] ".
QStringList reportLines(const QString& path)
{
    static const QRegularExpression stamp(QStringLiteral("^\\[\\d\\d:\\d\\d:\\d\\d\\] "));
    QStringList lines = QString::fromUtf8(readFile(path)).split(QLatin1Char('\n'));
    for (QString& line : lines)
        line.replace(stamp, QStringLiteral("[T] "));
    return lines;
}

// Everything a run left in its folder, with the reports' clock readings left out.
QMap<QString, QByteArray> runContents(const QString& folder)
{
    QMap<QString, QByteArray> contents;
    for (const QString& name : QDir(folder).entryList(QDir::Files | QDir::Hidden)) {
        const QString path = QDir(folder).filePath(name);
        if (name.endsWith(QLatin1String(".mov"))) {
            contents.insert(name, QCryptographicHash::hash(readFile(path), QCryptographicHash::Sha256));
            continue;
        }
        QStringList lines = reportLines(path);
        lines.removeIf([](const QString& line) { return line.startsWith(QLatin1String("Generated: ")); });
        contents.insert(name, lines.join(QLatin1Char('\n')).toUtf8());
    }
    return contents;
}

QStringList outputNames(const JobList& jobs)
{
    QStringList names;
    for (const std::shared_ptr<ConversionJob>& job : jobs)
        names.append(QFileInfo(job->outputURL()).fileName());
    return names;
}

QList<ClipStatus::Kind> statusKinds(const JobList& jobs)
{
    QList<ClipStatus::Kind> kinds;
    for (const std::shared_ptr<ConversionJob>& job : jobs)
        kinds.append(job->status().kind);
    return kinds;
}

QString notJoined(const QString& shot, const QString& reason)
{
    return QStringLiteral("Spanned shot %1 not joined — %2; its pieces convert as separate movies.")
        .arg(shot, reason);
}

} // namespace

class SpannedRunTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<ToolFolder> tools_;
    std::unique_ptr<QTemporaryDir> work_;
    SyntheticCard::WrittenCard spannedCard_;

    DriverSession session_;
    std::unique_ptr<SettingsStore>& settings_ = session_.settings;
    std::unique_ptr<ConversionViewModel>& driver_ = session_.driver;

    SyntheticCard::WrittenCard writeCard(const QString& name, std::vector<ClipSpec> clips)
    {
        SyntheticCard::CardSpec plan;
        plan.clips = std::move(clips);
        return SyntheticCard::write(plan, work_->filePath(name));
    }

    bool scanAndWait(const QString& root)
    {
        driver_->scan(root);
        return QTest::qWaitFor([this] { return driver_->phase() != Phase::scanning; }, workTimeoutMs);
    }

    // Starts a run and waits for its DEBUG_REPORT.txt, the run's last piece of work.
    bool runAndWait()
    {
        const int debugTick = driver_->debugReportGenerationTick() + 1;
        driver_->start();
        return QTest::qWaitFor(
            [&] {
                return driver_->phase() == Phase::finished &&
                       driver_->debugReportGenerationTick() == debugTick;
            },
            workTimeoutMs);
    }

    QString reportPath(const char* name) const
    {
        return QDir(*driver_->outputFolderURL()).filePath(QString::fromLatin1(name));
    }

private slots:
    void initTestCase()
    {
        work_ = std::make_unique<QTemporaryDir>();
        tools_ = std::make_unique<ToolFolder>();
        TOLVANE_REQUIRE_REAL_TOOLS(*tools_);
        spannedCard_ = writeCard(awkwardName(QStringLiteral(" spanned")), spannedCardClips());
    }

    void cleanupTestCase()
    {
        work_.reset();
        tools_.reset();
    }

    void init()
    {
        FFmpegService::setToolDirectoriesForTesting({tools_->path()});
        session_.open();
        settings_->setOutputFolderPath(
            work_->filePath(QStringLiteral("out-") + QString::fromLatin1(QTest::currentTestFunction())));
        settings_->setProResProfile(ProResProfile::proxy);
        settings_->setOpenOutputFolderWhenFinished(false);
    }

    void cleanup() { session_.close(); }

    void aJoinedShotIsOneMovieWithEveryFrameAndSampleInSync()
    {
        settings_->setJoinSpannedRecordings(true);
        QVERIFY(scanAndWait(spannedCard_.rootPath));
        QCOMPARE(driver_->joinedShotCount(), 1);
        QCOMPARE(driver_->statusMessage(),
                 QStringLiteral(
                     "Found 5 clips — 5 with audio, all verified via CLIP XML. 1 spanned shot (4 pieces) "
                     "will be joined into one movie."));
        QCOMPARE(driver_->joinedShotsText(),
                 QStringLiteral("1 spanned shot (4 pieces) will be joined into one movie."));
        QCOMPARE(driver_->totalCount(), 2);

        QVERIFY(runAndWait());
        const JobList jobs = driver_->jobs();
        // Named and numbered as its first piece; the later clip keeps its own number.
        QCOMPARE(outputNames(jobs), (QStringList{QStringLiteral("001.mov"), QStringLiteral("005.mov")}));
        QCOMPARE(jobs[0]->clipName(), shotName);
        QCOMPARE(statusKinds(jobs), (QList{ClipStatus::Kind::completed, ClipStatus::Kind::completed}));
        QCOMPARE(driver_->overallProgress(), 1.0);
        QCOMPARE(driver_->statusMessage(), QStringLiteral("All done. 2 clips converted."));

        const QString movie = jobs[0]->outputURL();
        QCOMPARE(probeValue(movie, {QStringLiteral("-count_frames"), QStringLiteral("-select_streams"),
                                    QStringLiteral("v:0"), QStringLiteral("-show_entries"),
                                    QStringLiteral("stream=nb_read_frames"), QStringLiteral("-of"),
                                    QStringLiteral("csv=p=0")}),
                 QString::number(4 * pieceFrames));
        QCOMPARE(probeValue(movie, {QStringLiteral("-show_entries"), QStringLiteral("stream_tags=timecode"),
                                    QStringLiteral("-of"), QStringLiteral("default=nw=1:nk=1")}),
                 QStringLiteral("01:00:00:00"));
        for (int track = 0; track < 2; ++track) {
            const QList<qint16> samples = samplesOf(movie, track);
            QVERIFY2(std::abs(samples.size() - 4 * samplesPerPiece) <= samplesPerFrame,
                     qPrintable(QString::number(samples.size())));
            // The tone begins with the second piece, at its first frame in the joined movie.
            const qsizetype onset = firstSoundAt(samples);
            QVERIFY2(std::abs(onset - samplesPerPiece) <= 2, qPrintable(QString::number(onset)));
            QCOMPARE(qRound(onset / 1601.6), pieceFrames);
        }

        const QString pairing = QString::fromUtf8(readFile(reportPath("PAIRING_REPORT.txt")));
        QVERIFY(
            pairing.startsWith(QStringLiteral("Spanned shot joined into one movie: %1.\n\n").arg(shotName)));
        QCOMPARE(pairing.count(QStringLiteral("XML file: ")), 5);

        QList<EssenceInputs> pieces;
        for (int i = 0; i < 4; ++i)
            pieces.append({spannedCard_.clips[i].videoPath, spannedCard_.clips[i].audioPaths});
        // The pieces are DV of 480 lines: interlaced, and SMPTE 170M where nothing is stated.
        const PictureCoding picture = PictureCoding::forPicture(true, 480);
        const QString command = FFmpegService::commandLineString(
            *FFmpegService::resolvedFFmpegPath(),
            FFmpegService::buildJoinArguments(pieces, 0.0, ProResProfile::proxy,
                                              QStringLiteral("01:00:00:00"),
                                              FFmpegService::temporaryPath(movie), picture));
        QVERIFY2(command.contains(QStringLiteral("concat=n=4:v=1:a=2[j][a1][a2];[j]setparams=color_primaries="
                                                 "smpte170m:color_trc=smpte170m:colorspace=smpte170m[v]")),
                 qPrintable(command));
        QVERIFY2(command.contains(QStringLiteral(" -flags +ildct ")), qPrintable(command));
        const QStringList conversion = reportLines(reportPath("CONVERSION_REPORT.txt"));
        QCOMPARE(conversion.mid(0, 3),
                 (QStringList{QStringLiteral("[T] %1: running command:").arg(shotName), command,
                              QStringLiteral("[T] %1: converted successfully.").arg(shotName)}));
        QCOMPARE(conversion.filter(QStringLiteral("running command:")).size(), 2);

        const QString debug = QString::fromUtf8(readFile(reportPath("DEBUG_REPORT.txt")));
        QCOMPARE(
            debug.count(QStringLiteral("PIECE OF JOINED SHOT: %1 — converted by the shot's command below")
                            .arg(shotName)),
            4);
        QCOMPARE(debug.count(QStringLiteral("EXACT FFMPEG COMMAND FOR THIS CLIP:")), 1);
        QVERIFY(debug.contains(QStringLiteral("JOINED SHOT: %1\n").arg(shotName)));
        QVERIFY(debug.contains(QStringLiteral("EXACT FFMPEG COMMAND FOR THIS SHOT:\n") +
                               FFmpegService::commandLineString(
                                   *FFmpegService::resolvedFFmpegPath(),
                                   FFmpegService::buildJoinArguments(
                                       pieces, 0.0, ProResProfile::proxy, QStringLiteral("01:00:00:00"),
                                       QStringLiteral("<OUTPUT_FOLDER>/001.mov"), picture))));

        // Skipping goes by the joined movie's name: the shot is not converted again.
        const QByteArray converted = readFile(movie);
        ConversionQueue queue;
        const auto again = std::make_shared<ConversionJob>(driver_->joinedShots().first(), movie);
        QStringList finished;
        QCoro::waitFor(queue.run(
            {again}, 0, ProResProfile::proxy, true, false, [](ConversionJob&) {},
            [&finished](const ConversionQueue::JobOutcome& outcome) { finished.append(outcome.clipName); }));
        QCOMPARE(again->status(), ClipStatus::skippedExisting());
        QCOMPARE(finished, QStringList{shotName});
        QCOMPARE(readFile(movie), converted);
    }

    void withJoiningOffARunIsThatOfTheCardWithoutRelations()
    {
        std::vector<ClipSpec> clips = spannedCardClips();
        const SyntheticCard::WrittenCard card = writeCard(QStringLiteral("off"), clips);
        QCOMPARE(settings_->joinSpannedRecordings(), false);

        QVERIFY(scanAndWait(card.rootPath));
        QCOMPARE(driver_->joinedShotCount(), 0);
        QVERIFY(runAndWait());
        const QString folder = *driver_->outputFolderURL();
        const QMap<QString, QByteArray> spanned = runContents(folder);
        QCOMPARE(spanned.keys(),
                 (QStringList{QStringLiteral("001.mov"), QStringLiteral("002.mov"), QStringLiteral("003.mov"),
                              QStringLiteral("004.mov"), QStringLiteral("005.mov"),
                              QStringLiteral("CONVERSION_REPORT.txt"), QStringLiteral("DEBUG_REPORT.txt"),
                              QStringLiteral("PAIRING_REPORT.txt")}));
        QVERIFY(QDir().rename(folder, folder + QStringLiteral(" spanned")));

        // The same essence, described by XML without any Relation block.
        for (size_t i = 0; i < clips.size(); ++i)
            writeFile(card.clips[i].xmlPath, SyntheticCard::clipXml(withoutRelation(clips[i])).toUtf8());
        QVERIFY(scanAndWait(card.rootPath));
        QVERIFY(runAndWait());
        QCOMPARE(*driver_->outputFolderURL(), folder);
        QCOMPARE(runContents(folder), spanned);
    }

    void shotsThatCannotBeJoinedConvertPieceByPieceAndSayWhy()
    {
        std::vector<ClipSpec> clips;
        std::vector<ClipSpec> missingMiddle = SyntheticCard::spannedShot(
            20, {QStringLiteral("0201AA"), QStringLiteral("0204CE"), QStringLiteral("0202BB")}, 3, 2);
        missingMiddle.erase(missingMiddle.begin() + 1);
        std::vector<ClipSpec> frameSize =
            SyntheticCard::spannedShot(30, {QStringLiteral("0301AA"), QStringLiteral("0302BB")}, 3, 2);
        frameSize[1].codec = SyntheticCard::VideoCodec::DVCProHD1080;
        std::vector<ClipSpec> broken = SyntheticCard::spannedShot(
            40, {QStringLiteral("0401AA"), QStringLiteral("0402BB"), QStringLiteral("0403CC")}, 3, 2);
        broken[2].previous = broken[0].top;
        std::vector<ClipSpec> audioMismatch =
            SyntheticCard::spannedShot(50, {QStringLiteral("0501AA"), QStringLiteral("0502BB")}, 3, 2);
        audioMismatch[1].audioUmidOverrides = {{1, SyntheticCard::umidFor(99)}};
        for (const auto* shot : {&missingMiddle, &frameSize, &broken, &audioMismatch})
            clips.insert(clips.end(), shot->begin(), shot->end());
        const SyntheticCard::WrittenCard card = writeCard(QStringLiteral("refused"), clips);

        settings_->setJoinSpannedRecordings(true);
        QVERIFY(scanAndWait(card.rootPath));
        QCOMPARE(driver_->joinedShotCount(), 0);
        QCOMPARE(driver_->joinedShotsText(), QString());
        const QStringList refusals{
            notJoined(QStringLiteral("0201AA + 0202BB"),
                      QStringLiteral("piece 0204CE (Next of 0201AA) is missing")),
            notJoined(QStringLiteral("0301AA + 0302BB"),
                      QStringLiteral(
                          "the pieces differ in video codec (0301AA DV25_411, 0302BB DV100_1080/29.97p)")),
            notJoined(QStringLiteral("0401AA + 0402BB + 0403CC"),
                      QStringLiteral("0402BB names 0403CC as Next, but 0403CC names 0401AA as Previous")),
            notJoined(
                QStringLiteral("0501AA + 0502BB"),
                QStringLiteral("only 1 of the 2 audio files that 0502BB's XML declares carry its UMID")),
        };
        for (const QString& line : refusals)
            QVERIFY2(driver_->pairingSummaryLines().contains(line),
                     qPrintable(driver_->pairingSummaryLines().join('\n')));
        QVERIFY(driver_->pairingReportText().contains(refusals.join(QLatin1Char('\n'))));
        // Every piece stays a movie of its own.
        QCOMPARE(driver_->totalCount(), driver_->clips().size());
        const JobList jobs =
            ConversionViewModel::makeJobs(driver_->clips(), driver_->joinedShots(), true, work_->path());
        QCOMPARE(jobs.size(), driver_->clips().size());

        // Switching joining off pairs the card again without the shot lines.
        settings_->setJoinSpannedRecordings(false);
        QVERIFY(QTest::qWaitFor(
            [&] { return !driver_->pairingReportText().contains(QLatin1String("Spanned shot")); },
            workTimeoutMs));
        QCOMPARE(driver_->pairingSummaryLines().filter(QStringLiteral("Spanned")), QStringList());
    }
};

QTEST_GUILESS_MAIN(SpannedRunTest)

#include "SpannedRunTest.moc"
