#include "base/Platform.h"
#include "run/ConversionViewModel.h"
#include "run/ConvertCommand.h"
#include "run/OutputFolderNamer.h"
#include "run/ScanCommand.h"
#include "run/SpaceEstimate.h"
#include "run/SpaceRefusal.h"

#include <memory>
#include <QTest>

using JobList = QList<std::shared_ptr<ConversionJob>>;
using Method = P2Clip::PairingMethod;

Q_DECLARE_METATYPE(QList<P2Clip>)

namespace {

std::shared_ptr<ConversionJob> jobWith(ClipStatus status, int audioCount)
{
    P2Clip clip;
    clip.videoURL = QStringLiteral("/card/VIDEO/0001AB.MXF");
    for (int i = 0; i < audioCount; ++i)
        clip.audioURLs.append(QStringLiteral("/card/AUDIO/0001AB0%1.MXF").arg(i));
    auto job = std::make_shared<ConversionJob>(clip, QStringLiteral("/out/001.mov"));
    job->setStatus(std::move(status));
    return job;
}

P2Clip clipWith(Method method, int audioCount)
{
    P2Clip clip;
    clip.videoURL = QStringLiteral("/card/VIDEO/0001AB.MXF");
    clip.pairingMethod = method;
    for (int i = 0; i < audioCount; ++i)
        clip.audioURLs.append(QStringLiteral("/card/AUDIO/0001AB0%1.MXF").arg(i));
    return clip;
}

} // namespace

// The session driver's rules that are plain functions of their inputs: the
// status texts, the progress share, the time estimate and the summary. None
// needs a tool or a card, so they run on every machine.
class SessionRulesTest : public QObject
{
    Q_OBJECT

private slots:
    void scannedStatus_data()
    {
        QTest::addColumn<QList<P2Clip>>("clips");
        QTest::addColumn<qint64>("excluded");
        QTest::addColumn<QString>("expected");
        QTest::newRow("one verified clip with audio")
            << QList{clipWith(Method::xmlVerified, 4)} << qint64(0)
            << QStringLiteral("Found 1 clip — 1 with audio, all verified via CLIP XML.");
        QTest::newRow("two clips, one paired by file name")
            << QList{clipWith(Method::xmlVerified, 2), clipWith(Method::filenamePrefixUnsafe, 2)} << qint64(0)
            << QStringLiteral("Found 2 clips — 2 with audio. 1 used UNSAFE fallback pairing — check \"View "
                              "Pairing Details\".");
        QTest::newRow("video-only clip verified, not with audio")
            << QList{clipWith(Method::xmlVerified, 1), clipWith(Method::xmlNoAudioInClip, 0)} << qint64(0)
            << QStringLiteral("Found 2 clips — 1 with audio, all verified via CLIP XML.");
        QTest::newRow("unverified video-only clip is unsafe")
            << QList{clipWith(Method::unverifiedVideoOnlyUnsafe, 0)} << qint64(0)
            << QStringLiteral("Found 1 clip — 0 with audio. 1 used UNSAFE fallback pairing — check \"View "
                              "Pairing Details\".");
        QTest::newRow("all three excluded")
            << QList<P2Clip>() << qint64(3)
            << QStringLiteral(
                   "0 clips ready to convert — 3 clip(s) had no verified XML/UMID match. See \"View "
                   "Pairing Details\", or enable unsafe fallback pairing in Settings.");
        QTest::newRow("excluded beside converted clips are not counted")
            << QList{clipWith(Method::xmlVerified, 1)} << qint64(2)
            << QStringLiteral("Found 1 clip — 1 with audio, all verified via CLIP XML.");
        QTest::newRow("nothing at all")
            << QList<P2Clip>() << qint64(0)
            << QStringLiteral("Found 0 clips — 0 with audio, all verified via CLIP XML.");
    }

    void scannedStatus()
    {
        QFETCH(QList<P2Clip>, clips);
        QFETCH(qint64, excluded);
        QFETCH(QString, expected);
        QCOMPARE(ConversionViewModel::scannedStatus(clips, excluded), expected);
    }

    void overallProgress_data()
    {
        QTest::addColumn<QList<ClipStatus>>("jobs");
        QTest::addColumn<double>("expected");
        QTest::newRow("half, two done, one pending")
            << QList{ClipStatus::converting(0.5), ClipStatus::completed(),
                     ClipStatus::failed(QStringLiteral("x")), ClipStatus::pending()}
            << 0.625;
        QTest::newRow("no jobs") << QList<ClipStatus>() << 0.0;
        QTest::newRow("all pending") << QList{ClipStatus::pending(), ClipStatus::pending()} << 0.0;
        QTest::newRow("skipped counts whole")
            << QList{ClipStatus::skippedExisting(), ClipStatus::converting(0.25)} << 0.625;
        QTest::newRow("all ended") << QList{ClipStatus::completed(),
                                            ClipStatus::failed(QStringLiteral("Cancelled")),
                                            ClipStatus::skippedExisting()}
                                   << 1.0;
    }

    void overallProgress()
    {
        QFETCH(QList<ClipStatus>, jobs);
        QFETCH(double, expected);
        QCOMPARE(ConversionViewModel::overallProgressOf(jobs), expected);
    }

    void remainingEstimate_data()
    {
        QTest::addColumn<double>("elapsed");
        QTest::addColumn<double>("progress");
        QTest::addColumn<std::optional<double>>("previous");
        QTest::addColumn<std::optional<double>>("expected");
        QTest::newRow("exactly 0.01, none yet")
            << 10.0 << 0.01 << std::optional<double>() << std::optional<double>();
        QTest::newRow("exactly 0.01 keeps the last")
            << 10.0 << 0.01 << std::optional(42.0) << std::optional(42.0);
        QTest::newRow("zero keeps the last") << 3.0 << 0.0 << std::optional(7.0) << std::optional(7.0);
        QTest::newRow("0.02 after 10 s") << 10.0 << 0.02 << std::optional<double>() << std::optional(490.0);
        QTest::newRow("half after 30 s") << 30.0 << 0.5 << std::optional(1.0) << std::optional(30.0);
        QTest::newRow("done") << 30.0 << 1.0 << std::optional(5.0) << std::optional(0.0);
    }

    void remainingEstimate()
    {
        QFETCH(double, elapsed);
        QFETCH(double, progress);
        QFETCH(std::optional<double>, previous);
        QFETCH(std::optional<double>, expected);
        const std::optional<double> estimate =
            ConversionViewModel::remainingEstimate(elapsed, progress, previous);
        QCOMPARE(estimate.has_value(), expected.has_value());
        if (expected)
            QVERIFY(qAbs(*estimate - *expected) < 1e-9);
    }

    void aRunThatEndedEarlySaysSoFirst()
    {
        ConversionSummary summary{.converted = 1, .skipped = 2, .notStarted = 3, .stop = RunStop::cancelled};
        QCOMPARE(
            ConversionViewModel::summarySentence(summary),
            QStringLiteral("The run was cancelled. 1 converted, 2 skipped, 3 not started. See logs in the "
                           "output folder."));
        summary = {.failed = 1, .notStarted = 0, .stop = RunStop::cancelled};
        QCOMPARE(
            ConversionViewModel::summarySentence(summary),
            QStringLiteral("The run was cancelled. 0 converted, 1 failed, 0 not started. See logs in the "
                           "output folder."));
        summary = {.converted = 2, .failed = 1, .notStarted = 4, .stop = RunStop::outputFull};
        QCOMPARE(
            ConversionViewModel::summarySentence(summary),
            QStringLiteral("The run stopped: the output folder’s disk is full. 2 converted, 1 failed, 4 not "
                           "started. See logs in the output folder."));
        summary = {.failed = 1, .notStarted = 1, .stop = RunStop::cardGone};
        QCOMPARE(
            ConversionViewModel::summarySentence(summary),
            QStringLiteral("The run stopped: the card’s folder disappeared during the run. 0 converted, 1 "
                           "failed, 1 not started. See logs in the output folder."));
    }

    void spaceIsEstimatedFromTheProfilesRate()
    {
        QCOMPARE(SpaceEstimate::referenceBitsPerSecond(ProResProfile::proxy), 45e6);
        QCOMPARE(SpaceEstimate::referenceBitsPerSecond(ProResProfile::standard), 147e6);
        QCOMPARE(SpaceEstimate::referenceBitsPerSecond(ProResProfile::hq), 220e6);
        // A minute of 1080 at 29.97 in HQ: 220 Mbit/s, plus four 24-bit 48 kHz tracks.
        const SpaceEstimate::Movie minute{.seconds = 60, .audioTracks = 4};
        QCOMPARE(SpaceEstimate::movieBytes(ProResProfile::hq, minute),
                 qint64(220e6 / 8 * 60 + 4 * 144000 * 60));
        // Half the pixels at twice the rate cost the same; no audio costs nothing.
        const SpaceEstimate::Movie other{
            .width = 960, .height = 1080, .frameRate = 60000.0 / 1001, .seconds = 60};
        QCOMPARE(SpaceEstimate::movieBytes(ProResProfile::hq, other), qint64(220e6 / 8 * 60));
        QCOMPARE(SpaceEstimate::movieBytes(ProResProfile::proxy, {.seconds = 0, .audioTracks = 2}),
                 qint64(0));
        QCOMPARE(SpaceEstimate::formattedBytes(12'400'000'000), QStringLiteral("12.4 GB"));
        // Free space is asked of the file system; a folder that is not there cannot tell.
        const std::optional<qint64> here = SpaceEstimate::availableBytes(QDir::tempPath());
        QVERIFY(here && *here >= 0);
        QCOMPARE(SpaceEstimate::availableBytes(QStringLiteral("/nonexistent/tolvane/folder")), std::nullopt);
        QCOMPARE(
            SpaceRefusal::sentence(QStringLiteral("/out/07-01-2026"), 12'400'000'000, 3'100'000'000),
            QStringLiteral("Not enough free space in “/out/07-01-2026”: the movies need about 12.4 GB and "
                           "3.1 GB is free."));
        // A folder's name cannot break the sentence into lines.
        QCOMPARE(
            SpaceRefusal::sentence(QStringLiteral("/out/two\nlines"), 2'000'000, 1'000'000),
            QStringLiteral("Not enough free space in “/out/two\\nlines”: the movies need about 2.0 MB and "
                           "1.0 MB is free."));
        QCOMPARE(
            ConvertCommand::ignoreFreeSpaceHint(),
            QStringLiteral("Free some space, choose another folder with --output-folder, or convert anyway "
                           "with --ignore-free-space."));
    }

    void runFoldersAreKnownByName()
    {
        QVERIFY(OutputFolderNamer::isRunFolderName(QStringLiteral("07-01-2026")));
        QVERIFY(OutputFolderNamer::isRunFolderName(QStringLiteral("07-01-2026 (2)")));
        QVERIFY(OutputFolderNamer::isRunFolderName(QStringLiteral("12-31-2026 (13)")));
        QVERIFY(!OutputFolderNamer::isRunFolderName(QStringLiteral("07-01-2026 (0)")));
        QVERIFY(!OutputFolderNamer::isRunFolderName(QStringLiteral("07-01-2026 copy")));
        QVERIFY(!OutputFolderNamer::isRunFolderName(QStringLiteral("holiday")));
        QVERIFY(!OutputFolderNamer::isRunFolderName(QStringLiteral("2026-07-01")));
    }

    void summarySentence_data()
    {
        QTest::addColumn<int>("converted");
        QTest::addColumn<int>("failed");
        QTest::addColumn<qint64>("excluded");
        QTest::addColumn<QString>("expected");
        QTest::newRow("3 clips, 1 failure")
            << 2 << 1 << qint64(0) << QStringLiteral("Done with 1 error. See logs in the output folder.");
        QTest::newRow("errors plural")
            << 0 << 3 << qint64(2) << QStringLiteral("Done with 3 errors. See logs in the output folder.");
        QTest::newRow("5 converted, 2 excluded")
            << 5 << 0 << qint64(2)
            << QStringLiteral("All done. 5 clips converted — 2 skipped (unverified pairing).");
        QTest::newRow("1 converted, 1 excluded")
            << 1 << 0 << qint64(1)
            << QStringLiteral("All done. 1 clip converted — 1 skipped (unverified pairing).");
        QTest::newRow("one clip") << 1 << 0 << qint64(0) << QStringLiteral("All done. 1 clip converted.");
        QTest::newRow("none") << 0 << 0 << qint64(0) << QStringLiteral("All done. 0 clips converted.");
    }

    void summarySentence()
    {
        QFETCH(int, converted);
        QFETCH(int, failed);
        QFETCH(qint64, excluded);
        QFETCH(QString, expected);
        const ConversionSummary summary{
            .converted = converted, .failed = failed, .excludedByPairing = excluded, .outputFolder = {}};
        QCOMPARE(ConversionViewModel::summarySentence(summary), expected);
    }

    void ffmpegMissingMessageNamesThePlatformsInstallCommand()
    {
        QCOMPARE(ConversionViewModel::ffmpegMissingMessage(Platform::factsFor(Platform::Kind::macOS, {})),
                 QStringLiteral("ffmpeg not found. Install it with: brew install ffmpeg"));
        QCOMPARE(ConversionViewModel::ffmpegMissingMessage(
                     Platform::factsFor(Platform::Kind::linuxDesktop, QStringLiteral("/home/a/Videos"))),
                 QStringLiteral("ffmpeg not found. Install it with: sudo apt install ffmpeg"));
    }

    void outputInsideCardMessageEscapesTheFolder()
    {
        QCOMPARE(ConversionViewModel::outputInsideCardMessage(QStringLiteral("/card/out\nput/07-01-2026")),
                 QStringLiteral("The output folder “/card/out\\nput/07-01-2026” is inside the card. Choose a "
                                "folder outside the card: nothing is ever written to a card."));
    }

    void scanProgressLineCountsFiles()
    {
        QCOMPARE(ScanCommand::probeProgressLine(123, 1000), QStringLiteral("Reading UMIDs 123 / 1000"));
        QCOMPARE(ScanCommand::probeProgressLine(0, 5), QStringLiteral("Reading UMIDs 0 / 5"));
    }

    void summaryCountsOnlyJobsThatEnded()
    {
        const JobList jobs{jobWith(ClipStatus::completed(), 0),
                           jobWith(ClipStatus::completed(), 2),
                           jobWith(ClipStatus::skippedExisting(), 0),
                           jobWith(ClipStatus::skippedExisting(), 1),
                           jobWith(ClipStatus::failed(QStringLiteral("Cancelled")), 0),
                           jobWith(ClipStatus::pending(), 0),
                           jobWith(ClipStatus::pending(), 1),
                           jobWith(ClipStatus::converting(0.4), 0)};
        const ConversionSummary expected{.converted = 2,
                                         .failed = 1,
                                         .skipped = 2,
                                         .missingAudio = 2,
                                         .excludedByPairing = 3,
                                         .outputFolder = QStringLiteral("/out")};
        QCOMPARE(ConversionViewModel::summarize(jobs, 3, QStringLiteral("/out")), expected);
    }
};

QTEST_GUILESS_MAIN(SessionRulesTest)

#include "SessionRulesTest.moc"
