// What the debug report of a large card costs, against a baseline in the same
// run. A synthetic card of 300 clips (four audio files each, as a camera
// records them) is written once; then, alternating in each round, this build's
// `tolvane-cli debug-report` and the baseline's are timed on it, each after the
// same `scan`, so both find the card in the page cache. The baseline is
// another build of tolvane-cli (an earlier version, to see what a change
// did); without one, this build's `scan` of the card, which every report
// begins with, is the baseline. The report's own step is the difference
// between the two.
//
// Usage: bench_debug_report [clips] [rounds] [baseline tolvane-cli]
//        (defaults 300, 3 and none)

#include "SyntheticCard.h"

#include <algorithm>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QTextStream>
#include <stdexcept>
#include <vector>

namespace {

QTextStream out(stdout);

// Runs `cli` with its preferences in `home` (none: the defaults apply) and
// gives the milliseconds it took.
qint64 timed(const QString& cli, const QStringList& arguments, const QString& home)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/.config"));
    process.setProcessEnvironment(environment);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    process.start(cli, arguments);
    process.waitForFinished(-1);
    const qint64 elapsed = timer.elapsed();
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        throw std::runtime_error(cli.toStdString() + " failed");
    return elapsed;
}

qint64 median(std::vector<qint64> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct Side
{
    QString name;
    QString cli;
    std::vector<qint64> scans;
    std::vector<qint64> reports;
};

// Prints the side's medians; gives the report's own step, the difference.
qint64 summarize(const Side& side)
{
    const qint64 report = median(side.reports);
    const qint64 scan = median(side.scans);
    out << QStringLiteral("median, %1: debug-report %2 ms, scan %3 ms, the report's own step %4 ms\n")
               .arg(side.name)
               .arg(report)
               .arg(scan)
               .arg(report - scan);
    return report - scan;
}

int run(int clips, int rounds, const QString& baselineCli)
{
    QTemporaryDir work;
    SyntheticCard::CardSpec plan;
    for (int n = 1; n <= clips; ++n)
        plan.clips.push_back(SyntheticCard::clip(n));
    const QString card = SyntheticCard::write(plan, work.filePath(QStringLiteral("CARD"))).rootPath;
    const QString home = work.filePath(QStringLiteral("home"));
    out << QStringLiteral("card: %1 clips of %2 audio files each\n")
               .arg(clips)
               .arg(plan.clips.front().audioCount)
        << Qt::flush;

    std::vector<Side> sides{{QStringLiteral("this build"), QStringLiteral(TOLVANE_CLI_PATH), {}, {}}};
    if (!baselineCli.isEmpty())
        sides.push_back({QStringLiteral("baseline"), baselineCli, {}, {}});
    for (int round = 1; round <= rounds; ++round) {
        // Alternating which goes first, so neither always finds the other's traces.
        for (std::size_t turn = 0; turn < sides.size(); ++turn) {
            Side& side = sides[(turn + std::size_t(round)) % sides.size()];
            side.scans.push_back(timed(side.cli, {QStringLiteral("scan"), QStringLiteral("--"), card}, home));
            side.reports.push_back(
                timed(side.cli, {QStringLiteral("debug-report"), QStringLiteral("--"), card}, home));
            out << QStringLiteral("round %1, %2: scan %3 ms, debug-report %4 ms\n")
                       .arg(round)
                       .arg(side.name)
                       .arg(side.scans.back())
                       .arg(side.reports.back())
                << Qt::flush;
        }
    }
    const qint64 step = summarize(sides.front());
    if (sides.size() == 1) {
        const qint64 scan = median(sides.front().scans);
        out << QStringLiteral("ratio of debug-report to scan: %1\n")
                   .arg(double(scan + step) / double(scan), 0, 'f', 2);
        return 0;
    }
    const qint64 baselineStep = summarize(sides.back());
    out << QStringLiteral("ratio of the report's own step to the baseline's: %1\n")
               .arg(double(step) / double(std::max<qint64>(1, baselineStep)), 0, 'f', 3);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int clips = argc > 1 ? std::max(1, QString::fromLocal8Bit(argv[1]).toInt()) : 300;
    const int rounds = argc > 2 ? std::max(1, QString::fromLocal8Bit(argv[2]).toInt()) : 3;
    const QString baseline = argc > 3 ? QString::fromLocal8Bit(argv[3]) : QString();
    try {
        return run(clips, rounds, baseline);
    } catch (const std::exception& error) {
        out << "failed: " << QString::fromUtf8(error.what()) << '\n';
        return 1;
    }
}
