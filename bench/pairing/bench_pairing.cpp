// How much scanning and pairing a card costs over the UMID probes it cannot
// avoid, and how long the event loop of the thread running it is held up.
//
// For synthetic cards of 50 and 200 clips (4 audio files each) it times, in one
// run, scan + pair against the same ffprobe UMID queries run 8 at a time by
// `xargs -P 8`, alternating the two and keeping the median of the rounds
// (3, or the number given as the only argument). The card was just written
// and read back, so both sides find it in the page cache.
// While pairing runs, a 5 ms timer on the same thread records the longest gap
// between its ticks beyond its interval: the longest stall a window would see.

#include "card/P2Scanner.h"
#include "card/Pairing.h"

#include <algorithm>
#include <cstdio>
#include <QCoreApplication>
#include <QCoroFuture>
#include <QElapsedTimer>
#include <QProcess>
#include <QtConcurrent>
#include <QTemporaryDir>
#include <QTimer>
#include <SyntheticCard.h>
#include <vector>

namespace {

constexpr int tickIntervalMs = 5;

struct PairingRun
{
    double seconds = 0;
    double longestStallMs = 0;
    qsizetype clips = 0;
};

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

QCoro::Task<PairingRun> scanAndPair(QString root)
{
    QElapsedTimer clock;
    clock.start();
    const P2CardStructure structure = co_await QtConcurrent::run(P2Scanner::scan, root);
    const P2MetadataParser::PairingResult result = co_await P2MetadataParser::pairClips(structure, false);
    co_return PairingRun{clock.nsecsElapsed() / 1e9, 0, result.clips.size()};
}

// Scan + pair on this thread's event loop, watched by a ticking timer.
PairingRun timePairing(const QString& root)
{
    QElapsedTimer sinceTick;
    double longestGapMs = 0;
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    ticker.setInterval(tickIntervalMs);
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        longestGapMs = std::max(longestGapMs, sinceTick.nsecsElapsed() / 1e6);
        sinceTick.restart();
    });
    sinceTick.start();
    ticker.start();
    PairingRun run = QCoro::waitFor(scanAndPair(root));
    ticker.stop();
    run.longestStallMs = std::max(0.0, longestGapMs - tickIntervalMs);
    return run;
}

// The same material-package UMID queries, 8 at a time, by xargs.
double timeBaseline(const QString& ffprobe, const QStringList& files)
{
    QByteArray list;
    for (const QString& file : files)
        list += file.toUtf8() + '\0';
    QProcess xargs;
    xargs.setProcessChannelMode(QProcess::SeparateChannels);
    QElapsedTimer clock;
    clock.start();
    xargs.start(QStringLiteral("xargs"),
                {QStringLiteral("-0"), QStringLiteral("-P"), QStringLiteral("8"), QStringLiteral("-n"),
                 QStringLiteral("1"), ffprobe, QStringLiteral("-v"), QStringLiteral("error"),
                 QStringLiteral("-show_entries"), QStringLiteral("format_tags=material_package_umid"),
                 QStringLiteral("-of"), QStringLiteral("default=noprint_wrappers=1:nokey=1")});
    xargs.write(list);
    xargs.closeWriteChannel();
    xargs.waitForFinished(-1);
    const double seconds = clock.nsecsElapsed() / 1e9;
    if (xargs.exitCode() != 0 || xargs.readAllStandardOutput().count('\n') != files.size())
        std::fprintf(stderr, "xargs baseline did not probe every file\n");
    return seconds;
}

void benchmark(int clipCount, int rounds, const QString& folder)
{
    SyntheticCard::CardSpec spec;
    for (int n = 1; n <= clipCount; ++n) {
        SyntheticCard::ClipSpec clip = SyntheticCard::clip(n, 4);
        clip.frames = 1;
        spec.clips.push_back(clip);
    }
    spec.verification = SyntheticCard::Verification::VideoAndFirstAudio;
    const SyntheticCard::WrittenCard card = SyntheticCard::write(spec, folder);
    // The same files, in the order pairing probes them: videos, then audio.
    QStringList files;
    for (const SyntheticCard::WrittenClip& clip : card.clips)
        files.append(clip.videoPath);
    for (const SyntheticCard::WrittenClip& clip : card.clips)
        files.append(clip.audioPaths);
    const QString ffprobe = SyntheticCard::ffprobePath();

    std::vector<double> pairing;
    std::vector<double> baseline;
    double longestStallMs = 0;
    for (int round = 0; round < rounds; ++round) {
        baseline.push_back(timeBaseline(ffprobe, files));
        const PairingRun run = timePairing(card.rootPath);
        if (run.clips != clipCount)
            std::fprintf(stderr, "pairing verified %lld of %d clips\n", static_cast<long long>(run.clips),
                         clipCount);
        pairing.push_back(run.seconds);
        longestStallMs = std::max(longestStallMs, run.longestStallMs);
    }
    const double pairSeconds = median(pairing);
    const double baseSeconds = median(baseline);
    std::printf(
        "%3d clips (%lld files): scan+pair %.3f s, xargs -P 8 baseline %.3f s, ratio %.3f (goal <= 1.10), "
        "longest event-loop stall %.1f ms (goal < 50)\n",
        clipCount, static_cast<long long>(files.size()), pairSeconds, baseSeconds, pairSeconds / baseSeconds,
        longestStallMs);
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
