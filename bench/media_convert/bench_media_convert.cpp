// Measures what the service adds to a conversion: the same 10-second DVCPRO HD
// clip with four audio files is converted through FFmpegService::convert and by
// the identical ffmpeg command run from /bin/sh, alternating, in one run.
//
// Usage: bench_media_convert [rounds]   (default 3)

#include "base/Platform.h"
#include "CommandRun.h"
#include "media/FFmpegError.h"
#include "media/FFmpegService.h"
#include "SyntheticCard.h"

#include <algorithm>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>
#include <stdexcept>

namespace {

QTextStream out(stdout);

struct ServiceRun
{
    qint64 milliseconds = 0;
    int progressCalls = 0;
};

QCoro::Task<ServiceRun> convertThroughService(SyntheticCard::WrittenClip clip, QString output)
{
    FFmpegService service;
    int calls = 0;
    QElapsedTimer timer;
    timer.start();
    co_await service.convert(clip.videoPath, clip.audioPaths, 0, ProResProfile::standard, output, nullptr,
                             [&calls](double) { ++calls; });
    co_return ServiceRun{timer.elapsed(), calls};
}

qint64 convertThroughShell(const QString& ffmpeg, const QStringList& arguments)
{
    QStringList words{shellQuoted(ffmpeg)};
    for (const QString& argument : arguments)
        words.append(shellQuoted(argument));
    QProcess shell;
    QElapsedTimer timer;
    timer.start();
    shell.start(QStringLiteral("/bin/sh"),
                {QStringLiteral("-c"), words.join(u' ') + QStringLiteral(" >/dev/null 2>&1")});
    shell.waitForFinished(-1);
    const qint64 elapsed = timer.elapsed();
    if (shell.exitCode() != 0)
        throw std::runtime_error("the shell's ffmpeg command failed");
    return elapsed;
}

} // namespace

int run(int rounds);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, QString::fromLocal8Bit(argv[1]).toInt()) : 3;
    try {
        return run(rounds);
    } catch (const std::exception& error) {
        out << "failed: " << QString::fromUtf8(error.what()) << '\n';
        return 1;
    }
}

int run(int rounds)
{
    const std::optional<QString> ffmpeg = FFmpegService::resolvedFFmpegPath();
    if (!ffmpeg || !FFmpegService::resolvedFFprobePath()) {
        out << "ffmpeg and ffprobe must be installed in "
            << Platform::current().toolFolders.join(QStringLiteral(" or ")) << '\n';
        return 1;
    }

    QTemporaryDir work;
    SyntheticCard::ClipSpec clip = SyntheticCard::clip(1, 4);
    clip.codec = SyntheticCard::VideoCodec::DVCProHD1080;
    clip.frames = 300;
    SyntheticCard::CardSpec card;
    card.clips = {clip};
    out << "Building a 10-second DVCPRO HD clip with 4 audio files…\n" << Qt::flush;
    const SyntheticCard::WrittenClip written =
        SyntheticCard::write(card, work.filePath("card")).clips.front();

    const QString serviceOutput = work.filePath("service/001.mov");
    const QString shellOutput = work.filePath("shell/001.mov");
    QDir().mkpath(work.filePath("shell"));
    const std::optional<QString> timecode = QCoro::waitFor(FFmpegService::sourceTimecode(written.videoPath));
    const QStringList shellArguments = FFmpegService::buildArguments(
        written.videoPath, written.audioPaths, 0, ProResProfile::standard, timecode, shellOutput);

    qint64 serviceTotal = 0;
    qint64 shellTotal = 0;
    int progressCalls = 0;
    QList<double> ratios;
    for (int round = 1; round <= rounds; ++round) {
        // Alternating which goes first evens out caches and machine load.
        qint64 shell = 0;
        ServiceRun service;
        if (round % 2 == 0)
            shell = convertThroughShell(*ffmpeg, shellArguments);
        service = QCoro::waitFor(convertThroughService(written, serviceOutput));
        if (round % 2 == 1)
            shell = convertThroughShell(*ffmpeg, shellArguments);
        serviceTotal += service.milliseconds;
        shellTotal += shell;
        progressCalls += service.progressCalls;
        ratios.append(double(service.milliseconds) / double(shell));
        out << QStringLiteral("round %1: service %2 ms (%3 progress calls), shell %4 ms, ratio %5\n")
                   .arg(round)
                   .arg(service.milliseconds)
                   .arg(service.progressCalls)
                   .arg(shell)
                   .arg(ratios.last(), 0, 'f', 3)
            << Qt::flush;
    }
    out << QStringLiteral("total: service %1 ms, shell %2 ms, ratio service/shell %3 (goal <= 1.02)\n")
               .arg(serviceTotal)
               .arg(shellTotal)
               .arg(double(serviceTotal) / double(shellTotal), 0, 'f', 3);
    // On a busy machine single rounds swing widely; the median resists that.
    std::sort(ratios.begin(), ratios.end());
    out << QStringLiteral("median round ratio %1\n").arg(ratios[ratios.size() / 2], 0, 'f', 3);
    out << QStringLiteral("progress callbacks: %1 per second of conversion (%2 in %3 rounds)\n")
               .arg(progressCalls * 1000.0 / double(serviceTotal), 0, 'f', 2)
               .arg(progressCalls)
               .arg(rounds);
    return 0;
}
