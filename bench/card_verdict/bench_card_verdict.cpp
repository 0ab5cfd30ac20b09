// How soon a dropped card gets its verdict, and what verifying it again costs.
//
// On a synthetic card of 100 clips with 4 audio files each (500 MXF files) it
// times, in one run and alternating them each round:
//   - the baseline: the material-package UMID of every file asked of ffprobe,
//     8 at a time, by `xargs -P 8` (what pairing cost when every file took one
//     ffprobe run);
//   - the first scan: scan + pair with nothing remembered from earlier rounds;
//   - verifying the unchanged card again: scan + pair once more, as "Verify
//     P2 Card" does.
//   - the clip list's rows, made on the GUI thread once the verdict is in
//     (thumbnails come later, off that thread), against the first scan: the
//     verdict is shown before them, so this is all the list adds to it.
// It prints the medians (of 5 rounds, or the number given as the only
// argument), the two ratios with their goals, and how the first scan found its
// facts: files read natively, and runs of ffprobe the reader could not spare.

#include "card/P2Scanner.h"
#include "card/Pairing.h"
#include "CardBench.h"
#include "media/ProbeCache.h"
#include "run/ClipRow.h"

#include <algorithm>
#include <cstdio>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <SyntheticCard.h>
#include <vector>

namespace {

constexpr int clipCount = 100;
constexpr int audioPerClip = 4;

double timeScan(const QString& root)
{
    QElapsedTimer clock;
    clock.start();
    const qsizetype clips = QCoro::waitFor(CardBench::scanAndPair(root));
    const double seconds = clock.nsecsElapsed() / 1e9;
    if (clips != clipCount)
        std::fprintf(stderr, "pairing verified %lld of %d clips\n", static_cast<long long>(clips), clipCount);
    return seconds;
}

double timeBaseline(const QString& ffprobe, const QStringList& files)
{
    QProcess xargs;
    QElapsedTimer clock;
    clock.start();
    CardBench::startUMIDQueries(xargs, ffprobe, files);
    xargs.waitForFinished(-1);
    const double seconds = clock.nsecsElapsed() / 1e9;
    CardBench::answeredEveryFile(xargs, files);
    return seconds;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, QString::fromLocal8Bit(argv[1]).toInt()) : 5;
    QTemporaryDir dir;
    SyntheticCard::CardSpec plan;
    for (int n = 1; n <= clipCount; ++n) {
        SyntheticCard::ClipSpec clip = SyntheticCard::clip(n, audioPerClip);
        clip.frames = 1;
        plan.clips.push_back(clip);
    }
    plan.verification = SyntheticCard::Verification::FirstClip;
    SyntheticCard::WrittenCard card;
    try {
        card = SyntheticCard::write(plan, dir.filePath(QStringLiteral("card")));
    } catch (const SyntheticCard::Error& error) {
        std::fprintf(stderr, "could not write the synthetic card: %s\n", error.what());
        return 1;
    }
    QStringList files;
    for (const SyntheticCard::WrittenClip& clip : card.clips)
        files << clip.videoPath << clip.audioPaths;
    const QString ffprobe = SyntheticCard::ffprobePath();

    std::vector<double> baseline, firstScan, verify;
    ProbeCache::Statistics first;
    for (int round = 0; round < rounds; ++round) {
        baseline.push_back(timeBaseline(ffprobe, files));
        ProbeCache::reset();
        firstScan.push_back(timeScan(card.rootPath));
        first = ProbeCache::statistics();
        verify.push_back(timeScan(card.rootPath));
    }
    const P2MetadataParser::PairingResult pairing =
        QCoro::waitFor(P2MetadataParser::pairClips(P2Scanner::scan(card.rootPath), false));
    std::vector<double> rows;
    for (int round = 0; round < rounds; ++round) {
        QElapsedTimer clock;
        clock.start();
        const QList<ClipRow> made = ClipRows::of(pairing.clips, pairing.entries, pairing.joinedShots, true);
        rows.push_back(clock.nsecsElapsed() / 1e9);
        if (made.size() != clipCount)
            std::fprintf(stderr, "the clip list has %lld rows\n", static_cast<long long>(made.size()));
    }
    const double baseSeconds = CardBench::median(baseline);
    const double firstSeconds = CardBench::median(firstScan);
    const double verifySeconds = CardBench::median(verify);
    std::printf("%d clips (%lld files), median of %d rounds:\n", clipCount,
                static_cast<long long>(files.size()), rounds);
    std::printf("  xargs -P 8 ffprobe UMID queries %.4f s\n", baseSeconds);
    std::printf("  first scan+pair %.4f s: ratio %.4f (goal <= 0.10); %d files read natively, %d ffprobe "
                "runs (goal 0)\n",
                firstSeconds, firstSeconds / baseSeconds, first.filesReadNatively, first.toolRuns);
    std::printf("  verify again (unchanged card) %.4f s: ratio to the first scan %.4f (goal <= 0.05)\n",
                verifySeconds, verifySeconds / firstSeconds);
    const double rowSeconds = CardBench::median(rows);
    std::printf("  clip list rows after the verdict %.5f s: ratio to the first scan %.4f (goal <= 0.01)\n",
                rowSeconds, rowSeconds / firstSeconds);
    return 0;
}
