#include "run/ConversionQueue.h"

#include "media/ToolLimits.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"

#include <memory>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <sys/stat.h>

using JobList = QList<std::shared_ptr<ConversionJob>>;

namespace {

QString describe(const ClipStatus& status)
{
    switch (status.kind) {
    case ClipStatus::Kind::converting:
        return QStringLiteral("converting(%1)").arg(status.fraction);
    case ClipStatus::Kind::failed:
        return QStringLiteral("failed(%1)").arg(status.message);
    case ClipStatus::Kind::pending:
        return QStringLiteral("pending");
    case ClipStatus::Kind::completed:
        return QStringLiteral("completed");
    case ClipStatus::Kind::skippedExisting:
        return QStringLiteral("skippedExisting");
    case ClipStatus::Kind::notStarted:
        return QStringLiteral("notStarted(%1)").arg(status.message);
    case ClipStatus::Kind::notChosen:
        return QStringLiteral("notChosen");
    }
    Q_UNREACHABLE();
}

// Every callback of a run, in the order it came, each checked to arrive on the job's thread.
struct Recorder
{
    QStringList events;
    QList<ConversionQueue::JobOutcome> outcomes;
    bool wrongThread = false;
    // Called after a job's command was reported, with the job.
    std::function<void(ConversionJob&)> afterCommand;

    void checkThread(const ConversionJob& job)
    {
        if (job.thread() != QThread::currentThread())
            wrongThread = true;
    }

    QCoro::Task<> run(ConversionQueue* queue, JobList jobs, bool skipExistingFiles)
    {
        co_await queue->run(
            std::move(jobs), 0.5, ProResProfile::proxy, skipExistingFiles, false,
            [this](ConversionJob& job) {
                checkThread(job);
                events << QStringLiteral("update %1 %2 %3")
                              .arg(job.clipName(), describe(job.status()))
                              .arg(job.progress());
            },
            [this](const ConversionQueue::JobOutcome& outcome) {
                events << QStringLiteral("finished %1 %2")
                              .arg(QFileInfo(outcome.clip.videoURL).completeBaseName(),
                                   describe(outcome.status));
                outcomes << outcome;
            },
            [this](ConversionJob& job, const QString& commandLine) {
                checkThread(job);
                events
                    << QStringLiteral("command %1 %2").arg(job.clipName(), commandLine.section(u' ', 0, 0));
                if (afterCommand)
                    afterCommand(job);
            });
    }
};

// ffprobe as a conversion and its validation ask it: a 10 s clip, an audio
// stream only in outputs whose name holds "with-audio", and 250 frames at 25
// per second, or 100 in outputs whose name holds "cut".
const QString ffprobeConf = QStringLiteral(
    "case \"$*\" in\n"
    "*-show_format*) FAKE_STDOUT='{\"streams\": [], \"format\": {\"duration\": \"10.0\"}}' ;;\n"
    "*format=duration*) FAKE_STDOUT='10.0' ;;\n"
    "*stream=index*with-audio*) FAKE_STDOUT='1\n' ;;\n"
    "*nb_frames*cut*) FAKE_STDOUT='avg_frame_rate=25/1\nnb_frames=100\n' ;;\n"
    "*nb_frames*) FAKE_STDOUT='avg_frame_rate=25/1\nnb_frames=250\n' ;;\n"
    "esac\n");

// ffmpeg writes a small movie and reports half way, except that it fails for
// outputs named "broken…" and waits to be stopped for outputs named "stuck…".
const QString ffmpegConf = QStringLiteral("case \"$*\" in\n"
                                          "*broken*) FAKE_STDERR='Invalid data found\n'; FAKE_EXIT=1 ;;\n"
                                          "*stuck*) FAKE_HANG=1 ;;\n"
                                          "*) FAKE_STDOUT='out_time_ms=5000000\nprogress=continue\n'; "
                                          "FAKE_WRITE_OUTPUT=movie ;;\n"
                                          "esac\n");

} // namespace

class ConversionQueueTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<ToolFolder> tools_;
    std::unique_ptr<QTemporaryDir> work_;

    // A clip whose video is `<name>.MXF` with `audioCount` audio files, none of which
    // need exist: the stand-in tools never read them.
    P2Clip clip(const QString& name, int audioCount = 0) const
    {
        P2Clip clip;
        clip.videoURL = work_->filePath(QStringLiteral("card/VIDEO/%1.MXF").arg(name));
        for (int i = 0; i < audioCount; ++i)
            clip.audioURLs << work_->filePath(
                QStringLiteral("card/AUDIO/%1%2.MXF").arg(name).arg(i, 2, 10, QChar(u'0')));
        return clip;
    }

    QString output(const QString& name) const
    {
        return work_->filePath(awkwardName(QStringLiteral(" out/")) + name + QStringLiteral(".mov"));
    }

    std::shared_ptr<ConversionJob> job(const QString& name, int audioCount = 0) const
    {
        return std::make_shared<ConversionJob>(clip(name, audioCount), output(name));
    }

    static void runAndWait(Recorder& recorder, ConversionQueue& queue, const JobList& jobs,
                           bool skipExistingFiles)
    {
        QCoro::waitFor(recorder.run(&queue, jobs, skipExistingFiles));
        QVERIFY(!recorder.wrongThread);
    }

private slots:
    void init()
    {
        tools_ = std::make_unique<ToolFolder>();
        work_ = std::make_unique<QTemporaryDir>();
        // The card is there while it is converted; only its files are left to the stand-ins.
        QVERIFY(QDir().mkpath(work_->filePath(QStringLiteral("card/VIDEO"))));
        tools_->addFake(QStringLiteral("ffprobe"), ffprobeConf);
        tools_->addFake(QStringLiteral("ffmpeg"), ffmpegConf);
    }

    void cleanup()
    {
        tools_.reset();
        work_.reset();
    }

    // --- The status value ---

    void statusEqualityAndWeight()
    {
        QCOMPARE(ClipStatus(), ClipStatus::pending());
        QCOMPARE(ClipStatus::converting(0.25), ClipStatus::converting(0.25));
        QVERIFY(ClipStatus::converting(0.25) != ClipStatus::converting(0.5));
        QCOMPARE(ClipStatus::failed(QStringLiteral("a")), ClipStatus::failed(QStringLiteral("a")));
        QVERIFY(ClipStatus::failed(QStringLiteral("a")) != ClipStatus::failed(QStringLiteral("b")));
        QVERIFY(ClipStatus::completed() != ClipStatus::skippedExisting());

        QCOMPARE(ClipStatus::pending().progressWeight(), 0.0);
        QCOMPARE(ClipStatus::converting(0.25).progressWeight(), 0.25);
        QCOMPARE(ClipStatus::failed(QStringLiteral("x")).progressWeight(), 1.0);
        QCOMPARE(ClipStatus::completed().progressWeight(), 1.0);
        QCOMPARE(ClipStatus::skippedExisting().progressWeight(), 1.0);

        QVERIFY(!ClipStatus::pending().isFinal());
        QVERIFY(!ClipStatus::converting(1).isFinal());
        QVERIFY(ClipStatus::failed({}).isFinal());
        QVERIFY(ClipStatus::completed().isFinal());
        QVERIFY(ClipStatus::skippedExisting().isFinal());
        QVERIFY(ClipStatus::notStarted(RunStop::cancelled).isFinal());
        QCOMPARE(ClipStatus::notStarted(RunStop::cancelled).progressWeight(), 0.0);
    }

    void notStartedSaysWhy()
    {
        QCOMPARE(RunStops::notStartedText(RunStop::cancelled),
                 QStringLiteral("not started — the run was cancelled"));
        QCOMPARE(RunStops::notStartedText(RunStop::outputFull),
                 QStringLiteral("not started — the output folder’s disk is full"));
        QCOMPARE(RunStops::notStartedText(RunStop::cardGone),
                 QStringLiteral("not started — the card’s folder disappeared"));
        QCOMPARE(RunStops::sentence(RunStop::cancelled), QStringLiteral("The run was cancelled."));
        QCOMPARE(RunStops::sentence(RunStop::outputFull),
                 QStringLiteral("The run stopped: the output folder’s disk is full."));
        QCOMPARE(RunStops::sentence(RunStop::cardGone),
                 QStringLiteral("The run stopped: the card’s folder disappeared during the run."));
        QCOMPARE(ClipStatus::notStarted(RunStop::cardGone).message,
                 RunStops::notStartedText(RunStop::cardGone));
    }

    void newJobIsPendingAtZero()
    {
        const auto created = job(QStringLiteral("0001AB"), 2);
        QCOMPARE(created->status(), ClipStatus::pending());
        QCOMPARE(created->statusKind(), ClipStatus::Kind::pending);
        QCOMPARE(created->progress(), 0.0);
        QCOMPARE(created->failureMessage(), QString());
        QCOMPARE(created->clipName(), QStringLiteral("0001AB"));
        QCOMPARE(created->outputURL(), output(QStringLiteral("0001AB")));
        QCOMPARE(created->clip().audioURLs.size(), 2);
        QCOMPARE(created->property("statusKind").value<ClipStatus::Kind>(), ClipStatus::Kind::pending);
    }

    // --- One job, seen from outside ---

    void signalsAndCallbacksInOrder()
    {
        const auto first = job(QStringLiteral("0001AB"));
        QSignalSpy status(first.get(), &ConversionJob::statusChanged);
        QSignalSpy progress(first.get(), &ConversionJob::progressChanged);
        QStringList seen;
        connect(first.get(), &ConversionJob::statusChanged, this, [&] {
            seen << describe(first->status()) + QStringLiteral(" at ") + QString::number(first->progress());
        });

        ConversionQueue queue;
        Recorder recorder;
        runAndWait(recorder, queue, {first}, false);

        const QString ffmpeg = tools_->toolPath(QStringLiteral("ffmpeg"));
        QCOMPARE(recorder.events, (QStringList{
                                      QStringLiteral("update 0001AB converting(0) 0"),
                                      QStringLiteral("command 0001AB ") + ffmpeg,
                                      QStringLiteral("update 0001AB converting(0.5) 0.5"),
                                      QStringLiteral("update 0001AB completed 1"),
                                      QStringLiteral("finished 0001AB completed"),
                                  }));
        // Progress is written before the status it goes with.
        QCOMPARE(seen, (QStringList{"converting(0) at 0", "converting(0.5) at 0.5", "completed at 0.5"}));
        QCOMPARE(status.count(), 3);
        QCOMPARE(progress.count(), 2);
        QCOMPARE(first->progress(), 1.0);
        QCOMPARE(readFile(first->outputURL()), QByteArray("movie"));
        QCOMPARE(recorder.outcomes.size(), 1);
        QCOMPARE(recorder.outcomes[0].clip, first->clip());
        QVERIFY(!queue.isCancelled());

        // The run hands the offset and profile to the tool unchanged.
        const QStringList arguments = tools_->runs(QStringLiteral("ffmpeg")).value(0);
        QVERIFY(arguments.contains(QStringLiteral("-profile:v")));
        QCOMPARE(arguments.value(arguments.indexOf(QStringLiteral("-profile:v")) + 1), QStringLiteral("0"));
    }

    // --- Skipping ---

    void secondJobWithSameOutputIsSkipped()
    {
        const auto first = job(QStringLiteral("0001AB"));
        const auto second =
            std::make_shared<ConversionJob>(clip(QStringLiteral("0002AB")), first->outputURL());
        QSignalSpy secondStatus(second.get(), &ConversionJob::statusChanged);

        ConversionQueue queue;
        Recorder recorder;
        runAndWait(recorder, queue, {first, second}, true);

        QCOMPARE(first->status(), ClipStatus::completed());
        QCOMPARE(second->status(), ClipStatus::skippedExisting());
        QCOMPARE(second->progress(), 1.0);
        QCOMPARE(secondStatus.count(), 1);
        QCOMPARE(tools_->runs(QStringLiteral("ffmpeg")).size(), 1);
        QCOMPARE(recorder.events.mid(recorder.events.size() - 2),
                 (QStringList{"update 0002AB skippedExisting 1", "finished 0002AB skippedExisting"}));
    }

    void sameOutputIsConvertedTwiceWhenNotSkipping()
    {
        const auto first = job(QStringLiteral("0001AB"));
        const auto second =
            std::make_shared<ConversionJob>(clip(QStringLiteral("0002AB")), first->outputURL());
        ConversionQueue queue;
        Recorder recorder;
        runAndWait(recorder, queue, {first, second}, false);
        QCOMPARE(second->status(), ClipStatus::completed());
        QCOMPARE(tools_->runs(QStringLiteral("ffmpeg")).size(), 2);
    }

    void emptyFileIsConvertedNotSkipped()
    {
        const auto only = job(QStringLiteral("0001AB"));
        writeFile(only->outputURL(), {});
        ConversionQueue queue;
        Recorder recorder;
        runAndWait(recorder, queue, {only}, true);
        QCOMPARE(only->status(), ClipStatus::completed());
        QCOMPARE(tools_->runs(QStringLiteral("ffmpeg")).size(), 1);
        QCOMPARE(readFile(only->outputURL()), QByteArray("movie"));
    }

    // --- Validation ---

    void validation_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("audioCount");
        QTest::addColumn<ClipStatus>("expected");
        const ClipStatus invalid = ClipStatus::failed(
            QStringLiteral("Output validation failed (missing file, zero size, or missing audio stream)"));
        QTest::newRow("no audio in clip or output") << "0001AB" << 0 << ClipStatus::completed();
        QTest::newRow("audio in clip and output") << "0002AB with-audio" << 2 << ClipStatus::completed();
        QTest::newRow("audio in clip, none in output") << "0003AB" << 2 << invalid;
        const ClipStatus truncated = ClipStatus::failed(QStringLiteral(
            "output has 100 of 250 frames — the VIDEO file looks truncated; the movie was kept, as it is "
            "all that could be recovered"));
        QTest::newRow("shorter than the source") << "0004AB cut with-audio" << 2 << truncated;
        // The frames are the first cause: audio cannot make up for missing pictures.
        QTest::newRow("shorter and without audio") << "0005AB cut" << 2 << truncated;
    }

    void theMovieIsCheckedForFramesAndAudioSideBySide()
    {
        // Each check answers as a whole movie only once it has seen the other
        // start, and gives up after 5 s; checks made one after the other
        // would therefore find the movie cut short or without audio.
        const QString marks = work_->filePath(QStringLiteral("marks"));
        QVERIFY(QDir().mkpath(marks));
        const QString waitFor = QStringLiteral(
            "i=0; until [ -e '%1/%2' ] || [ $i -ge 100 ]; do sleep 0.05; i=$((i+1)); done; [ -e '%1/%2' ]");
        tools_->configure(
            QStringLiteral("ffprobe"),
            QStringLiteral("case \"$*\" in\n"
                           "*-show_format*) FAKE_STDOUT='{\"streams\": [], \"format\": {\"duration\": "
                           "\"10.0\"}}' ;;\n"
                           "*format=duration*) FAKE_STDOUT='10.0' ;;\n"
                           "*stream=index*) touch '%1/audio'; if %2; then FAKE_STDOUT='1\n'; fi ;;\n"
                           "*nb_frames*) touch '%1/frames'; if %3; then FAKE_STDOUT='avg_frame_rate=25/1\n"
                           "nb_frames=250\n'; else FAKE_STDOUT='avg_frame_rate=25/1\nnb_frames=1\n'; fi ;;\n"
                           "esac\n")
                .arg(marks, waitFor.arg(marks, QStringLiteral("frames")),
                     waitFor.arg(marks, QStringLiteral("audio"))));
        const auto only = job(QStringLiteral("0001AB"), 2);
        ConversionQueue queue;
        Recorder recorder;
        runAndWait(recorder, queue, {only}, false);
        QCOMPARE(only->status(), ClipStatus::completed());
    }

    void validation()
    {
        QFETCH(QString, name);
        QFETCH(int, audioCount);
        QFETCH(ClipStatus, expected);
        const auto only = job(name, audioCount);
        ConversionQueue queue;
        Recorder recorder;
        runAndWait(recorder, queue, {only}, false);
        QCOMPARE(only->status(), expected);
        QCOMPARE(only->statusKind(), expected.kind);
        QCOMPARE(only->failureMessage(), expected.message);
        QCOMPARE(recorder.outcomes.size(), 1);
        QCOMPARE(recorder.outcomes[0].status, expected);
        // The audio check is made only when the clip has audio.
        const bool askedForAudio =
            std::ranges::any_of(tools_->runs(QStringLiteral("ffprobe")), [](const QStringList& run) {
                return run.contains(QStringLiteral("stream=index"));
            });
        QCOMPARE(askedForAudio, audioCount > 0);
    }

    // --- Failures ---

    void failureMessages_data()
    {
        QTest::addColumn<QString>("ffmpegConf");
        QTest::addColumn<QString>("expected");
        QTest::newRow("non-zero exit") << "FAKE_STDERR='Invalid data found\n'; FAKE_EXIT=1"
                                       << "ffmpeg exited with code 1: Invalid data found";
        QTest::newRow("no output written") << ""
                                           << "Output file was not created or is empty";
        QTest::newRow("ffmpeg missing")
            << QString() << "ffmpeg was not found. Install it with: sudo apt install ffmpeg";
    }

    void failureMessages()
    {
        QFETCH(QString, ffmpegConf);
        QFETCH(QString, expected);
        if (ffmpegConf.isNull())
            tools_->remove(QStringLiteral("ffmpeg"));
        else
            tools_->configure(QStringLiteral("ffmpeg"), ffmpegConf);
        const auto only = job(QStringLiteral("0001AB"));
        QSignalSpy status(only.get(), &ConversionJob::statusChanged);
        ConversionQueue queue;
        Recorder recorder;
        runAndWait(recorder, queue, {only}, false);
        QCOMPARE(only->status(), ClipStatus::failed(expected));
        QCOMPARE(only->failureMessage(), expected);
        QCOMPARE(status.count(), 2);
        QCOMPARE(recorder.events.last(), QStringLiteral("finished 0001AB failed(%1)").arg(expected));
        QVERIFY(!QFileInfo::exists(only->outputURL()));
    }

    void fileSystemErrorGivesItsOwnDescription()
    {
        // The output folder cannot be made: a file stands where it should be.
        writeFile(work_->filePath(QStringLiteral("blocked")), "file");
        const auto only = std::make_shared<ConversionJob>(clip(QStringLiteral("0001AB")),
                                                          work_->filePath(QStringLiteral("blocked/001.mov")));
        ConversionQueue queue;
        Recorder recorder;
        runAndWait(recorder, queue, {only}, false);
        QCOMPARE(only->statusKind(), ClipStatus::Kind::failed);
        QVERIFY2(only->failureMessage().startsWith(QStringLiteral("Could not create the folder “%1”: ")
                                                       .arg(work_->filePath(QStringLiteral("blocked")))),
                 qPrintable(only->failureMessage()));
    }

    void failingClipDoesNotStopTheBatch()
    {
        const JobList jobs{job(QStringLiteral("0001AB")), job(QStringLiteral("0002AB broken")),
                           job(QStringLiteral("0003AB"))};
        ConversionQueue queue;
        Recorder recorder;
        runAndWait(recorder, queue, jobs, false);
        QCOMPARE(jobs[0]->status(), ClipStatus::completed());
        QCOMPARE(jobs[1]->status(),
                 ClipStatus::failed(QStringLiteral("ffmpeg exited with code 1: Invalid data found")));
        QCOMPARE(jobs[1]->progress(), 0.0);
        QCOMPARE(jobs[2]->status(), ClipStatus::completed());
        QStringList finished = recorder.events.filter(QStringLiteral("finished"));
        QCOMPARE(finished.size(), 3);
        QVERIFY(finished[1].startsWith(
            QStringLiteral("finished 0002AB broken failed(ffmpeg exited with code 1")));
    }

    // --- Cancelling ---

    void cancelDuringThirdOfFive()
    {
        const JobList jobs{job(QStringLiteral("0001AB")), job(QStringLiteral("0002AB")),
                           job(QStringLiteral("0003AB stuck")), job(QStringLiteral("0004AB")),
                           job(QStringLiteral("0005AB"))};
        QSignalSpy fourth(jobs[3].get(), &ConversionJob::statusChanged);
        ConversionQueue queue;
        Recorder recorder;
        // The tool starts right after its command is reported; the cancel comes
        // once the run waits for it, as a cancel from the window would.
        recorder.afterCommand = [&queue](ConversionJob& job) {
            if (job.clipName().endsWith(QStringLiteral("stuck")))
                QTimer::singleShot(0, [&queue] { queue.cancel(); });
        };
        runAndWait(recorder, queue, jobs, false);

        QVERIFY(queue.isCancelled());
        QCOMPARE(jobs[0]->status(), ClipStatus::completed());
        QCOMPARE(jobs[1]->status(), ClipStatus::completed());
        QCOMPARE(jobs[2]->status(), ClipStatus::failed(QStringLiteral("Cancelled")));
        // The clips the run never reached are accounted for, each once.
        const ClipStatus notStarted = ClipStatus::notStarted(RunStop::cancelled);
        QCOMPARE(notStarted.message, QStringLiteral("not started — the run was cancelled"));
        QCOMPARE(jobs[3]->status(), notStarted);
        QCOMPARE(jobs[4]->status(), notStarted);
        QCOMPARE(jobs[3]->progress(), 0.0);
        QCOMPARE(fourth.count(), 1);
        QCOMPARE(recorder.outcomes.size(), 5);
        QCOMPARE(queue.stop(), std::optional(RunStop::cancelled));
        QCOMPARE(recorder.events.mid(
                     recorder.events.indexOf(QStringLiteral("finished 0003AB stuck failed(Cancelled)"))),
                 (QStringList{"finished 0003AB stuck failed(Cancelled)",
                              "update 0004AB notStarted(not started — the run was cancelled) 0",
                              "finished 0004AB notStarted(not started — the run was cancelled)",
                              "update 0005AB notStarted(not started — the run was cancelled) 0",
                              "finished 0005AB notStarted(not started — the run was cancelled)"}));
        QVERIFY(recorder.events.filter(QStringLiteral("command 0004AB")).isEmpty());
        // The stuck tool may be stopped before it records its run; the later jobs never start it.
        for (const QStringList& run : tools_->runs(QStringLiteral("ffmpeg")))
            QVERIFY(!run.join(u' ').contains(QStringLiteral("0004AB")) &&
                    !run.join(u' ').contains(QStringLiteral("0005AB")));
        QVERIFY(!QFileInfo::exists(jobs[2]->outputURL()));
    }

    void cancelBeforeTheToolStartsStillStopsIt()
    {
        // Reports progress, then waits to be stopped.
        tools_->configure(
            QStringLiteral("ffmpeg"),
            QStringLiteral("FAKE_STDOUT='out_time_ms=1000000\nprogress=continue\n'; FAKE_HANG=1"));
        const JobList jobs{job(QStringLiteral("0001AB")), job(QStringLiteral("0002AB"))};
        ConversionQueue queue;
        Recorder recorder;
        bool asked = false;
        // Cancels as soon as the job is marked converting, before the clip is even probed.
        const auto cancelFirst = [&](ConversionJob& updated) {
            if (!asked && updated.statusKind() == ClipStatus::Kind::converting) {
                asked = true;
                queue.cancel();
            }
        };
        QCoro::waitFor(
            queue.run(jobs, 0, ProResProfile::standard, false, false, cancelFirst,
                      [&](const ConversionQueue::JobOutcome& outcome) { recorder.outcomes << outcome; }));
        QCOMPARE(jobs[0]->status(), ClipStatus::failed(QStringLiteral("Cancelled")));
        QCOMPARE(jobs[1]->status(), ClipStatus::notStarted(RunStop::cancelled));
        QCOMPARE(recorder.outcomes.size(), 2);
    }

    void cancelKillsAToolDeafToTheSignal()
    {
        // Reports progress, then ignores the polite signal, as a tool stuck on a hung reader does.
        tools_->configure(QStringLiteral("ffmpeg"),
                          QStringLiteral("FAKE_STDOUT='out_time_ms=1000000\nprogress=continue\n'; "
                                         "FAKE_IGNORE_TERM=1; FAKE_HANG=1"));
        ToolLimits::Limits limits;
        limits.terminationGrace = std::chrono::milliseconds(300);
        ToolLimits::setForTesting(limits);
        const auto restore = qScopeGuard([] { ToolLimits::setForTesting({}); });
        const JobList jobs{job(QStringLiteral("0001AB")), job(QStringLiteral("0002AB"))};
        ConversionQueue queue;
        Recorder recorder;
        recorder.afterCommand = [&queue](ConversionJob&) {
            QTimer::singleShot(200, [&queue] { queue.cancel(); });
        };
        QElapsedTimer clock;
        clock.start();
        runAndWait(recorder, queue, jobs, false);
        // Ended within the grace, long before the stall watch would have.
        QVERIFY2(clock.elapsed() < 60000, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(jobs[0]->status(), ClipStatus::failed(QStringLiteral("Cancelled")));
        QCOMPARE(jobs[1]->status(), ClipStatus::notStarted(RunStop::cancelled));
        QVERIFY(!QFileInfo::exists(FFmpegService::temporaryPath(jobs[0]->outputURL())));
    }

    void cancelBeforeTheFirstJobHolds()
    {
        // The run prepares (clears old temporaries, estimates space) before its first job.
        ConversionQueue queue;
        queue.cancel();
        QVERIFY(queue.isCancelled());
        const auto only = job(QStringLiteral("0001AB"));
        Recorder recorder;
        runAndWait(recorder, queue, {only}, false);
        QVERIFY(queue.isCancelled());
        QCOMPARE(only->status(), ClipStatus::notStarted(RunStop::cancelled));
        QVERIFY(tools_->runs(QStringLiteral("ffmpeg")).isEmpty());
    }

    void aFullDiskEndsTheBatch()
    {
        tools_->configure(
            QStringLiteral("ffmpeg"),
            QStringLiteral("FAKE_STDERR='av_interleaved_write_frame(): No space left on device\n"
                           "Conversion failed!\n'; FAKE_EXIT=1"));
        const JobList jobs{job(QStringLiteral("0001AB")), job(QStringLiteral("0002AB"))};
        ConversionQueue queue;
        Recorder recorder;
        runAndWait(recorder, queue, jobs, false);
        QCOMPARE(jobs[0]->status(),
                 ClipStatus::failed(QStringLiteral(
                     "ffmpeg exited with code 1: av_interleaved_write_frame(): No space left on device")));
        QCOMPARE(jobs[1]->status().message, QStringLiteral("not started — the output folder’s disk is full"));
        QCOMPARE(queue.stop(), std::optional(RunStop::outputFull));
        QCOMPARE(tools_->runs(QStringLiteral("ffmpeg")).size(), 1);
    }

    void aVanishedCardEndsTheBatch()
    {
        // ffmpeg fails because the card was pulled out mid-run.
        tools_->configure(QStringLiteral("ffmpeg"),
                          QStringLiteral("rm -rf \"$(dirname \"$(dirname \"$5\")\")\"; "
                                         "FAKE_STDERR='No such file or directory\n'; FAKE_EXIT=1"));
        const JobList jobs{job(QStringLiteral("0001AB")), job(QStringLiteral("0002AB")),
                           job(QStringLiteral("0003AB"))};
        ConversionQueue queue;
        Recorder recorder;
        runAndWait(recorder, queue, jobs, false);
        QCOMPARE(jobs[0]->statusKind(), ClipStatus::Kind::failed);
        for (int i : {1, 2})
            QCOMPARE(jobs[i]->status().message,
                     QStringLiteral("not started — the card’s folder disappeared"));
        QCOMPARE(queue.stop(), std::optional(RunStop::cardGone));
        QCOMPARE(tools_->runs(QStringLiteral("ffmpeg")).size(), 1);
    }

    // --- The real tools ---

    void realBatchWithRealCancel()
    {
        // The stand-ins' folder goes first: it points the service away from tools as it goes.
        tools_.reset();
        tools_ = std::make_unique<ToolFolder>();
        TOLVANE_REQUIRE_REAL_TOOLS(*tools_);
        SyntheticCard::CardSpec plan;
        plan.clips = {SyntheticCard::clip(1, 2), SyntheticCard::clip(2, 0), SyntheticCard::clip(3, 1),
                      SyntheticCard::clip(4, 1)};
        const SyntheticCard::WrittenCard card =
            SyntheticCard::write(plan, work_->filePath(awkwardName(QStringLiteral(" card"))));

        JobList jobs;
        for (const SyntheticCard::WrittenClip& written : card.clips) {
            P2Clip clip;
            clip.videoURL = written.videoPath;
            clip.audioURLs = written.audioPaths;
            jobs << std::make_shared<ConversionJob>(clip,
                                                    output(QFileInfo(written.videoPath).completeBaseName()));
        }
        // The third clip's second audio file is a pipe nobody writes to: ffmpeg
        // waits on it for ever, so the cancel surely finds it running.
        const QString pipe = work_->filePath(QStringLiteral("never written"));
        QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        {
            P2Clip stuck = jobs[2]->clip();
            stuck.audioURLs << pipe;
            jobs[2] = std::make_shared<ConversionJob>(stuck, jobs[2]->outputURL());
        }

        ConversionQueue queue;
        Recorder recorder;
        recorder.afterCommand = [&queue, &jobs](ConversionJob& job) {
            if (&job == jobs[2].get())
                QTimer::singleShot(0, [&queue] { queue.cancel(); });
        };
        runAndWait(recorder, queue, jobs, false);

        for (int i : {0, 1}) {
            QVERIFY2(jobs[i]->status() == ClipStatus::completed(), qPrintable(describe(jobs[i]->status())));
            QCOMPARE(jobs[i]->progress(), 1.0);
            QVERIFY(QFileInfo(jobs[i]->outputURL()).size() > 0);
        }
        QVERIFY(QCoro::waitFor(FFmpegService::hasAudioStream(jobs[0]->outputURL())));
        QVERIFY(!QCoro::waitFor(FFmpegService::hasAudioStream(jobs[1]->outputURL())));
        QCOMPARE(jobs[2]->status(), ClipStatus::failed(QStringLiteral("Cancelled")));
        QVERIFY(!QFileInfo::exists(jobs[2]->outputURL()));
        QVERIFY(!QFileInfo::exists(FFmpegService::temporaryPath(jobs[2]->outputURL())));
        QCOMPARE(jobs[3]->status(), ClipStatus::notStarted(RunStop::cancelled));
        QCOMPARE(recorder.outcomes.size(), 4);
        QCOMPARE(recorder.events.filter(QStringLiteral("command")).size(), 3);

        // Run again with skipping: the finished movies stay, the rest is converted.
        const QDateTime firstWritten = QFileInfo(jobs[0]->outputURL()).lastModified();
        const JobList again{std::make_shared<ConversionJob>(jobs[0]->clip(), jobs[0]->outputURL()),
                            std::make_shared<ConversionJob>(jobs[3]->clip(), jobs[3]->outputURL())};
        ConversionQueue second;
        Recorder secondRecorder;
        runAndWait(secondRecorder, second, again, true);
        QCOMPARE(again[0]->status(), ClipStatus::skippedExisting());
        QCOMPARE(QFileInfo(jobs[0]->outputURL()).lastModified(), firstWritten);
        QCOMPARE(again[1]->status(), ClipStatus::completed());
        QVERIFY(QCoro::waitFor(FFmpegService::hasAudioStream(again[1]->outputURL())));
    }
};

QTEST_GUILESS_MAIN(ConversionQueueTest)
#include "ConversionQueueTest.moc"
