// Usage: bench_backup [WORKDIR] [ROUNDS] [MEGABYTES] [FASTDIR]
//
// Makes a card of MEGABYTES (default 2048) of random, fully written bytes in
// WORKDIR (default: a folder under the system's temporary folder), then, in
// each round, alternating the baseline with Tolvane's:
//   copy     — `cp -a CARD DEST && sync`  against Tolvane's copy phase to one destination;
//   two      — Tolvane's copy phase to two destinations against one;
//   verify   — reading every copy back with its pages dropped first, against Tolvane's proving phase;
// and the speed of XXH64 in memory against the copy's, to show the checksum
// is never what limits it. With FASTDIR (a folder on another, faster file
// system, e.g. a tmpfs), the two-destination comparison writes there, so the
// card is read from the disk once either way and the second copy costs what
// it costs beyond the disk. The card's pages are dropped before every run.
// Prints the median of each ratio and the machine's load (uptime) at the start and end.

#include "backup/BackupEngine.h"
#include "backup/Xxh64.h"
#include "CardBench.h"

#include <cstdio>
#include <fcntl.h>
#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <unistd.h>
#include <vector>

namespace {

void say(const QString& text)
{
    std::printf("%s\n", text.toUtf8().constData());
    std::fflush(stdout);
}

QString uptime()
{
    QProcess process;
    process.start(QStringLiteral("uptime"), {});
    process.waitForFinished();
    return QString::fromLocal8Bit(process.readAllStandardOutput()).trimmed();
}

// A P2-like card: large video and audio essence plus small XML, every byte written.
void makeCard(const QString& card, qint64 megabytes)
{
    QRandomGenerator generator(2114);
    QByteArray chunk(8 * 1024 * 1024, Qt::Uninitialized);
    const qint64 clipBytes = 256LL * 1024 * 1024;
    qint64 left = megabytes * 1024 * 1024;
    for (int clip = 1; left > 0; ++clip) {
        const QString name = QStringLiteral("%1AB").arg(clip, 4, 10, QLatin1Char('0'));
        const QStringList files = {QStringLiteral("CONTENTS/VIDEO/%1.MXF").arg(name),
                                   QStringLiteral("CONTENTS/AUDIO/%100.MXF").arg(name),
                                   QStringLiteral("CONTENTS/CLIP/%1.XML").arg(name)};
        const qint64 sizes[] = {std::min(left, clipBytes * 3 / 4), std::min(left, clipBytes / 4), 6000};
        for (int i = 0; i < 3; ++i) {
            QDir().mkpath(QFileInfo(card + QLatin1Char('/') + files.at(i)).path());
            QFile file(card + QLatin1Char('/') + files.at(i));
            if (!file.open(QIODevice::WriteOnly))
                qFatal("cannot write the card");
            for (qint64 written = 0; written < sizes[i];) {
                generator.fillRange(reinterpret_cast<quint32*>(chunk.data()), chunk.size() / 4);
                const qint64 part = std::min<qint64>(chunk.size(), sizes[i] - written);
                file.write(chunk.constData(), part);
                written += part;
            }
            left -= sizes[i];
        }
    }
    QFile lastClip(card + QStringLiteral("/LASTCLIP.TXT"));
    lastClip.open(QIODevice::WriteOnly);
    lastClip.write("0001AB\n");
}

QStringList filesBelow(const QString& root)
{
    QStringList files;
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        files.append(it.next());
    files.sort();
    return files;
}

// Drops the pages of every file below `root`, so the next read reaches the disk.
void dropPages(const QString& root)
{
    ::sync();
    for (const QString& path : filesBelow(root)) {
        const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        ::close(fd);
    }
}

double seconds(const QElapsedTimer& timer)
{
    return timer.nsecsElapsed() / 1e9;
}

double copyWithCp(const QString& card, const QString& destination)
{
    QElapsedTimer timer;
    timer.start();
    if (QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-a"), card, destination}) != 0)
        qFatal("cp failed");
    ::sync();
    return seconds(timer);
}

// Reads every file below `root` back, each with its pages dropped first.
double readBack(const QString& root)
{
    QElapsedTimer timer;
    timer.start();
    QByteArray buffer(8 * 1024 * 1024, Qt::Uninitialized);
    for (const QString& path : filesBelow(root)) {
        const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
        while (::read(fd, buffer.data(), buffer.size()) > 0) {
        }
        ::close(fd);
    }
    return seconds(timer);
}

BackupResult backUp(const QString& card, const QStringList& destinations)
{
    BackupRequest request;
    request.card = card;
    request.destinations = destinations;
    request.hostName = QStringLiteral("bench");
    request.toolName = QStringLiteral("Tolvane");
    request.toolVersion = QStringLiteral("bench");
    BackupProgress progress;
    const BackupResult result = BackupEngine::run(request, progress);
    if (!result.isProven())
        qFatal("the backup failed: %s", qPrintable(result.problems.join(QLatin1Char(' '))));
    return result;
}

double xxh64GigabytesPerSecond()
{
    QByteArray bytes(256 * 1024 * 1024, 'x');
    QElapsedTimer timer;
    timer.start();
    Xxh64 hash;
    for (int i = 0; i < 4; ++i)
        hash.add(bytes);
    volatile quint64 sink = hash.digest();
    (void)sink;
    return 4 * 256.0 / 1024 / seconds(timer);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    QTemporaryDir scratch;
    const QString work = args.size() > 1 ? args.at(1) : scratch.path();
    const int rounds = args.size() > 2 ? std::max(1, args.at(2).toInt()) : 3;
    const qint64 megabytes = args.size() > 3 ? std::max(2048, args.at(3).toInt()) : 2048;
    const QString fast = args.size() > 4 ? args.at(4) : QString();

    say(QStringLiteral("load at start: %1").arg(uptime()));
    const QString card = work + QStringLiteral("/BENCHCARD");
    QDir(card).removeRecursively();
    makeCard(card, megabytes);
    const double cardGigabytes = megabytes / 1024.0;
    say(QStringLiteral("card: %1 GiB in %2 files")
            .arg(cardGigabytes, 0, 'f', 2)
            .arg(filesBelow(card).size()));

    std::vector<double> copyRatios, twoRatios, verifyRatios, copySpeeds;
    for (int round = 1; round <= rounds; ++round) {
        const QString one = work + QStringLiteral("/one");
        const QString two = (fast.isEmpty() ? work : fast) + QStringLiteral("/two");
        const QString three = (fast.isEmpty() ? work : fast) + QStringLiteral("/three");
        for (const QString& folder : {one, two, three}) {
            QDir(folder).removeRecursively();
            QDir().mkpath(folder);
        }

        // Baseline and ours alternate in order round by round.
        double cpSeconds = 0;
        BackupResult ours;
        const auto runCp = [&] {
            dropPages(card);
            cpSeconds = copyWithCp(card, one + QStringLiteral("/cp"));
        };
        const auto runOurs = [&] {
            dropPages(card);
            ours = backUp(card, {one});
        };
        if (round % 2 == 1) {
            runCp();
            runOurs();
        } else {
            runOurs();
            runCp();
        }
        dropPages(one + QStringLiteral("/BENCHCARD"));
        const double readSeconds = readBack(one + QStringLiteral("/BENCHCARD"));
        QDir(one).removeRecursively();

        // One destination against two, on the same kind of file system.
        dropPages(card);
        const BackupResult single = backUp(card, {two});
        QDir(two).removeRecursively();
        QDir().mkpath(two);
        dropPages(card);
        const BackupResult both = backUp(card, {two, three});
        QDir(two).removeRecursively();
        QDir(three).removeRecursively();

        copyRatios.push_back(ours.copySeconds / cpSeconds);
        twoRatios.push_back(both.copySeconds / single.copySeconds);
        verifyRatios.push_back(ours.verifySeconds / readSeconds);
        copySpeeds.push_back(cardGigabytes / ours.copySeconds);
        say(QStringLiteral("round %1: cp -a+sync %2 s, ours %3 s (×%4); one %5 s, two %6 s (×%7); "
                           "read back %8 s, ours verify %9 s (×%10)")
                .arg(round)
                .arg(cpSeconds, 0, 'f', 2)
                .arg(ours.copySeconds, 0, 'f', 2)
                .arg(copyRatios.back(), 0, 'f', 3)
                .arg(single.copySeconds, 0, 'f', 2)
                .arg(both.copySeconds, 0, 'f', 2)
                .arg(twoRatios.back(), 0, 'f', 3)
                .arg(readSeconds, 0, 'f', 2)
                .arg(ours.verifySeconds, 0, 'f', 2)
                .arg(verifyRatios.back(), 0, 'f', 3));
    }
    const double hashSpeed = xxh64GigabytesPerSecond();
    say(QStringLiteral(
            "median: copy ×%1 of cp -a+sync (bound 1.05), two destinations ×%2 of one (bound 1.1), "
            "verify ×%3 of reading back (bound 1.05)")
            .arg(CardBench::median(copyRatios), 0, 'f', 3)
            .arg(CardBench::median(twoRatios), 0, 'f', 3)
            .arg(CardBench::median(verifyRatios), 0, 'f', 3));
    say(QStringLiteral("XXH64 in memory: %1 GiB/s, %2× the copy's %3 GiB/s")
            .arg(hashSpeed, 0, 'f', 2)
            .arg(hashSpeed / CardBench::median(copySpeeds), 0, 'f', 1)
            .arg(CardBench::median(copySpeeds), 0, 'f', 2));
    say(QStringLiteral("load at end: %1").arg(uptime()));
    QDir(card).removeRecursively();
    return 0;
}
