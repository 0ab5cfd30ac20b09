// Usage: bench_backup [WORKDIR] [ROUNDS] [MEGABYTES] [FASTDIR]
//
// Makes a card of MEGABYTES (default 2048, at least 2048) of random, fully
// written bytes in WORKDIR (default: a folder under the system's temporary
// folder), then runs ROUNDS (default 5) rounds of three pairs, each pair
// baseline and Tolvane's in turn, the baseline first in odd rounds and second
// in even ones, so the machine's load weighs on both sides alike:
//   copy     — `cp -a CARD DEST && sync` against Tolvane's copy phase to one destination;
//   verify   — a plain read-back of that copy against Tolvane's verification
//              of it (verify-backup: read back and checksummed); both drop
//              each file's pages before reading it and after, as the proving
//              phase does, and start with the copy's pages dropped. The
//              proving phase of the backup just made is set against the same
//              read-back;
//   two      — Tolvane's copy phase to two destinations against one.
// The card's pages are dropped before every copy. Two destinations are meant
// to be two drives: with FASTDIR (a folder on another file system, e.g. a
// tmpfs standing for a second drive) the second copy of the two-destination
// pair is written there, the first beside the single copy in WORKDIR; without
// it, both copies share WORKDIR's disk, which then takes twice the writes. Prints every round, the median of
// each ratio, the speed of XXH64 in memory against the read-back's and the backup's own processor time
// against its duration (the checksum must never be what limits a phase), and the machine's load (uptime) at
// the start and end.

#include "backup/BackupEngine.h"
#include "backup/BackupVerifier.h"
#include "backup/DiskFile.h"
#include "backup/Xxh64.h"
#include "CardBench.h"

#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <sys/resource.h>
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

// A P2-like card, every byte written: per clip its video essence, four audio
// channels, the clip's XML and the camera's thumbnail bitmap.
void makeCard(const QString& card, qint64 megabytes)
{
    QRandomGenerator generator(2114);
    QByteArray chunk(8 * 1024 * 1024, Qt::Uninitialized);
    const qint64 clipBytes = 256LL * 1024 * 1024;
    qint64 left = megabytes * 1024 * 1024;
    for (int clip = 1; left > 0; ++clip) {
        const QString name = QStringLiteral("%1AB").arg(clip, 4, 10, QLatin1Char('0'));
        QList<std::pair<QString, qint64>> files = {
            {QStringLiteral("CONTENTS/VIDEO/%1.MXF").arg(name), std::min(left, clipBytes * 3 / 4)}};
        for (int channel = 0; channel < 4; ++channel)
            files.append(
                {QStringLiteral("CONTENTS/AUDIO/%1%2.MXF").arg(name).arg(channel, 2, 10, QLatin1Char('0')),
                 clipBytes / 16});
        files.append({QStringLiteral("CONTENTS/CLIP/%1.XML").arg(name), 6000});
        files.append({QStringLiteral("CONTENTS/ICON/%1.BMP").arg(name), 14454});
        for (const auto& [path, size] : std::as_const(files)) {
            QDir().mkpath(QFileInfo(card + QLatin1Char('/') + path).path());
            QFile file(card + QLatin1Char('/') + path);
            if (!file.open(QIODevice::WriteOnly))
                qFatal("cannot write the card");
            for (qint64 written = 0; written < size;) {
                generator.fillRange(reinterpret_cast<quint32*>(chunk.data()), chunk.size() / 4);
                const qint64 part = std::min<qint64>(chunk.size(), size - written);
                file.write(chunk.constData(), part);
                written += part;
            }
            left -= size;
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

// Reads every file below `root` back as the proving phase does, without the
// checksum: each file's pages dropped first, read in the same chunks, and
// dropped again after.
double readBack(const QString& root)
{
    QElapsedTimer timer;
    timer.start();
    QByteArray buffer(DiskFile::chunkSize, Qt::Uninitialized);
    for (const QString& path : filesBelow(root)) {
        const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
        while (::read(fd, buffer.data(), static_cast<size_t>(buffer.size())) > 0) {
        }
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        ::close(fd);
    }
    return seconds(timer);
}

// The processor time this process has spent in its own code so far, every thread's.
double userSeconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6;
}

double verifyBackup(const QString& copy)
{
    QElapsedTimer timer;
    timer.start();
    BackupProgress progress;
    const VerifyResult result =
        BackupVerifier::run(copy, QStringLiteral("bench"), QStringLiteral("Tolvane"), QStringLiteral("bench"),
                            QDateTime::currentDateTimeUtc(), progress);
    if (!result.isClean())
        qFatal("the verification failed: %s", qPrintable(result.error));
    return seconds(timer);
}

// Runs the baseline and ours in the round's order.
void inTurn(int round, const std::function<void()>& baseline, const std::function<void()>& ours)
{
    if (round % 2 == 1) {
        baseline();
        ours();
    } else {
        ours();
        baseline();
    }
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
    const int rounds = args.size() > 2 ? std::max(1, args.at(2).toInt()) : 5;
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

    std::vector<double> copyRatios, twoRatios, verifyRatios, provingRatios, readSpeeds, cpuShares;
    for (int round = 1; round <= rounds; ++round) {
        const QString one = work + QStringLiteral("/one");
        const QString two = work + QStringLiteral("/two");
        const QString three = (fast.isEmpty() ? work : fast) + QStringLiteral("/three");
        for (const QString& folder : {one, two, three}) {
            QDir(folder).removeRecursively();
            QDir().mkpath(folder);
        }

        double cpSeconds = 0;
        double oursCpu = 0;
        BackupResult ours;
        inTurn(
            round,
            [&] {
                dropPages(card);
                cpSeconds = copyWithCp(card, one + QStringLiteral("/cp"));
                QDir(one + QStringLiteral("/cp")).removeRecursively();
            },
            [&] {
                dropPages(card);
                const double cpuBefore = userSeconds();
                ours = backUp(card, {one});
                oursCpu = userSeconds() - cpuBefore;
            });

        const QString copy = one + QStringLiteral("/BENCHCARD");
        double readSeconds = 0;
        double verifySeconds = 0;
        inTurn(
            round,
            [&] {
                dropPages(copy);
                readSeconds = readBack(copy);
            },
            [&] {
                dropPages(copy);
                verifySeconds = verifyBackup(copy);
            });
        QDir(one).removeRecursively();

        BackupResult single;
        BackupResult both;
        inTurn(
            round,
            [&] {
                dropPages(card);
                single = backUp(card, {two});
                QDir(two).removeRecursively();
                QDir().mkpath(two);
            },
            [&] {
                dropPages(card);
                both = backUp(card, {two, three});
                QDir(two).removeRecursively();
                QDir(three).removeRecursively();
                QDir().mkpath(two);
                QDir().mkpath(three);
            });

        copyRatios.push_back(ours.copySeconds / cpSeconds);
        verifyRatios.push_back(verifySeconds / readSeconds);
        provingRatios.push_back(ours.verifySeconds / readSeconds);
        twoRatios.push_back(both.copySeconds / single.copySeconds);
        readSpeeds.push_back(cardGigabytes / readSeconds);
        cpuShares.push_back(oursCpu / (ours.copySeconds + ours.verifySeconds));
        say(QStringLiteral("round %1 (%2 first): cp -a+sync %3 s, copy %4 s (×%5); read back %6 s, "
                           "verify-backup %7 s (×%8), proving phase %9 s (×%10); one %11 s, two %12 s (×%13)")
                .arg(round)
                .arg(round % 2 == 1 ? QStringLiteral("baselines") : QStringLiteral("ours"))
                .arg(cpSeconds, 0, 'f', 2)
                .arg(ours.copySeconds, 0, 'f', 2)
                .arg(copyRatios.back(), 0, 'f', 3)
                .arg(readSeconds, 0, 'f', 2)
                .arg(verifySeconds, 0, 'f', 2)
                .arg(verifyRatios.back(), 0, 'f', 3)
                .arg(ours.verifySeconds, 0, 'f', 2)
                .arg(provingRatios.back(), 0, 'f', 3)
                .arg(single.copySeconds, 0, 'f', 2)
                .arg(both.copySeconds, 0, 'f', 2)
                .arg(twoRatios.back(), 0, 'f', 3));
    }
    const double hashSpeed = xxh64GigabytesPerSecond();
    say(QStringLiteral("median of %1 rounds: copy ×%2 of cp -a+sync (bound 1.05); verify ×%3 of reading back "
                       "(bound 1.05), proving phase ×%4; two destinations ×%5 of one (bound 1.1)")
            .arg(rounds)
            .arg(CardBench::median(copyRatios), 0, 'f', 3)
            .arg(CardBench::median(verifyRatios), 0, 'f', 3)
            .arg(CardBench::median(provingRatios), 0, 'f', 3)
            .arg(CardBench::median(twoRatios), 0, 'f', 3));
    say(QStringLiteral("XXH64 in memory: %1 GiB/s, %2× the read-back's %3 GiB/s")
            .arg(hashSpeed, 0, 'f', 2)
            .arg(hashSpeed / CardBench::median(readSpeeds), 0, 'f', 1)
            .arg(CardBench::median(readSpeeds), 0, 'f', 2));
    say(QStringLiteral(
            "the backup's own processor time (checksums and buffers, both phases): %1% of its duration")
            .arg(100 * CardBench::median(cpuShares), 0, 'f', 1));
    say(QStringLiteral("load at end: %1").arg(uptime()));
    QDir(card).removeRecursively();
    return 0;
}
