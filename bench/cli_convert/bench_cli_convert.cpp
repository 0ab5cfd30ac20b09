// Measures what a whole run of `tolvane-cli convert` costs beyond the tools it
// runs. A 10-clip DVCPRO HD card with four audio files per clip is converted by
// the CLI and by two shell scripts, alternating, in one run:
// - the conversions alone: the identical ffmpeg conversion commands, one after
//   another;
// - every tool command: those conversions, each followed by the two checks of
//   its movie side by side, then the debug report's stream probes and level
//   measurements in its groups of six at a time, exactly as the CLI arranges
//   them, so the difference is the program itself: its start, scan and
//   pairing, coroutines, logs and reports.
// Also reports the CLI's own peak resident memory (its ffmpeg children are
// separate processes and not counted).
//
// Usage: bench_cli_convert [rounds] [seconds per clip]   (defaults 1 and 10)

#include "base/Platform.h"
#include "card/P2Scanner.h"
#include "card/Pairing.h"
#include "CommandRun.h"
#include "media/FFmpegService.h"
#include "media/ToolArguments.h"
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
        throw std::runtime_error("a shell script's tool commands failed");
    return elapsed;
}

QString commandLine(const QString& program, const QStringList& arguments)
{
    QStringList words{shellQuoted(program)};
    for (const QString& argument : arguments)
        words.append(shellQuoted(argument));
    return words.join(u' ');
}

// Runs `program` once per path listed, NUL-separated, in `listFile`, six at a
// time as the debug report does, in the background; `arguments` is the
// vector for the path "/@", which stands for each path in turn.
QString inParallel(const QString& program, QStringList arguments, const QString& listFile)
{
    arguments.replace(arguments.indexOf(QStringLiteral("/@")), QStringLiteral("{}"));
    return QStringLiteral("xargs -0 -P 6 -I{} ") + commandLine(program, arguments) + QStringLiteral(" < ") +
           shellQuoted(listFile) + QStringLiteral(" &");
}

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        throw std::runtime_error("a file of the shell scripts could not be written");
}

// The two scripts for `card` with the default settings, each writing its
// movies into a folder of its own; `set -e` stops either at the first failure.
struct ShellScripts
{
    QString conversions;
    QString everyCommand;
};

ShellScripts shellScripts(const QString& ffmpeg, const QString& ffprobe, const QString& card,
                          const QString& conversionsFolder, const QString& everyCommandFolder,
                          const QString& listFolder)
{
    const P2CardStructure structure = P2Scanner::scan(card);
    const P2MetadataParser::PairingResult pairing =
        QCoro::waitFor(P2MetadataParser::pairClips(structure, false));
    QStringList conversions{QStringLiteral("set -e")};
    QStringList everyCommand{QStringLiteral("set -e")};
    QByteArray videos;
    QByteArray audio;
    // One level measurement per clip, each a whole command line.
    QByteArray levels;
    for (const P2Clip& clip : pairing.clips) {
        const std::optional<QString> timecode = QCoro::waitFor(FFmpegService::sourceTimecode(clip.videoURL));
        const auto conversionInto = [&](const QString& folder) {
            return commandLine(ffmpeg, FFmpegService::buildArguments(
                                           clip.videoURL, clip.audioURLs, 0, ProResProfile::standard,
                                           timecode, QDir(folder).filePath(clip.outputFilename(true))));
        };
        conversions.append(conversionInto(conversionsFolder));
        const QString output = QDir(everyCommandFolder).filePath(clip.outputFilename(true));
        everyCommand << conversionInto(everyCommandFolder)
                     << commandLine(ffprobe, ToolArguments::videoFrames(output)) + QStringLiteral(" & p=$!")
                     << commandLine(ffprobe, ToolArguments::audioStreamIndex(output))
                     << QStringLiteral("wait $p");
        videos += QFile::encodeName(clip.videoURL) + '\0';
        if (!clip.audioURLs.isEmpty())
            levels += commandLine(ffmpeg, ToolArguments::volumeDetect(clip.audioURLs)).toUtf8() + '\0';
        for (const QString& path : clip.audioURLs)
            audio += QFile::encodeName(path) + '\0';
    }
    const QString videoList = QDir(listFolder).filePath(QStringLiteral("videos"));
    const QString audioList = QDir(listFolder).filePath(QStringLiteral("audio"));
    const QString levelList = QDir(listFolder).filePath(QStringLiteral("levels"));
    writeFile(videoList, videos);
    writeFile(audioList, audio);
    writeFile(levelList, levels);
    const QString marker = QStringLiteral("/@");
    everyCommand << inParallel(ffprobe, ToolArguments::probeFull(marker), videoList) + QStringLiteral(" v=$!")
                 << inParallel(ffprobe, ToolArguments::probeFull(marker), audioList) + QStringLiteral(" a=$!")
                 << QStringLiteral("xargs -0 -P 6 -I{} sh -c {} < ") + shellQuoted(levelList) +
                        QStringLiteral(" & l=$!")
                 << QStringLiteral("wait $v; wait $a; wait $l");
    return {conversions.join(u'\n') + u'\n', everyCommand.join(u'\n') + u'\n'};
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

    const QString ffprobe = *FFmpegService::resolvedFFprobePath();
    qint64 cliTotal = 0;
    qint64 conversionsTotal = 0;
    qint64 everyCommandTotal = 0;
    qint64 peakKiB = 0;
    for (int round = 1; round <= rounds; ++round) {
        const QString cliOutput = work.filePath(QStringLiteral("cli-%1").arg(round));
        const QString conversionsOutput = work.filePath(QStringLiteral("conversions-%1").arg(round));
        const QString everyCommandOutput = work.filePath(QStringLiteral("every-command-%1").arg(round));
        QDir().mkpath(conversionsOutput);
        QDir().mkpath(everyCommandOutput);
        const QString conversionsScript = work.filePath(QStringLiteral("conversions-%1.sh").arg(round));
        const QString everyCommandScript = work.filePath(QStringLiteral("every-command-%1.sh").arg(round));
        const ShellScripts scripts =
            shellScripts(*ffmpeg, ffprobe, card, conversionsOutput, everyCommandOutput, work.path());
        writeFile(conversionsScript, scripts.conversions.toUtf8());
        writeFile(everyCommandScript, scripts.everyCommand.toUtf8());

        // Turning which goes first evens out caches and machine load.
        CliRun cli;
        qint64 conversions = 0;
        qint64 everyCommand = 0;
        for (int turn = 0; turn < 3; ++turn) {
            switch ((round - 1 + turn) % 3) {
            case 0:
                cli = runCli({QStringLiteral("convert"), QStringLiteral("--output-folder"), cliOutput,
                              QStringLiteral("--profile"), QStringLiteral("standard"), QStringLiteral("--"),
                              card},
                             home);
                break;
            case 1:
                conversions = runShellScript(conversionsScript);
                break;
            case 2:
                everyCommand = runShellScript(everyCommandScript);
                break;
            }
        }
        cliTotal += cli.milliseconds;
        conversionsTotal += conversions;
        everyCommandTotal += everyCommand;
        peakKiB = std::max(peakKiB, cli.peakKiB);
        out << QStringLiteral("round %1: tolvane-cli %2 ms (peak RSS %3 MiB); shell: conversions alone %4 ms "
                              "(ratio %5), every tool command %6 ms (ratio %7)\n")
                   .arg(round)
                   .arg(cli.milliseconds)
                   .arg(double(cli.peakKiB) / 1024.0, 0, 'f', 1)
                   .arg(conversions)
                   .arg(double(cli.milliseconds) / double(conversions), 0, 'f', 3)
                   .arg(everyCommand)
                   .arg(double(cli.milliseconds) / double(everyCommand), 0, 'f', 3)
            << Qt::flush;
    }
    out << QStringLiteral("total: tolvane-cli %1 ms; conversions alone %2 ms, ratio %3; every tool command "
                          "%4 ms, ratio %5 (goal <= 1.02)\n")
               .arg(cliTotal)
               .arg(conversionsTotal)
               .arg(double(cliTotal) / double(conversionsTotal), 0, 'f', 3)
               .arg(everyCommandTotal)
               .arg(double(cliTotal) / double(everyCommandTotal), 0, 'f', 3);
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
