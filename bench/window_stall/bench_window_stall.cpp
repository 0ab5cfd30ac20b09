// How long the main window's event loop is held up while a card of 50 clips
// (2 audio files each) scans and converts with the window open, against the
// same window idling for as long: the idle figure is what the machine and the
// scheduler cost alone. A 5 ms timer on the GUI thread records the gaps between
// its ticks; a gap is a stall of the loop (rendering included: the offscreen
// platform draws on the GUI thread). Reports the longest gap and the number of
// gaps over 50 ms in each stretch. Run offscreen:
//   QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software build/bench/window_stall/bench_window_stall

#include "media/FFmpegService.h"
#include "SyntheticCard.h"
#include "ToolFolder.h"
#include "UiTestSupport.h"

#include <cstdio>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

namespace {

using Phase = ConversionViewModel::Phase;

// The gaps between ticks of a 5 ms timer, from start() on.
class StallMeter
{
public:
    StallMeter()
    {
        m_timer.setInterval(5);
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, [this] { tick(); });
    }

    void start()
    {
        m_longestMs = 0;
        m_over50 = 0;
        m_clock.start();
        m_last = 0;
        m_timer.start();
    }

    void stop() { m_timer.stop(); }
    qint64 longestMs() const { return m_longestMs; }
    int over50() const { return m_over50; }

private:
    void tick()
    {
        const qint64 now = m_clock.elapsed();
        const qint64 gap = now - m_last;
        m_last = now;
        m_longestMs = std::max(m_longestMs, gap);
        if (gap > 50)
            ++m_over50;
    }

    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_last = 0;
    qint64 m_longestMs = 0;
    int m_over50 = 0;
};

void report(const char* stretch, const StallMeter& meter, qint64 durationMs)
{
    std::printf("%-10s %7.1f s   longest stall %4lld ms   stalls over 50 ms: %d\n", stretch,
                durationMs / 1000.0, static_cast<long long>(meter.longestMs()), meter.over50());
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
    QTemporaryDir work;
    SyntheticCard::CardSpec plan;
    for (int n = 1; n <= 50; ++n)
        plan.clips.push_back(SyntheticCard::clip(n, 2));
    const QString card = SyntheticCard::write(plan, work.filePath(QStringLiteral("CARD"))).rootPath;

    MainWindowFixture fixture;
    ConversionViewModel* const driver = fixture.session.context->driver();
    fixture.session.context->settings()->setOutputFolderPath(work.filePath(QStringLiteral("movies")));
    if (!fixture.window() || !QTest::qWaitForWindowExposed(fixture.window()))
        return 1;

    StallMeter meter;
    QElapsedTimer clock;
    meter.start();
    clock.start();
    driver->scan(card);
    QTest::qWaitFor([driver] { return driver->phase() == Phase::scanned; }, 600000);
    meter.stop();
    const qint64 scanMs = clock.elapsed();
    report("scan", meter, scanMs);
    if (driver->clips().size() != 50) {
        std::fprintf(stderr, "expected 50 clips, scanned %lld\n",
                     static_cast<long long>(driver->clips().size()));
        return 1;
    }

    meter.start();
    clock.restart();
    driver->start();
    QTest::qWaitFor(
        [driver] { return driver->phase() == Phase::finished && driver->debugReportGenerationTick() == 1; },
        1800000);
    meter.stop();
    const qint64 convertMs = clock.elapsed();
    report("convert", meter, convertMs);
    if (driver->summary()->converted != 50) {
        std::fprintf(stderr, "expected 50 converted, got %d\n", driver->summary()->converted);
        return 1;
    }

    // The baseline: the same window idling for as long as the scan and the run together.
    meter.start();
    clock.restart();
    QTest::qWait(static_cast<int>(std::min<qint64>(scanMs + convertMs, 60000)));
    meter.stop();
    report("idle", meter, clock.elapsed());
    FFmpegService::setToolDirectoriesForTesting({});
    return 0;
}
