#include "media/ProcessRunner.h"
#include "media/ToolArguments.h"
#include "media/ToolLimits.h"
#include "MediaTests.h"
#include "MediaTestSupport.h"

#include <algorithm>
#include <chrono>
#include <QCoroTimer>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QTest>
#include <QThread>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

// ffprobe answers a conversion's questions: duration and timecode, in one
// full probe of a source whose header cannot tell them, or one at a time.
QString ffprobeAnswers(const QString& duration, const QString& timecode)
{
    return QStringLiteral("case \"$*\" in\n"
                          "*-show_format*) FAKE_STDOUT='{\"streams\": [], \"format\": {\"duration\": "
                          "\"%1\", \"tags\": {\"timecode\": \"%2\"}}}' ;;\n"
                          "*format=duration*) FAKE_STDOUT='%1' ;;\n"
                          "*format_tags=timecode*) FAKE_STDOUT='%2' ;;\n"
                          "esac\n")
        .arg(duration, timecode);
}

QStringList singleValueArguments(const QString& entry, const QString& path)
{
    return {"-hide_banner",
            "-v",
            "error",
            "-show_entries",
            entry,
            "-of",
            "default=noprint_wrappers=1:nokey=1",
            path};
}

// Peak resident memory since the last reset, in kB.
qint64 peakResidentKB()
{
    const QByteArray status = readFile(QStringLiteral("/proc/self/status"));
    for (const QByteArray& line : status.split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

} // namespace

class FakeToolsTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<ToolFolder> tools_;
    std::unique_ptr<QTemporaryDir> work_;
    QString video_;
    QStringList audio_;
    QString output_;

    QString partial() const { return FFmpegService::temporaryPath(output_); }

private slots:
    void init()
    {
        tools_ = std::make_unique<ToolFolder>();
        work_ = std::make_unique<QTemporaryDir>();
        const QString card = work_->filePath(awkwardName(QStringLiteral(" card")));
        video_ = card + QStringLiteral("/VIDEO/") + awkwardName(QStringLiteral(".MXF"));
        audio_ = {card + QStringLiteral("/AUDIO/") + awkwardName(QStringLiteral("00.MXF")),
                  card + QStringLiteral("/AUDIO/") + awkwardName(QStringLiteral("01.MXF"))};
        output_ = work_->filePath(awkwardName(QStringLiteral(" out/001.mov")));
        for (const QString& file : QStringList{video_} + audio_)
            writeFile(file, "essence");
    }

    void cleanup()
    {
        tools_.reset();
        work_.reset();
    }

    // --- Probes ---

    void singleValueQueries_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("printed");
        QTest::addColumn<std::optional<QString>>("expected");
        const QString umid = QStringLiteral("format_tags=material_package_umid");
        QTest::newRow("UMID in lower case with prefix")
            << umid << "0x060a2b340101010501010d4313000000\n"
            << std::optional<QString>(QStringLiteral("060A2B340101010501010D4313000000"));
        QTest::newRow("UMID already bare")
            << umid << "060A2B340101010501010D4313000000\n"
            << std::optional<QString>(QStringLiteral("060A2B340101010501010D4313000000"));
        QTest::newRow("UMID only a line break") << umid << "\n" << std::optional<QString>();
        QTest::newRow("modification date")
            << "format_tags=modification_date"
            << " 2026-07-01T15:00:00.000000Z\n"
            << std::optional<QString>(QStringLiteral("2026-07-01T15:00:00.000000Z"));
        QTest::newRow("timecode") << "format_tags=timecode"
                                  << "01:00:00;00\n"
                                  << std::optional<QString>(QStringLiteral("01:00:00;00"));
        QTest::newRow("no timecode") << "format_tags=timecode"
                                     << "" << std::optional<QString>();
    }
    void singleValueQueries()
    {
        QFETCH(QString, entry);
        QFETCH(QString, printed);
        QFETCH(std::optional<QString>, expected);
        tools_->addFake("ffprobe", "FAKE_STDOUT='" + printed + "'");
        const auto query = entry.endsWith("umid")   ? FFmpegService::materialPackageUMID
                           : entry.endsWith("date") ? FFmpegService::modificationDate
                                                    : FFmpegService::sourceTimecode;
        QCOMPARE(QCoro::waitFor(query(video_)), expected);
        QCOMPARE(tools_->runs("ffprobe"), QList<QStringList>{singleValueArguments(entry, video_)});
    }

    void durationIsADecimalNumber()
    {
        tools_->addFake("ffprobe", "FAKE_STDOUT='10.010000\n'");
        QCOMPARE(QCoro::waitFor(FFmpegService::probeDurationSeconds(video_)), 10.01);
        QCOMPARE(tools_->runs("ffprobe"),
                 QList<QStringList>{singleValueArguments("format=duration", video_)});
        tools_->configure("ffprobe", "FAKE_STDOUT='N/A\n'");
        QCOMPARE(QCoro::waitFor(FFmpegService::probeDurationSeconds(video_)), std::nullopt);
    }

    void exitStatusOfAProbeIsNotExamined()
    {
        tools_->addFake("ffprobe", "FAKE_STDOUT='01:02:03:04\n'; FAKE_STDERR='warning'; FAKE_EXIT=1");
        QCOMPARE(QCoro::waitFor(FFmpegService::sourceTimecode(video_)), QStringLiteral("01:02:03:04"));
    }

    void undecodableProbeOutputIsNone()
    {
        tools_->addFake("ffprobe", "FAKE_STDOUT=$(printf '0x06\\377\\376')");
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video_)), std::nullopt);
        QCOMPARE(QCoro::waitFor(FFmpegService::modificationDate(video_)), std::nullopt);
        QCOMPARE(QCoro::waitFor(FFmpegService::probeDurationSeconds(video_)), std::nullopt);
        QCOMPARE(QCoro::waitFor(FFmpegService::hasAudioStream(video_)), false);
    }

    void fullProbeDecodesJson()
    {
        tools_->addFake("ffprobe",
                        R"(FAKE_STDOUT='{"streams": [{"index": 0, "codec_type": "audio", "channels": 1}],
"format": {"filename": "x", "tags": {"material_package_umid": "0x060A"}}}')");
        const std::optional<MediaProbe> probe = QCoro::waitFor(FFmpegService::probeFull(video_));
        QVERIFY(probe);
        QCOMPARE(probe->primaryAudioStream()->channels, 1);
        QCOMPARE(probe->format.tags->value("material_package_umid"), QStringLiteral("0x060A"));
        QCOMPARE(tools_->runs("ffprobe"),
                 (QList<QStringList>{{"-hide_banner", "-v", "error", "-show_format", "-show_streams",
                                      "-print_format", "json", video_}}));
    }

    void fullProbeWithoutStreamsIsNone()
    {
        tools_->addFake("ffprobe", R"(FAKE_STDOUT='{"format": {"filename": "x"}}')");
        QCOMPARE(QCoro::waitFor(FFmpegService::probeFull(video_)), std::nullopt);
    }

    void audioStreamPresence_data()
    {
        QTest::addColumn<QString>("conf");
        QTest::addColumn<bool>("expected");
        QTest::newRow("one stream") << "FAKE_STDOUT='1\n'" << true;
        QTest::newRow("nothing") << "" << false;
        QTest::newRow("white space") << "FAKE_STDOUT='  \n'" << false;
        QTest::newRow("error exit with index") << "FAKE_STDOUT='0\n'; FAKE_EXIT=1" << true;
    }
    void audioStreamPresence()
    {
        QFETCH(QString, conf);
        QFETCH(bool, expected);
        tools_->addFake("ffprobe", conf);
        QCOMPARE(QCoro::waitFor(FFmpegService::hasAudioStream(output_)), expected);
        QCOMPARE(tools_->runs("ffprobe"),
                 (QList<QStringList>{{"-hide_banner", "-v", "error", "-select_streams", "a", "-show_entries",
                                      "stream=index", "-of", "csv=p=0", output_}}));
    }

    void withoutFFprobeEveryQueryIsEmpty()
    {
        tools_->addFake("ffmpeg");
        QCOMPARE(QCoro::waitFor(FFmpegService::probeFull(video_)), std::nullopt);
        QCOMPARE(QCoro::waitFor(FFmpegService::probeDurationSeconds(video_)), std::nullopt);
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video_)), std::nullopt);
        QCOMPARE(QCoro::waitFor(FFmpegService::modificationDate(video_)), std::nullopt);
        QCOMPARE(QCoro::waitFor(FFmpegService::sourceTimecode(video_)), std::nullopt);
        QCOMPARE(QCoro::waitFor(FFmpegService::hasAudioStream(video_)), true);
        QVERIFY(tools_->runs("ffmpeg").isEmpty());
    }

    void unstartableFFprobeGivesEmptyResults()
    {
        tools_->addUnstartable("ffprobe");
        QVERIFY(FFmpegService::resolvedFFprobePath());
        QCOMPARE(QCoro::waitFor(FFmpegService::probeFull(video_)), std::nullopt);
        QCOMPARE(QCoro::waitFor(FFmpegService::probeDurationSeconds(video_)), std::nullopt);
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video_)), std::nullopt);
        QCOMPARE(QCoro::waitFor(FFmpegService::hasAudioStream(video_)), true);
    }

    void manyProbesAtOnce()
    {
        tools_->addFake("ffprobe", "FAKE_STDOUT=\"0x$(basename \"$8\")\n\"");
        QStringList files;
        for (int i = 0; i < 8; ++i)
            files.append(work_->filePath(QStringLiteral("%1ab").arg(i)));
        const auto all = [](QStringList files) -> QCoro::Task<QStringList> {
            std::vector<QCoro::Task<std::optional<QString>>> probes;
            for (const QString& file : files)
                probes.push_back(FFmpegService::materialPackageUMID(file));
            QStringList umids;
            for (auto& probe : probes)
                umids.append((co_await probe).value_or(QString()));
            co_return umids;
        };
        QCOMPARE(QCoro::waitFor(all(files)),
                 (QStringList{"0AB", "1AB", "2AB", "3AB", "4AB", "5AB", "6AB", "7AB"}));
    }

    // --- Levels ---

    void levelReadsVolumeDetectFromStandardError()
    {
        tools_->addFake("ffmpeg", "FAKE_STDOUT='mean_volume: -1.0 dB'\n"
                                  "FAKE_STDERR='[Parsed_volumedetect_0 @ 0x1] mean_volume: -60.2 dB\n"
                                  "[Parsed_volumedetect_0 @ 0x1] max_volume: -48.0 dB\n'");
        const AudioLevel level = QCoro::waitFor(FFmpegService::audioSignalLevels({audio_[0]})).first();
        QCOMPARE(level.meanDB, -60.2);
        QCOMPARE(level.maxDB, -48.0);
        QCOMPARE(
            tools_->runs("ffmpeg"),
            (QList<QStringList>{{"-hide_banner", "-nostdin", "-i", audio_[0], "-filter_complex",
                                 "[0:a:0]volumedetect[level0]", "-map", "[level0]", "-f", "null", "-"}}));
    }

    void levelOfUndecodableOutputIsUnmeasured()
    {
        tools_->addFake("ffmpeg",
                        "FAKE_INVALID_UTF8=1; FAKE_STDERR='mean_volume: -20.0 dB\nmax_volume: -1.0 dB\n'");
        QCOMPARE(QCoro::waitFor(FFmpegService::audioSignalLevels({audio_[0]})).first(), AudioLevel{});
    }

    void levelWithoutFFmpegOrStartIsUnmeasured()
    {
        QCOMPARE(QCoro::waitFor(FFmpegService::audioSignalLevels({audio_[0]})).first().summary(),
                 QStringLiteral("unmeasured"));
        tools_->addUnstartable("ffmpeg");
        QVERIFY(FFmpegService::recheckAvailability());
        QCOMPARE(QCoro::waitFor(FFmpegService::audioSignalLevels({audio_[0]})).first(), AudioLevel{});
    }

    // --- Conversion ---

    void conversionRunsTheExactCommand()
    {
        tools_->addFake("ffprobe", ffprobeAnswers("10.0", "01:02:03:04"));
        tools_->addFake("ffmpeg", "FAKE_WRITE_OUTPUT=movie");
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {video_, audio_, 0.25, ProResProfile::hq, output_});
        QVERIFY2(outcome.succeeded, qPrintable(outcome.message));

        const QStringList expected = FFmpegService::buildArguments(video_, audio_, 0.25, ProResProfile::hq,
                                                                   QStringLiteral("01:02:03:04"), partial());
        QCOMPARE(tools_->runs("ffmpeg"), QList<QStringList>{expected});
        QCOMPARE(outcome.commands,
                 QStringList{FFmpegService::commandLineString(tools_->toolPath("ffmpeg"), expected)});
        // A source whose header cannot tell is probed once for all the conversion needs.
        QCOMPARE(tools_->runs("ffprobe"), QList<QStringList>{ToolArguments::probeFull(video_)});
        // The movie is checked by the caller, against the duration it is given.
        QCOMPARE(outcome.sourceSeconds, std::optional(10.0));
        QCOMPARE(readFile(output_), QByteArray("movie"));
        QVERIFY(!QFileInfo::exists(partial()));
    }

    void outputIsWrittenFirstAsHiddenPartial()
    {
        tools_->addFake("ffprobe");
        tools_->addFake("ffmpeg", "FAKE_WRITE_OUTPUT=movie");
        output_ = work_->filePath("nested/folders/001.mov");
        FFmpegService service;
        QVERIFY(convertAndWait(service, {video_, {}, 0, ProResProfile::standard, output_}).succeeded);
        QCOMPARE(tools_->runs("ffmpeg").first().last(), work_->filePath("nested/folders/.001.mov.partial"));
        QCOMPARE(readFile(output_), QByteArray("movie"));
    }

    void missingTimecodeUsesZero()
    {
        tools_->addFake("ffprobe");
        tools_->addFake("ffmpeg", "FAKE_WRITE_OUTPUT=movie");
        FFmpegService service;
        QVERIFY(convertAndWait(service, {video_, {}, 0, ProResProfile::standard, output_}).succeeded);
        const QStringList arguments = tools_->runs("ffmpeg").first();
        QCOMPARE(arguments.mid(arguments.indexOf("-timecode"), 2), (QStringList{"-timecode", "00:00:00:00"}));
    }

    void conversionWithoutFFprobeGoesOn()
    {
        tools_->addFake("ffmpeg", "FAKE_WRITE_OUTPUT=movie; FAKE_STDOUT='out_time_ms=5000000\n'");
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {video_, audio_, 0, ProResProfile::standard, output_});
        QVERIFY(outcome.succeeded);
        QVERIFY(outcome.progress.isEmpty());
        QVERIFY(tools_->runs("ffmpeg").first().contains("00:00:00:00"));
    }

    void progress_data()
    {
        QTest::addColumn<QString>("duration");
        QTest::addColumn<QString>("progressOutput");
        QTest::addColumn<QList<double>>("expected");
        QTest::newRow("half way") << "10.000000"
                                  << "frame=1\nout_time_ms=5000000\nout_time=00:00:05.000000\n"
                                  << QList<double>{0.5};
        QTest::newRow("beyond the end") << "10"
                                        << "out_time_ms=15000000\nprogress=end\n"
                                        << QList<double>{1.0};
        QTest::newRow("time not available") << "10"
                                            << "out_time=N/A\nprogress=continue\n"
                                            << QList<double>{};
        QTest::newRow("duration unknown") << "N/A"
                                          << "out_time_ms=5000000\n"
                                          << QList<double>{};
        QTest::newRow("duration zero") << "0.000000"
                                       << "out_time_ms=5000000\n"
                                       << QList<double>{};
    }
    void progress()
    {
        QFETCH(QString, duration);
        QFETCH(QString, progressOutput);
        QFETCH(QList<double>, expected);
        tools_->addFake("ffprobe", ffprobeAnswers(duration, ""));
        tools_->addFake("ffmpeg", "FAKE_WRITE_OUTPUT=movie; FAKE_STDOUT='" + progressOutput + "'");
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {video_, {}, 0, ProResProfile::standard, output_});
        QVERIFY(outcome.succeeded);
        QCOMPARE(outcome.progress, expected);
    }

    void failureCarriesStatusAndStandardError()
    {
        tools_->addFake("ffprobe");
        tools_->addFake("ffmpeg", "FAKE_WRITE_OUTPUT=half; FAKE_STDERR='Conversion failed!\n'; FAKE_EXIT=1");
        writeFile(output_, "previous");
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {video_, audio_, 0, ProResProfile::standard, output_});
        QCOMPARE(outcome.errorKind, FFmpegError::Kind::processFailed);
        QCOMPARE(outcome.message, QStringLiteral("ffmpeg exited with code 1: Conversion failed!"));
        QVERIFY(!QFileInfo::exists(partial()));
        QCOMPARE(readFile(output_), QByteArray("previous"));
    }

    void signalDeathWithoutCancelIsAFailure()
    {
        tools_->addFake("ffprobe");
        // What ffmpeg says of its output last is no reason for its end.
        tools_->addFake("ffmpeg", "FAKE_WRITE_OUTPUT=half; FAKE_STDERR='Output #0, mov:\n  Metadata:\n"
                                  "    encoder         : Lavc59.37.100\n'; FAKE_SIGNAL=KILL");
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {video_, audio_, 0, ProResProfile::standard, output_});
        QCOMPARE(outcome.errorKind, FFmpegError::Kind::signalled);
        QCOMPARE(outcome.message, QStringLiteral("ffmpeg was killed (SIGKILL) — possibly out of memory"));
        QVERIFY(!QFileInfo::exists(partial()));
        QVERIFY(!QFileInfo::exists(output_));
    }

    void undecodableDiagnosticsAreDropped()
    {
        tools_->addFake("ffprobe");
        tools_->addFake("ffmpeg", "FAKE_INVALID_UTF8=1; FAKE_STDERR='still readable\n'; FAKE_EXIT=2");
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {video_, {}, 0, ProResProfile::standard, output_});
        QCOMPARE(outcome.message, QStringLiteral("ffmpeg exited with code 2: still readable"));
    }

    void floodOfDiagnosticsKeepsMemoryBounded()
    {
        constexpr qint64 floodBytes = 50 * 1024 * 1024;
        tools_->addFake("ffprobe");
        tools_->addFake("ffmpeg",
                        QStringLiteral("FAKE_FLOOD_BYTES=%1; FAKE_STDERR='\nthe last words\n'; FAKE_EXIT=1")
                            .arg(floodBytes));
        FFmpegService service;
        // Peak memory is measured from here on: writing 5 resets the high-water mark.
        writeFile(QStringLiteral("/proc/self/clear_refs"), "5");
        const qint64 before = peakResidentKB();
        const ConvertOutcome outcome =
            convertAndWait(service, {video_, {}, 0, ProResProfile::standard, output_});
        const qint64 grown = peakResidentKB() - before;
        QCOMPARE(outcome.errorKind, FFmpegError::Kind::processFailed);
        // The statistics lines say nothing of the cause; the last words do.
        QCOMPARE(outcome.message, QStringLiteral("ffmpeg exited with code 1: the last words"));
#ifdef __SANITIZE_ADDRESS__
        // AddressSanitizer holds freed memory back to catch late uses: the peak says nothing here.
        Q_UNUSED(grown);
#else
        QVERIFY2(grown < 40 * 1024, qPrintable(QStringLiteral("peak memory grew by %1 kB").arg(grown)));
#endif
    }

    void floodWhileTheCallerIsBusyKeepsMemoryBounded()
    {
        // The caller's thread reads nothing while the tool writes 48 MB and
        // ends: all of it is read meanwhile, on the tool's own thread.
        const QString finished = work_->filePath("finished");
        ProcessRunner runner(QStringLiteral("/bin/sh"),
                             {QStringLiteral("-c"),
                              QStringLiteral("yes 'a line of diagnostics' | head -n 2000000 >&2; "
                                             "echo 'the last words' >&2; : > \"$0\""),
                              finished});
        QList<QByteArray> lines;
        runner.setLinesHandler(ProcessRunner::Stream::standardError,
                               [&lines](const QList<QByteArray>& got) { lines = got; });
        writeFile(QStringLiteral("/proc/self/clear_refs"), "5");
        const qint64 before = peakResidentKB();
        QCoro::Task<ProcessResult> running = runner.run();
        const QDeadlineTimer deadline(60000);
        while (!QFileInfo::exists(finished) && !deadline.hasExpired())
            QThread::msleep(20);
        QVERIFY(QFileInfo::exists(finished));
        const ProcessResult result = QCoro::waitFor(std::move(running));
        const qint64 grown = peakResidentKB() - before;
        QVERIFY(result.succeeded());
        QVERIFY(!lines.isEmpty());
        QCOMPARE(lines.last(), QByteArray("the last words\n"));
#ifdef __SANITIZE_ADDRESS__
        Q_UNUSED(grown);
#else
        QVERIFY2(grown < 20 * 1024, qPrintable(QStringLiteral("peak memory grew by %1 kB").arg(grown)));
#endif
    }

    void exitWithoutOutputIsMissingOrEmpty_data()
    {
        QTest::addColumn<QString>("conf");
        QTest::newRow("no file") << "";
        QTest::newRow("empty file") << "FAKE_WRITE_OUTPUT=''; for last in \"$@\"; do :; done; : >\"$last\"";
    }
    void exitWithoutOutputIsMissingOrEmpty()
    {
        QFETCH(QString, conf);
        tools_->addFake("ffprobe");
        tools_->addFake("ffmpeg", conf);
        writeFile(output_, "previous");
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {video_, {}, 0, ProResProfile::standard, output_});
        QCOMPARE(outcome.errorKind, FFmpegError::Kind::outputMissingOrEmpty);
        QCOMPARE(outcome.message, QStringLiteral("Output file was not created or is empty"));
        QVERIFY(!QFileInfo::exists(partial()));
        QCOMPARE(readFile(output_), QByteArray("previous"));
    }

    void staleTemporaryIsRemovedFirst()
    {
        tools_->addFake("ffprobe");
        tools_->addFake("ffmpeg");
        writeFile(partial(), "stale from an interrupted run");
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {video_, {}, 0, ProResProfile::standard, output_});
        QCOMPARE(outcome.errorKind, FFmpegError::Kind::outputMissingOrEmpty);
        QVERIFY(!QFileInfo::exists(output_));
        QVERIFY(!QFileInfo::exists(partial()));
    }

    void successReplacesThePreviousOutput()
    {
        tools_->addFake("ffprobe");
        tools_->addFake("ffmpeg", "FAKE_WRITE_OUTPUT=new");
        writeFile(output_, "previous");
        FFmpegService service;
        QVERIFY(convertAndWait(service, {video_, {}, 0, ProResProfile::standard, output_}).succeeded);
        QCOMPARE(readFile(output_), QByteArray("new"));
    }

    void folderThatCannotBeCreatedIsAFileSystemError()
    {
        tools_->addFake("ffprobe");
        tools_->addFake("ffmpeg", "FAKE_WRITE_OUTPUT=movie");
        writeFile(work_->filePath("a file"), "not a folder");
        FFmpegService service;
        const ConvertOutcome outcome = convertAndWait(
            service, {video_, {}, 0, ProResProfile::standard, work_->filePath("a file/sub/001.mov")});
        QVERIFY(outcome.platformError);
        QVERIFY2(outcome.message.startsWith(QStringLiteral("Could not create the folder “")),
                 qPrintable(outcome.message));
        QVERIFY(tools_->runs("ffmpeg").isEmpty());
    }

    void unstartableFFmpegIsAPlatformError()
    {
        tools_->addFake("ffprobe");
        tools_->addUnstartable("ffmpeg");
        writeFile(partial(), "stale");
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {video_, {}, 0, ProResProfile::standard, output_});
        QVERIFY(outcome.platformError);
        QVERIFY(!outcome.message.isEmpty());
        QCOMPARE(outcome.commands.size(), 1);
        QVERIFY(!QFileInfo::exists(partial()));
    }

    void missingFFmpegTouchesNothing()
    {
        tools_->addFake("ffprobe");
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {video_, {}, 0, ProResProfile::standard, output_});
        QCOMPARE(outcome.errorKind, FFmpegError::Kind::binaryNotFound);
        QVERIFY(tools_->runs("ffprobe").isEmpty());
        QVERIFY(!QFileInfo::exists(QFileInfo(output_).path()));
    }

    // --- Tools that never end ---

    void aHangingProbeCountsAsFailed_data()
    {
        QTest::addColumn<QString>("conf");
        QTest::newRow("ends when asked") << "FAKE_STDOUT='060A'; FAKE_HANG=1";
        QTest::newRow("deaf to the polite signal") << "FAKE_STDOUT='060A'; FAKE_IGNORE_TERM=1; FAKE_HANG=1";
    }

    void aHangingProbeCountsAsFailed()
    {
        QFETCH(QString, conf);
        ToolLimits::setForTesting({.query = 300ms, .terminationGrace = 300ms});
        const auto restore = qScopeGuard([] { ToolLimits::setForTesting({}); });
        tools_->addFake("ffprobe", conf);
        QElapsedTimer clock;
        clock.start();
        const FFmpegService::ProbeAnswer answer =
            QCoro::waitFor(FFmpegService::probeMaterialPackageUMID(video_));
        QVERIFY(answer.timedOut);
        QCOMPARE(answer.value, std::nullopt);
        QVERIFY2(clock.elapsed() < 20000, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(QCoro::waitFor(FFmpegService::materialPackageUMID(video_)), std::nullopt);
    }

    void aProbeThatAnswersInTimeIsNotTimedOut()
    {
        tools_->addFake("ffprobe", "FAKE_STDOUT='0x060a\n'");
        const FFmpegService::ProbeAnswer answer =
            QCoro::waitFor(FFmpegService::probeMaterialPackageUMID(video_));
        QVERIFY(!answer.timedOut);
        QCOMPARE(answer.value, QStringLiteral("060A"));
    }

    void aConversionWhoseProgressStandsStillFails()
    {
        ToolLimits::setForTesting({.stalledConversion = 500ms, .terminationGrace = 300ms});
        const auto restore = qScopeGuard([] { ToolLimits::setForTesting({}); });
        tools_->addFake("ffprobe", ffprobeAnswers("10", ""));
        tools_->addFake("ffmpeg", "FAKE_STDOUT='out_time_ms=1000000\nprogress=continue\n'; "
                                  "FAKE_WRITE_OUTPUT=half; FAKE_IGNORE_TERM=1; FAKE_HANG=1");
        writeFile(output_, "previous");
        FFmpegService service;
        QElapsedTimer clock;
        clock.start();
        const ConvertOutcome outcome =
            convertAndWait(service, {video_, audio_, 0, ProResProfile::standard, output_});
        QCOMPARE(outcome.errorKind, FFmpegError::Kind::stalled);
        QCOMPARE(outcome.message, QStringLiteral("ffmpeg stopped making progress"));
        QVERIFY2(clock.elapsed() < 20000, qPrintable(QString::number(clock.elapsed())));
        QVERIFY(!QFileInfo::exists(partial()));
        QCOMPARE(readFile(output_), QByteArray("previous"));
    }

    void cancelFromAnotherThreadStopsAHangingConversion()
    {
        tools_->addFake("ffprobe", ffprobeAnswers("10", ""));
        tools_->addFake("ffmpeg", "FAKE_WRITE_OUTPUT=half; FAKE_HANG=1");
        writeFile(output_, "previous");
        FFmpegService service;
        const auto run = [](FFmpegService* service, ConvertRequest request,
                            QString partial) -> QCoro::Task<ConvertOutcome> {
            QCoro::Task<ConvertOutcome> conversion = convertCatching(service, request);
            // The tool writes its partial output before it hangs.
            while (!QFileInfo::exists(partial))
                co_await QCoro::sleepFor(20ms);
            std::thread([service] { service->cancel(); }).join();
            co_return co_await conversion;
        };
        const ConvertOutcome outcome =
            QCoro::waitFor(run(&service, {video_, audio_, 0, ProResProfile::standard, output_}, partial()));
        QCOMPARE(outcome.errorKind, FFmpegError::Kind::cancelled);
        QCOMPARE(outcome.message, QStringLiteral("Cancelled"));
        QVERIFY(!QFileInfo::exists(partial()));
        QCOMPARE(readFile(output_), QByteArray("previous"));
        QVERIFY(service.cancelRequested());
    }

    void aJoinedShotRunsOneCommandWithProgressOverTheWholeShot()
    {
        // Every piece lasts 10 s, so 15 s into the shot is half of a shot of three.
        tools_->addFake("ffprobe", ffprobeAnswers("10", "01:02:03:04"));
        tools_->addFake("ffmpeg", "FAKE_WRITE_OUTPUT=movie; FAKE_STDOUT='out_time_ms=15000000\n'");
        const QList<EssenceInputs> pieces{{video_, audio_}, {video_ + "2", audio_}, {video_ + "3", audio_}};
        FFmpegService service;
        QStringList commands;
        QList<double> progress;
        const std::optional<double> sourceSeconds = QCoro::waitFor(service.convertJoined(
            pieces, 0, ProResProfile::hq, output_,
            [&commands](const QString& command) { commands.append(command); },
            [&progress](double fraction) { progress.append(fraction); }));

        const QStringList expected = FFmpegService::buildJoinArguments(
            pieces, 0, ProResProfile::hq, QStringLiteral("01:02:03:04"), partial());
        QCOMPARE(tools_->runs("ffmpeg"), QList<QStringList>{expected});
        QCOMPARE(commands,
                 QStringList{FFmpegService::commandLineString(tools_->toolPath("ffmpeg"), expected)});
        QCOMPARE(progress, QList<double>{0.5});
        // One duration per piece and the first piece's timecode; the movie is
        // to be checked against the whole shot's duration.
        QList<QStringList> probes = tools_->runs("ffprobe");
        std::sort(probes.begin(), probes.end());
        QList<QStringList> expectedProbes{ToolArguments::probeFull(video_),
                                          singleValueArguments("format=duration", video_ + "2"),
                                          singleValueArguments("format=duration", video_ + "3")};
        std::sort(expectedProbes.begin(), expectedProbes.end());
        QCOMPARE(probes, expectedProbes);
        QCOMPARE(sourceSeconds, std::optional(30.0));
        QCOMPARE(readFile(output_), QByteArray("movie"));
        QVERIFY(!QFileInfo::exists(partial()));
    }

    void aJoinedShotWithAPieceOfUnknownLengthReportsNoProgress()
    {
        tools_->addFake("ffprobe", QStringLiteral("case \"$*\" in *format=duration*2) FAKE_STDOUT='N/A' ;; "
                                                  "*) FAKE_STDOUT='{\"streams\": [], \"format\": "
                                                  "{\"duration\": \"10\"}}' ;; esac\n"));
        tools_->addFake("ffmpeg", "FAKE_WRITE_OUTPUT=movie; FAKE_STDOUT='out_time_ms=5000000\n'");
        FFmpegService service;
        QList<double> progress;
        QCoro::waitFor(service.convertJoined({{video_, {}}, {video_ + "2", {}}}, 0, ProResProfile::hq,
                                             output_, {},
                                             [&progress](double fraction) { progress.append(fraction); }));
        QCOMPARE(progress, QList<double>{});
        QCOMPARE(readFile(output_), QByteArray("movie"));
    }

    void cancellingAJoinedShotLeavesThePreviousMovie()
    {
        tools_->addFake("ffprobe", ffprobeAnswers("10", ""));
        tools_->addFake("ffmpeg", "FAKE_WRITE_OUTPUT=half; FAKE_HANG=1");
        writeFile(output_, "previous");
        FFmpegService service;
        const auto run = [](FFmpegService* service, QList<EssenceInputs> pieces, QString output,
                            QString partial) -> QCoro::Task<std::optional<FFmpegError::Kind>> {
            QCoro::Task<std::optional<double>> conversion =
                service->convertJoined(pieces, 0, ProResProfile::standard, output, {}, {});
            while (!QFileInfo::exists(partial))
                co_await QCoro::sleepFor(20ms);
            std::thread([service] { service->cancel(); }).join();
            try {
                co_await conversion;
            } catch (const FFmpegError& error) {
                co_return error.kind();
            }
            co_return std::nullopt;
        };
        const std::optional<FFmpegError::Kind> ending =
            QCoro::waitFor(run(&service, {{video_, audio_}, {video_, audio_}}, output_, partial()));
        QCOMPARE(ending, std::optional(FFmpegError::Kind::cancelled));
        QVERIFY(!QFileInfo::exists(partial()));
        QCOMPARE(readFile(output_), QByteArray("previous"));
    }

    void cancelWhileIdleOnlySetsTheFlag()
    {
        tools_->addFake("ffprobe");
        tools_->addFake("ffmpeg", "FAKE_STDERR='real failure\n'; FAKE_EXIT=1");
        FFmpegService service;
        QVERIFY(!service.cancelRequested());
        service.cancel();
        QVERIFY(service.cancelRequested());
        QVERIFY(tools_->runs("ffmpeg").isEmpty());

        // The next conversion starts afresh: its failure is not taken for a cancel.
        const ConvertOutcome failed =
            convertAndWait(service, {video_, {}, 0, ProResProfile::standard, output_});
        QCOMPARE(failed.errorKind, FFmpegError::Kind::processFailed);
        QVERIFY(!service.cancelRequested());

        service.cancel();
        tools_->configure("ffmpeg", "FAKE_WRITE_OUTPUT=movie");
        QVERIFY(convertAndWait(service, {video_, {}, 0, ProResProfile::standard, output_}).succeeded);
    }

    void runnerReportsHowTheChildEnded()
    {
        tools_->addFake("tool", "FAKE_STDOUT='out\n'; FAKE_STDERR='err\n'; FAKE_EXIT=3");
        const ProcessResult exited = QCoro::waitFor(ProcessRunner::query(
            tools_->toolPath("tool"), {"a b", "$x"}, ProcessRunner::Stream::standardOutput));
        QCOMPARE(exited.ending, ProcessResult::Ending::exited);
        QCOMPARE(exited.status, 3);
        QCOMPARE(exited.standardOutput, QByteArray("out\n"));
        QVERIFY(exited.standardError.isEmpty());

        tools_->configure("tool", "FAKE_SIGNAL=TERM");
        const ProcessResult signalled = QCoro::waitFor(
            ProcessRunner::query(tools_->toolPath("tool"), {}, ProcessRunner::Stream::standardError));
        QCOMPARE(signalled.ending, ProcessResult::Ending::signalled);
        QCOMPARE(signalled.status, 15);

        const ProcessResult unstarted = QCoro::waitFor(
            ProcessRunner::query(work_->filePath("no such tool"), {}, ProcessRunner::Stream::standardOutput));
        QCOMPARE(unstarted.ending, ProcessResult::Ending::failedToStart);
        QVERIFY(!unstarted.errorString.isEmpty());
    }

    void toolRunsInItsOwnProcessGroupAndNicer()
    {
        // Fields 4 and 5 of /proc/PID/stat are the parent and the process
        // group, field 19 the nice value; the shell's own name holds no space.
        const ProcessResult stat = QCoro::waitFor(ProcessRunner::query(
            QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("cat /proc/$$/stat")},
            ProcessRunner::Stream::standardOutput));
        QVERIFY(stat.succeeded());
        const QList<QByteArray> fields = stat.standardOutput.split(' ');
        QVERIFY(fields.size() > 18);
        QCOMPARE(fields.at(3).toLongLong(), qint64(QCoreApplication::applicationPid()));
        // A group of its own, led by itself: a Ctrl-C at the terminal does not reach it.
        QCOMPARE(fields.at(4), fields.at(0));
        QVERIFY(fields.at(4).toLongLong() != qint64(getpgrp()));
        // It yields the processor to the program that started it.
        const int expected = std::min(getpriority(PRIO_PROCESS, 0) + ProcessRunner::toolNiceness, 19);
        QCOMPARE(fields.at(18).toInt(), expected);
    }

    void handlersAndEndingArriveOnTheCallersThread()
    {
        tools_->addFake("tool", "FAKE_STDOUT='one\ntwo\n'; FAKE_STDERR='err\n'");
        ProcessRunner runner(tools_->toolPath("tool"), {});
        QList<QByteArray> lines;
        QList<QThread*> threads;
        runner.setLinesHandler(ProcessRunner::Stream::standardOutput, [&](const QList<QByteArray>& got) {
            lines += got;
            threads.append(QThread::currentThread());
        });
        const ProcessResult result = QCoro::waitFor(runner.run());
        QVERIFY(result.succeeded());
        QCOMPARE(lines, (QList<QByteArray>{"one\n", "two\n"}));
        QVERIFY(!threads.isEmpty());
        for (QThread* thread : std::as_const(threads))
            QCOMPARE(thread, QThread::currentThread());
        // The stream without a handler comes back whole.
        QCOMPARE(result.standardError, QByteArray("err\n"));
    }
};

int runFakeToolsTests(int argc, char** argv)
{
    FakeToolsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "FakeToolsTest.moc"
