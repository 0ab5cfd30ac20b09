// How long the main window's event loop is held up while a card of 200 clips
// (2 audio files each; every other one with the camera's ICON bitmap) scans,
// loads the clip list's thumbnails (bitmaps, and frames ffmpeg takes of the
// others), scrolls that list from end to end and back, and converts, with the
// window open, against the same window idling for as long: the idle figure is
// what the machine and the scheduler cost alone. `--clips N` changes the
// card's size. A 5 ms timer on the GUI thread records the gaps between
// its ticks; a gap is a stall of the loop (rendering included: the offscreen
// platform draws on the GUI thread). Reports the longest gap and the number of
// gaps over 16 ms (a frame at 60 Hz) and over 50 ms in each stretch.
//
// A gap is the GUI thread's own work, time it waited for a free core, and
// time it slept. For the longest gap the first two are shown (from the
// thread's CPU clock and the kernel's run-queue account), and "own work" is
// the most CPU time the GUI thread spent in any one gap: the part of a stall
// that is Tolvane's doing whatever the machine's load. How many gaps held over
// 8 ms of own work (half a frame at 60 Hz) says whether the longest was a
// lone one. `--gaps` also lists every gap of 5 ms or more of own work as it
// ends, on the system's monotonic clock (as `perf record -k CLOCK_MONOTONIC`
// stamps its samples), to find what the window did then. Run offscreen:
//   QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software build/bench/window_stall/bench_window_stall

#include "media/FFmpegService.h"
#include "SyntheticCard.h"
#include "ToolFolder.h"
#include "ui/ClipListModel.h"
#include "UiTestSupport.h"

#include <cstdio>
#include <ctime>
#include <functional>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QQuickItem>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

namespace {

using Phase = ConversionViewModel::Phase;

// The GUI thread's CPU time and the time it has waited for a core, both in
// nanoseconds; the wait is zero where the kernel keeps no account of it.
struct ThreadClock
{
    qint64 cpu = 0;
    qint64 waited = 0;

    static ThreadClock now(QFile& schedstat)
    {
        ThreadClock clock;
        timespec cpu{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &cpu);
        clock.cpu = qint64(cpu.tv_sec) * 1000000000 + cpu.tv_nsec;
        // Linux: run time, then time spent runnable but waiting on a run queue.
        if (schedstat.isOpen() && schedstat.seek(0)) {
            // One read: unbuffered, a line would be read a byte at a time.
            const QList<QByteArray> fields = schedstat.read(128).split(' ');
            clock.waited = fields.value(1).toLongLong();
        }
        return clock;
    }
};

// The gaps between ticks of a 5 ms timer, from start() on.
class StallMeter
{
public:
    explicit StallMeter(bool listGaps)
        : m_schedstat(QStringLiteral("/proc/thread-self/schedstat")), m_listGaps(listGaps)
    {
        // Opened on the GUI thread, whose account it reads.
        (void)m_schedstat.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        m_timer.setInterval(5);
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, [this] { tick(); });
    }

    void start()
    {
        m_longestMs = 0;
        m_longestCpuMs = 0;
        m_longestWaitedMs = 0;
        m_ownWorkMs = 0;
        m_over16 = 0;
        m_over50 = 0;
        m_ownOver8 = 0;
        m_clock.start();
        m_last = 0;
        m_lastThread = ThreadClock::now(m_schedstat);
        m_timer.start();
    }

    void stop() { m_timer.stop(); }

    void report(const char* stretch, qint64 durationMs) const
    {
        std::printf("%-8s %6.1f s   longest stall %4lld ms (own work %3lld ms, waiting for a core %3lld ms)"
                    "   stalls over 16 ms: %3d, over 50 ms: %3d   longest own work %3lld ms   own work over "
                    "8 ms: %3d\n",
                    stretch, durationMs / 1000.0, static_cast<long long>(m_longestMs),
                    static_cast<long long>(m_longestCpuMs), static_cast<long long>(m_longestWaitedMs),
                    m_over16, m_over50, static_cast<long long>(m_ownWorkMs), m_ownOver8);
        std::fflush(stdout);
    }

private:
    void tick()
    {
        const qint64 now = m_clock.elapsed();
        const qint64 gap = now - m_last;
        const ThreadClock thread = ThreadClock::now(m_schedstat);
        const qint64 cpuMs = (thread.cpu - m_lastThread.cpu) / 1000000;
        const qint64 waitedMs = (thread.waited - m_lastThread.waited) / 1000000;
        m_last = now;
        m_lastThread = thread;
        if (gap > m_longestMs) {
            m_longestMs = gap;
            m_longestCpuMs = cpuMs;
            m_longestWaitedMs = waitedMs;
        }
        m_ownWorkMs = std::max(m_ownWorkMs, cpuMs);
        if (gap > 16)
            ++m_over16;
        if (gap > 50)
            ++m_over50;
        if (cpuMs > 8)
            ++m_ownOver8;
        if (m_listGaps && cpuMs >= 5) {
            timespec ended{};
            clock_gettime(CLOCK_MONOTONIC, &ended);
            std::printf("  gap ended at %lld.%06ld s: %lld ms, own work %lld ms\n",
                        static_cast<long long>(ended.tv_sec), ended.tv_nsec / 1000,
                        static_cast<long long>(gap), static_cast<long long>(cpuMs));
        }
    }

    QFile m_schedstat;
    const bool m_listGaps;
    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_last = 0;
    ThreadClock m_lastThread;
    qint64 m_longestMs = 0;
    qint64 m_longestCpuMs = 0;
    qint64 m_longestWaitedMs = 0;
    qint64 m_ownWorkMs = 0;
    int m_over16 = 0;
    int m_over50 = 0;
    int m_ownOver8 = 0;
};

// Waits the way the app does, in an event loop that sleeps until its next
// event or timer. QTest's waits sleep 10 ms at a time between turns of the
// loop, and those sleeps would be counted as stalls of the window.
bool waitUntil(const std::function<bool()>& done, int timeoutMs)
{
    QEventLoop loop;
    QTimer poll;
    poll.setInterval(20);
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done())
            loop.quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    if (done())
        return true;
    poll.start();
    loop.exec();
    return done();
}

void idleFor(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

int main(int argc, char* argv[])
{
    QGuiApplication app(argc, argv);
    prepareUiTestProcess();
    ToolFolder tools;
    if (!tools.addReal(QStringLiteral("ffmpeg")) || !tools.addReal(QStringLiteral("ffprobe"))) {
        std::fprintf(stderr, "ffmpeg and ffprobe are needed\n");
        return 1;
    }
    FFmpegService::setToolDirectoriesForTesting({tools.path()});
    const QStringList arguments = QCoreApplication::arguments();
    const qsizetype clipsOption = arguments.indexOf(QStringLiteral("--clips"));
    const int clipCount = clipsOption > 0 ? arguments.value(clipsOption + 1).toInt() : 200;
    if (clipCount < 1) {
        std::fprintf(stderr, "--clips needs a number of clips\n");
        return 1;
    }
    QTemporaryDir work;
    SyntheticCard::CardSpec plan;
    plan.verification = SyntheticCard::Verification::FirstClip;
    for (int n = 1; n <= clipCount; ++n) {
        plan.clips.push_back(SyntheticCard::clip(n, 2));
        plan.clips.back().writeIcon = n % 2 == 0;
    }
    const QString card = SyntheticCard::write(plan, work.filePath(QStringLiteral("CARD"))).rootPath;

    MainWindowFixture fixture;
    ConversionViewModel* const driver = fixture.session.context->driver();
    fixture.session.context->settings()->setOutputFolderPath(work.filePath(QStringLiteral("movies")));
    // A busy machine may take a while to show the window.
    if (!fixture.window() || !QTest::qWaitForWindowExposed(fixture.window(), 60000)) {
        std::fprintf(stderr, "the main window was not shown\n");
        return 1;
    }

    auto* const list = qobject_cast<QQuickItem*>(fixture.find(QStringLiteral("clipList")));
    auto* const model =
        list ? qobject_cast<ClipListModel*>(list->property("model").value<QObject*>()) : nullptr;
    if (!model) {
        std::fprintf(stderr, "the window has no clip list\n");
        return 1;
    }

    // The scan's stretch lasts until the list shows the card, its rows built.
    StallMeter meter(arguments.contains(QStringLiteral("--gaps")));
    QElapsedTimer clock;
    meter.start();
    clock.start();
    driver->scan(card);
    if (!waitUntil([driver] { return driver->phase() == Phase::scanned; }, 600000)) {
        std::fprintf(stderr, "the scan did not end within 10 minutes\n");
        return 1;
    }
    if (!waitUntil([model, clipCount] { return model->rowCount() == clipCount; }, 60000)) {
        std::fprintf(stderr, "the clip list does not show the card\n");
        return 1;
    }
    meter.stop();
    const qint64 scanMs = clock.elapsed();
    meter.report("scan", scanMs);
    if (driver->clips().size() != clipCount) {
        std::fprintf(stderr, "expected %d clips, scanned %lld\n", clipCount,
                     static_cast<long long>(driver->clips().size()));
        return 1;
    }

    // The thumbnails arrive after the verdict, while the window shows the card.
    const auto allThumbnails = [model] {
        for (int row = 0; row < model->rowCount(); ++row)
            if (model->index(row).data(ClipListModel::ThumbnailRole).toString().isEmpty())
                return false;
        return true;
    };
    meter.start();
    clock.restart();
    if (!waitUntil(allThumbnails, 600000)) {
        std::fprintf(stderr, "the thumbnails did not all arrive within 10 minutes\n");
        return 1;
    }
    meter.stop();
    meter.report("thumbs", clock.elapsed());

    // Scrolling: the list moves a row's height every frame, to its end and back.
    meter.start();
    clock.restart();
    const double end = list->property("contentHeight").toDouble() - list->height();
    for (int pass = 0; pass < 2; ++pass) {
        for (double y = 0; y <= end; y += 64) {
            list->setProperty("contentY", pass == 0 ? y : end - y);
            idleFor(16);
        }
    }
    meter.stop();
    meter.report("scroll", clock.elapsed());

    meter.start();
    clock.restart();
    driver->start();
    if (!waitUntil(
            [driver] {
                return driver->phase() == Phase::finished && driver->debugReportGenerationTick() == 1;
            },
            1800000)) {
        std::fprintf(stderr, "the run did not end within 30 minutes\n");
        return 1;
    }
    meter.stop();
    const qint64 convertMs = clock.elapsed();
    meter.report("convert", convertMs);
    if (driver->summary()->converted != clipCount) {
        std::fprintf(stderr, "expected %d converted, got %d\n", clipCount, driver->summary()->converted);
        return 1;
    }

    // The baseline: the same window idling for as long as the scan and the run together.
    meter.start();
    clock.restart();
    idleFor(static_cast<int>(std::min<qint64>(scanMs + convertMs, 60000)));
    meter.stop();
    meter.report("idle", clock.elapsed());
    FFmpegService::setToolDirectoriesForTesting({});
    return 0;
}
