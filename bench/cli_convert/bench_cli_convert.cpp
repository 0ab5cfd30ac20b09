// Measures what a whole run of `tolvane-cli convert` costs beyond the
// conversions themselves: scanning and pairing, the per-clip probes and output
// checks, the logs and the debug report. A 10-clip DVCPRO HD card with four
// audio files per clip is converted by the CLI and by a shell script that runs
// the identical ffmpeg commands one after another, alternating, in one run.
// Also reports the CLI's own peak resident memory (its ffmpeg children are
// separate processes and not counted).
//
// Usage: bench_cli_convert [rounds] [seconds per clip]   (defaults 1 and 10)

#include "base/Platform.h"
#include "card/P2Scanner.h"
#include "card/Pairing.h"
#include "CommandRun.h"
#include "media/FFmpegService.h"
#include "SyntheticCard.h"

#include <algorithm>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QTextStream>
#include <stdexcept>

namespace {

QTextStream out(stdout);

// The process's peak resident set so far, in KiB, or 0 once it is gone.
qint64 peakResidentKiB(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    }
    return 0;
}

struct CliRun
{
    qint64 milliseconds = 0;
    qint64 peakKiB = 0;
};

// Runs the CLI with its preferences in `home`, so the stored defaults apply.
CliRun runCli(const QStringList& arguments, const QString& home)
{
    QProcess cli;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
    cli.setProcessEnvironment(environment);
    cli.setStandardOutputFile(QProcess::nullDevice());
    cli.setStandardErrorFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    cli.start(QStringLiteral(TOLVANE_CLI_PATH), arguments);
    if (!cli.waitForStarted(-1))
        throw std::runtime_error("tolvane-cli could not be started");
    CliRun run;
    // The high-water mark only grows, so polling it until the end finds the peak.
    while (!cli.waitForFinished(50))
        run.peakKiB = std::max(run.peakKiB, peakResidentKiB(cli.processId()));
    run.milliseconds = timer.elapsed();
    if (cli.exitStatus() != QProcess::NormalExit || cli.exitCode() != 0)
        throw std::runtime_error("tolvane-cli failed");
    return run;
}

qint64 runShellScript(const QString& script)
{
    QProcess shell;
    shell.setStandardOutputFile(QProcess::nullDevice());
    shell.setStandardErrorFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    shell.start(QStringLiteral("/bin/sh"), {script});
    shell.waitForFinished(-1);
    const qint64 elapsed = timer.elapsed();
    if (shell.exitStatus() != QProcess::NormalExit || shell.exitCode() != 0)
        throw std::runtime_error("the shell script's ffmpeg commands failed");
    return elapsed;
}

// The ffmpeg commands the CLI runs for `card` with the default settings, in
// its order, writing into `outputFolder`; `set -e` stops at the first failure.
QString shellScript(const QString& ffmpeg, const QString& card, const QString& outputFolder)
{
    const P2CardStructure structure = P2Scanner::scan(card);
    const P2MetadataParser::PairingResult pairing =
        QCoro::waitFor(P2MetadataParser::pairClips(structure, false));
    QStringList lines{QStringLiteral("set -e")};
    for (const P2Clip& clip : pairing.clips) {
        const std::optional<QString> timecode = QCoro::waitFor(FFmpegService::sourceTimecode(clip.videoURL));
        const QString output = QDir(outputFolder).filePath(clip.outputFilename(true));
        QStringList words{shellQuoted(ffmpeg)};
        for (const QString& argument : FFmpegService::buildArguments(
                 clip.videoURL, clip.audioURLs, 0, ProResProfile::standard, timecode, output))
            words.append(shellQuoted(argument));
        lines.append(words.join(u' '));
    }
    return lines.join(u'\n') + u'\n';
}

int run(int rounds, int secondsPerClip)
{
    const std::optional<QString> ffmpeg = FFmpegService::resolvedFFmpegPath();
    if (!ffmpeg || !FFmpegService::resolvedFFprobePath()) {
        out << "ffmpeg and ffprobe must be installed in "
            << Platform::current().toolFolders.join(QStringLiteral(" or ")) << '\n';
        return 1;
    }

    QTemporaryDir work;
    SyntheticCard::CardSpec plan;
    for (int n = 1; n <= 10; ++n) {
        SyntheticCard::ClipSpec clip = SyntheticCard::clip(n, 4);
        clip.codec = SyntheticCard::VideoCodec::DVCProHD1080;
        clip.frames = secondsPerClip * 30;
        plan.clips.push_back(clip);
    }
    plan.verification = SyntheticCard::Verification::FirstClip;
    out << QStringLiteral("Building a 10-clip DVCPRO HD card, %1 s per clip, 4 audio files each…\n")
               .arg(secondsPerClip)
        << Qt::flush;
    const QString card = SyntheticCard::write(plan, work.filePath(QStringLiteral("card"))).rootPath;
    const QString home = work.filePath(QStringLiteral("home"));
    QDir().mkpath(home);

    qint64 cliTotal = 0;
    qint64 shellTotal = 0;
    qint64 peakKiB = 0;
    for (int round = 1; round <= rounds; ++round) {
        const QString cliOutput = work.filePath(QStringLiteral("cli-%1").arg(round));
        const QString shellOutput = work.filePath(QStringLiteral("shell-%1").arg(round));
        QDir().mkpath(shellOutput);
        const QString script = work.filePath(QStringLiteral("convert-%1.sh").arg(round));
        QFile scriptFile(script);
        if (!scriptFile.open(QIODevice::WriteOnly) ||
            scriptFile.write(shellScript(*ffmpeg, card, shellOutput).toUtf8()) < 0)
            throw std::runtime_error("the shell script could not be written");
        scriptFile.close();

        // Alternating which goes first evens out caches and machine load.
        qint64 shell = 0;
        if (round % 2 == 0)
            shell = runShellScript(script);
        const CliRun cli =
            runCli({QStringLiteral("convert"), QStringLiteral("--output-folder"), cliOutput,
                    QStringLiteral("--profile"), QStringLiteral("standard"), QStringLiteral("--"), card},
                   home);
        if (round % 2 == 1)
            shell = runShellScript(script);
        cliTotal += cli.milliseconds;
        shellTotal += shell;
        peakKiB = std::max(peakKiB, cli.peakKiB);
        out << QStringLiteral("round %1: tolvane-cli %2 ms (peak RSS %3 MiB), shell %4 ms, ratio %5\n")
                   .arg(round)
                   .arg(cli.milliseconds)
                   .arg(double(cli.peakKiB) / 1024.0, 0, 'f', 1)
                   .arg(shell)
                   .arg(double(cli.milliseconds) / double(shell), 0, 'f', 3)
            << Qt::flush;
    }
    out << QStringLiteral("total: tolvane-cli %1 ms, shell %2 ms, ratio cli/shell %3 (goal <= 1.02)\n")
               .arg(cliTotal)
               .arg(shellTotal)
               .arg(double(cliTotal) / double(shellTotal), 0, 'f', 3);
    // Where the difference goes: the two steps of a run besides the conversions
    // that cost more than a moment, each run on its own.
    const CliRun scan = runCli({QStringLiteral("scan"), QStringLiteral("--"), card}, home);
    const CliRun report = runCli({QStringLiteral("debug-report"), QStringLiteral("--"), card}, home);
    out << QStringLiteral("alone: scan and pair %1 ms; scan, pair and debug report %2 ms\n")
               .arg(scan.milliseconds)
               .arg(report.milliseconds);
    out << QStringLiteral("peak resident memory of tolvane-cli: %1 MiB\n")
               .arg(double(peakKiB) / 1024.0, 0, 'f', 1);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, QString::fromLocal8Bit(argv[1]).toInt()) : 1;
    const int secondsPerClip = argc > 2 ? std::max(1, QString::fromLocal8Bit(argv[2]).toInt()) : 10;
    try {
        return run(rounds, secondsPerClip);
    } catch (const std::exception& error) {
        out << "failed: " << QString::fromUtf8(error.what()) << '\n';
        return 1;
    }
}
