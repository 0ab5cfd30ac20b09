// Measures what joining costs: a shot of four DVCPRO HD pieces with four audio
// files each is converted through FFmpegService::convertJoined into one movie
// and, as the baseline, piece by piece through FFmpegService::convert into
// four movies, alternating, in one run.
//
// Usage: bench_spanned_join [rounds] [frames per piece]   (default 3, 150)

#include "media/FFmpegService.h"
#include "SyntheticCard.h"

#include <algorithm>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTextStream>
#include <stdexcept>

namespace {

QTextStream out(stdout);

QCoro::Task<qint64> convertJoined(QList<EssenceInputs> pieces, QString output)
{
    FFmpegService service;
    QElapsedTimer timer;
    timer.start();
    QCoro::Task<std::optional<double>> conversion =
        service.convertJoined(pieces, 0, ProResProfile::standard, output, nullptr, nullptr);
    co_await conversion;
    co_return timer.elapsed();
}

QCoro::Task<qint64> convertSeparately(QList<EssenceInputs> pieces, QString folder)
{
    FFmpegService service;
    QElapsedTimer timer;
    timer.start();
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        QCoro::Task<std::optional<double>> conversion = service.convert(
            pieces[i].videoPath, pieces[i].audioPaths, 0, ProResProfile::standard,
            folder + QStringLiteral("/%1.mov").arg(i + 1, 3, 10, QLatin1Char('0')), nullptr, nullptr);
        co_await conversion;
    }
    co_return timer.elapsed();
}

} // namespace

int run(int rounds, int frames);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, QString::fromLocal8Bit(argv[1]).toInt()) : 3;
    const int frames = argc > 2 ? std::max(1, QString::fromLocal8Bit(argv[2]).toInt()) : 150;
    try {
        return run(rounds, frames);
    } catch (const std::exception& error) {
        out << "failed: " << QString::fromUtf8(error.what()) << '\n';
        return 1;
    }
}

int run(int rounds, int frames)
{
    if (!FFmpegService::resolvedFFmpegPath() || !FFmpegService::resolvedFFprobePath()) {
        out << "ffmpeg and ffprobe must be installed in /opt/homebrew/bin or /usr/local/bin\n";
        return 1;
    }

    QTemporaryDir work;
    SyntheticCard::CardSpec card;
    card.clips = SyntheticCard::spannedShot(1,
                                            {QStringLiteral("0158Q5"), QStringLiteral("0159E2"),
                                             QStringLiteral("0161VE"), QStringLiteral("0163K1")},
                                            frames, 4);
    for (SyntheticCard::ClipSpec& piece : card.clips)
        piece.codec = SyntheticCard::VideoCodec::DVCProHD1080;
    out << QStringLiteral("Building a shot of 4 DVCPRO HD pieces of %1 frames with 4 audio files each…\n")
               .arg(frames)
        << Qt::flush;
    QList<EssenceInputs> pieces;
    for (const SyntheticCard::WrittenClip& clip : SyntheticCard::write(card, work.filePath("card")).clips)
        pieces.append({clip.videoPath, clip.audioPaths});

    qint64 joinedTotal = 0;
    qint64 separateTotal = 0;
    QList<double> ratios;
    for (int round = 1; round <= rounds; ++round) {
        // Alternating which goes first evens out caches and machine load.
        qint64 separate = 0;
        if (round % 2 == 0)
            separate = QCoro::waitFor(convertSeparately(pieces, work.filePath("separate")));
        const qint64 joined = QCoro::waitFor(convertJoined(pieces, work.filePath("joined/001.mov")));
        if (round % 2 == 1)
            separate = QCoro::waitFor(convertSeparately(pieces, work.filePath("separate")));
        joinedTotal += joined;
        separateTotal += separate;
        ratios.append(double(joined) / double(separate));
        out << QStringLiteral("round %1: joined %2 ms, separately %3 ms, ratio %4\n")
                   .arg(round)
                   .arg(joined)
                   .arg(separate)
                   .arg(ratios.last(), 0, 'f', 3)
            << Qt::flush;
    }
    out << QStringLiteral(
               "total: joined %1 ms, separately %2 ms, ratio joined/separately %3 (goal <= 1.03)\n")
               .arg(joinedTotal)
               .arg(separateTotal)
               .arg(double(joinedTotal) / double(separateTotal), 0, 'f', 3);
    // On a busy machine single rounds swing widely; the median resists that.
    std::sort(ratios.begin(), ratios.end());
    out << QStringLiteral("median round ratio %1\n").arg(ratios[ratios.size() / 2], 0, 'f', 3);
    return 0;
}
