// How much scanning and pairing a card costs over the UMID probes it cannot
// avoid, and how long the event loop of the thread running it is held up.
//
// For synthetic cards of 50 and 200 clips (4 audio files each) it times, in one
// run, scan + pair against the same ffprobe UMID queries run 8 at a time by
// `xargs -P 8`, alternating the two and keeping the median of the rounds
// (3, or the number given as the only argument). The card was just written
// and read back, so both sides find it in the page cache.
// A 5 ms timer on the same thread records the event loop's longest stall during
// pairing, and, for comparison, while the loop idles during the baseline: on a
// busy machine the latter shows what the scheduler alone costs.

#include "CardBench.h"
#include "media/ProbeCache.h"

#include <algorithm>
#include <cstdio>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <SyntheticCard.h>
#include <vector>

namespace {

constexpr int tickIntervalMs = 5;

struct Timing
{
    double seconds = 0;
    double longestStallMs = 0;
};

// Watches this thread's event loop while it lives: the longest wait beyond
// its interval of a timer asking every 5 ms is the longest stall a window
// would feel.
class StallWatch
{
public:
    StallWatch()
    {
        ticker_.setTimerType(Qt::PreciseTimer);
        ticker_.setInterval(tickIntervalMs);
        QObject::connect(&ticker_, &QTimer::timeout, [this] {
            longestGapMs_ = std::max(longestGapMs_, sinceTick_.nsecsElapsed() / 1e6);
            sinceTick_.restart();
        });
        sinceTick_.start();
        ticker_.start();
    }

    double longestStallMs() const { return std::max(0.0, longestGapMs_ - tickIntervalMs); }

private:
    QTimer ticker_;
    QElapsedTimer sinceTick_;
    double longestGapMs_ = 0;
};

// Scan + pair on this thread's event loop, as the first scan of the card:
// nothing is remembered from an earlier round.
Timing timePairing(const QString& root, int expectedClips)
{
    ProbeCache::reset();
    const StallWatch watch;
    QElapsedTimer clock;
    clock.start();
    const qsizetype clips = QCoro::waitFor(CardBench::scanAndPair(root));
    const Timing timing{clock.nsecsElapsed() / 1e9, watch.longestStallMs()};
    if (clips != expectedClips)
        std::fprintf(stderr, "pairing verified %lld of %d clips\n", static_cast<long long>(clips),
                     expectedClips);
    return timing;
}

// The same material-package UMID queries, 8 at a time, by xargs, while this
// thread's event loop idles: its stalls here are the machine's, not pairing's.
Timing timeBaseline(const QString& ffprobe, const QStringList& files)
{
    QProcess xargs;
    QEventLoop loop;
    QObject::connect(&xargs, &QProcess::finished, &loop, &QEventLoop::quit);
    const StallWatch watch;
    QElapsedTimer clock;
    clock.start();
    CardBench::startUMIDQueries(xargs, ffprobe, files);
    loop.exec();
    const Timing timing{clock.nsecsElapsed() / 1e9, watch.longestStallMs()};
    CardBench::answeredEveryFile(xargs, files);
    return timing;
}

void benchmark(int clipCount, int rounds, const QString& folder)
{
    SyntheticCard::CardSpec plan;
    for (int n = 1; n <= clipCount; ++n) {
        SyntheticCard::ClipSpec clip = SyntheticCard::clip(n, 4);
        clip.frames = 1;
        plan.clips.push_back(clip);
    }
    plan.verification = SyntheticCard::Verification::VideoAndFirstAudio;
    const SyntheticCard::WrittenCard card = SyntheticCard::write(plan, folder);
    // The same files, in the order pairing probes them: videos, then audio.
    QStringList files;
    for (const SyntheticCard::WrittenClip& clip : card.clips)
        files.append(clip.videoPath);
    for (const SyntheticCard::WrittenClip& clip : card.clips)
        files.append(clip.audioPaths);
    const QString ffprobe = SyntheticCard::ffprobePath();

    std::vector<double> pairing;
    std::vector<double> baseline;
    double pairingStallMs = 0;
    double baselineStallMs = 0;
    for (int round = 0; round < rounds; ++round) {
        const Timing base = timeBaseline(ffprobe, files);
        const Timing run = timePairing(card.rootPath, clipCount);
        baseline.push_back(base.seconds);
        pairing.push_back(run.seconds);
        baselineStallMs = std::max(baselineStallMs, base.longestStallMs);
        pairingStallMs = std::max(pairingStallMs, run.longestStallMs);
    }
    const double pairSeconds = CardBench::median(pairing);
    const double baseSeconds = CardBench::median(baseline);
    std::printf(
        "%3d clips (%lld files): scan+pair %.3f s, xargs -P 8 baseline %.3f s, ratio %.3f (goal <= 1.10); "
        "longest event-loop stall during pairing %.1f ms (goal < 50), while idle during the baseline "
        "%.1f ms\n",
        clipCount, static_cast<long long>(files.size()), pairSeconds, baseSeconds, pairSeconds / baseSeconds,
        pairingStallMs, baselineStallMs);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, QString::fromLocal8Bit(argv[1]).toInt()) : 3;
    QTemporaryDir dir;
    try {
        for (const int clips : {50, 200})
            benchmark(clips, rounds, dir.filePath(QStringLiteral("card %1").arg(clips)));
    } catch (const SyntheticCard::Error& error) {
        std::fprintf(stderr, "could not write the synthetic card: %s\n", error.what());
        return 1;
    }
    return 0;
}
