#include "backup/FileCopier.h"

#include "backup/CopyFinisher.h"
#include "backup/DiskFile.h"
#include "backup/ReadBack.h"
#include "backup/Xxh64.h"
#include "BackupCardTree.h"
#include "BackupTests.h"
#include "TestFiles.h"

#include <cstring>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>
#include <thread>

namespace {

constexpr qint64 megabyte = 1024 * 1024;

// Bytes that differ in every chunk, so a chunk written twice or out of turn changes the checksum.
QByteArray varied(qint64 size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator generator(28);
    generator.fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
    return bytes;
}

// A file of `size` bytes that costs no disk: read back as zeros.
void writeSparse(const QString& path, qint64 size)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(size));
}

ListedFile listed(const QString& path, const QString& relative)
{
    const QFileInfo info(path);
    const qint64 nanoseconds = BackupCardTree::modifiedNanoseconds(path);
    return {relative, info.size(), nanoseconds / 1000000000, long(nanoseconds % 1000000000)};
}

} // namespace

// The chunks of a copy pass through a ring: every place and the checksum take
// each chunk in turn at their own pace; a failure or a cancel anywhere in it
// stops everything and leaves nothing behind.
class FileCopierTest : public QObject
{
    Q_OBJECT

private:
    CaseFolders m_cases;
    QString m_case;

    QString folder(const QString& name) const { return m_cases.folder(name); }

    // Copies a sparse file of `size` bytes, read back as zeros, to `copies`.
    FileCopier::Outcome copySparse(qint64 size, const QStringList& copies, std::atomic<qint64>& read,
                                   const std::atomic<bool>& cancel)
    {
        const QString source = m_case + QStringLiteral("/clip.MXF");
        writeSparse(source, size);
        FileCopier copier(int(copies.size()));
        return copier.copy(source, listed(source, QStringLiteral("clip.MXF")), copies, read, cancel);
    }

private slots:
    void init() { m_case = m_cases.next(); }

    void aReadBackHasTheChecksumOfEveryByteInOrder()
    {
        // More chunks than the read-back keeps in hand, the last one partial.
        const QByteArray bytes = varied(4 * DiskFile::chunkSize + 12345);
        const QString path = m_case + QStringLiteral("/clip.MXF");
        writeFile(path, bytes);
        std::atomic<qint64> read{0};
        const std::atomic<bool> cancel{false};
        QString error;
        ReadBack readBack;
        QCOMPARE(readBack.digest(path, read, cancel, error), std::optional(Xxh64::of(bytes)));
        QCOMPARE(read.load(), bytes.size());
        QCOMPARE(error, QString());

        writeFile(path, QByteArray());
        QCOMPARE(readBack.digest(path, read, cancel, error), std::optional(Xxh64::of({})));
    }

    void aCancelledOrUnreadableReadBackGivesNoChecksum()
    {
        const QString path = m_case + QStringLiteral("/clip.MXF");
        writeFile(path, varied(DiskFile::chunkSize));
        std::atomic<qint64> read{0};
        const std::atomic<bool> cancel{true};
        QString error;
        ReadBack readBack;
        QCOMPARE(readBack.digest(path, read, cancel, error), std::nullopt);
        QCOMPARE(read.load(), 0);

        const std::atomic<bool> go{false};
        QCOMPARE(readBack.digest(m_case + QStringLiteral("/missing"), read, go, error), std::nullopt);
        QCOMPARE(error, QString::fromLocal8Bit(std::strerror(ENOENT)));
    }

    // One read-back serves a whole card, file after file, whatever became of the one before.
    void aReadBackKeptFromFileToFileGivesEachItsOwnChecksum()
    {
        const QByteArray large = varied(3 * DiskFile::chunkSize + 99);
        const QByteArray small = large.left(1000);
        const QString largePath = m_case + QStringLiteral("/large.MXF");
        const QString smallPath = m_case + QStringLiteral("/small.XML");
        writeFile(largePath, large);
        writeFile(smallPath, small);
        std::atomic<qint64> read{0};
        const std::atomic<bool> go{false};
        const std::atomic<bool> cancel{true};
        QString error;
        ReadBack readBack;

        QCOMPARE(readBack.digest(largePath, read, go, error), std::optional(Xxh64::of(large)));
        QCOMPARE(readBack.digest(smallPath, read, go, error), std::optional(Xxh64::of(small)));
        QCOMPARE(readBack.digest(largePath, read, cancel, error), std::nullopt);
        QCOMPARE(readBack.digest(m_case + QStringLiteral("/missing"), read, go, error), std::nullopt);
        QCOMPARE(readBack.digest(largePath, read, go, error), std::optional(Xxh64::of(large)));
        QCOMPARE(readBack.digest(smallPath, read, go, error), std::optional(Xxh64::of(small)));
        QCOMPARE(read.load(), 2 * (large.size() + small.size()));
    }

    void aFileLargerThanTheRingReachesEveryPlaceWhole()
    {
        const QByteArray bytes = varied((FileCopier::ringSlots + 3) * DiskFile::chunkSize + 777);
        const QString source = m_case + QStringLiteral("/card/clip.MXF");
        QDir().mkpath(QFileInfo(source).path());
        writeFile(source, bytes);
        const QStringList copies = {folder(QStringLiteral("one")) + QStringLiteral("/clip.MXF"),
                                    folder(QStringLiteral("two")) + QStringLiteral("/clip.MXF")};
        FileCopier copier(2);
        std::atomic<qint64> read{0};
        const std::atomic<bool> cancel{false};

        const FileCopier::Outcome outcome =
            copier.copy(source, listed(source, QStringLiteral("clip.MXF")), copies, read, cancel);

        QCOMPARE(outcome.failedPath, QString());
        QCOMPARE(outcome.digest, std::optional(Xxh64::of(bytes)));
        QCOMPARE(read.load(), bytes.size());
        QVERIFY(!copier.finish());
        for (const QString& copy : copies) {
            QVERIFY(readFile(copy) == bytes);
            QCOMPARE(BackupCardTree::modifiedNanoseconds(copy), BackupCardTree::modifiedNanoseconds(source));
            QCOMPARE(everyFileBelow(QFileInfo(copy).path()), QStringList{QStringLiteral("clip.MXF")});
        }
    }

    // Copies are made final behind the copying, many at once, never more
    // waiting than the finisher allows; each keeps its source's time.
    void manySmallFilesAllReachTheirFinalNamesWithTheirTimes()
    {
        const QString card = folder(QStringLiteral("card"));
        const QStringList places = {folder(QStringLiteral("one")), folder(QStringLiteral("two"))};
        FileCopier copier(2);
        std::atomic<qint64> read{0};
        const std::atomic<bool> cancel{false};
        QStringList names;
        const int count = 3 * CopyFinisher::waitingLimit + 1;
        for (int i = 0; i < count; ++i) {
            const QString name = QStringLiteral("%1AB.XML").arg(i, 4, 10, QLatin1Char('0'));
            names.append(name);
            const QString source = card + QLatin1Char('/') + name;
            writeFile(source, name.toUtf8().repeated(i + 1));
            // The second place has every third file already, so nothing is written there for it.
            const QString second = i % 3 == 0 ? QString() : places.at(1) + QLatin1Char('/') + name;
            const FileCopier::Outcome outcome = copier.copy(
                source, listed(source, name), {places.at(0) + QLatin1Char('/') + name, second}, read, cancel);
            QCOMPARE(outcome.digest, std::optional(Xxh64::of(name.toUtf8().repeated(i + 1))));
        }

        QVERIFY(!copier.finish());

        QCOMPARE(everyFileBelow(places.at(0)), names);
        QStringList second;
        for (int i = 0; i < count; ++i) {
            const QString name = names.at(i);
            const QString source = card + QLatin1Char('/') + name;
            QCOMPARE(readFile(places.at(0) + QLatin1Char('/') + name), readFile(source));
            QCOMPARE(BackupCardTree::modifiedNanoseconds(places.at(0) + QLatin1Char('/') + name),
                     BackupCardTree::modifiedNanoseconds(source));
            if (i % 3 != 0)
                second.append(name);
        }
        QCOMPARE(everyFileBelow(places.at(1)), second);
    }

    // A copy that cannot take its final name fails the next file before it is
    // read, and the finish names it; nothing of it, nor of what waited behind
    // it, stays under a temporary name.
    void aCopyThatCannotBeMadeFinalFailsWhatFollowsAndLeavesNoTemporary()
    {
        const QString card = folder(QStringLiteral("card"));
        const QString place = folder(QStringLiteral("one"));
        // A folder in the way of the final name: the rename cannot take it.
        writeFile(place + QStringLiteral("/0001AB.MXF/in the way"), "not a copy");
        FileCopier copier(1);
        std::atomic<qint64> read{0};
        const std::atomic<bool> cancel{false};
        const QString blocked = place + QStringLiteral("/0001AB.MXF");
        writeFile(card + QStringLiteral("/0001AB.MXF"), "video");
        QVERIFY(copier
                    .copy(card + QStringLiteral("/0001AB.MXF"),
                          listed(card + QStringLiteral("/0001AB.MXF"), QStringLiteral("0001AB.MXF")),
                          {blocked}, read, cancel)
                    .digest);

        const std::optional<CopyFinisher::Failure> failure = copier.finish();
        QVERIFY(failure);
        QCOMPARE(failure->finalPath, blocked);
        QCOMPARE(failure->error, QString::fromLocal8Bit(std::strerror(EISDIR)));

        writeFile(card + QStringLiteral("/0002AB.MXF"), "more video");
        const qint64 readBefore = read.load();
        const FileCopier::Outcome next =
            copier.copy(card + QStringLiteral("/0002AB.MXF"),
                        listed(card + QStringLiteral("/0002AB.MXF"), QStringLiteral("0002AB.MXF")),
                        {place + QStringLiteral("/0002AB.MXF")}, read, cancel);
        QCOMPARE(next.digest, std::nullopt);
        QCOMPARE(next.failedPath, blocked);
        QCOMPARE(read.load(), readBefore);
        QCOMPARE(everyFileBelow(place), QStringList{QStringLiteral("0001AB.MXF/in the way")});
    }

    void aWriteFailingInTheMiddleOfTheRingNamesItsCopyAndLeavesNothing()
    {
        const qint64 size = 256 * megabyte;
        const QString roomy = folder(QStringLiteral("roomy"));
        const QString full = folder(QStringLiteral("full drive"));
        // Fills after a few chunks, while the reading is ahead of it.
        const SmallDisk disk(full, QStringLiteral("size=20m"));
        QVERIFY2(disk.mounted(), "the tests mount a tmpfs, which needs root");
        const QStringList copies = {roomy + QStringLiteral("/clip.MXF"), full + QStringLiteral("/clip.MXF")};
        std::atomic<qint64> read{0};
        const std::atomic<bool> cancel{false};

        const FileCopier::Outcome outcome = copySparse(size, copies, read, cancel);

        QCOMPARE(outcome.digest, std::nullopt);
        QCOMPARE(outcome.failedPath, copies.at(1));
        QCOMPARE(outcome.error, QString::fromLocal8Bit(std::strerror(ENOSPC)));
        QVERIFY2(read.load() < size, "the reading stops with the failed copy");
        QCOMPARE(everyFileBelow(roomy), QStringList());
        QCOMPARE(everyFileBelow(full), QStringList());
    }

    void cancellingInTheMiddleOfTheRingLeavesNothing()
    {
        const qint64 size = 4096 * megabyte;
        const QString first = folder(QStringLiteral("one"));
        const QString second = folder(QStringLiteral("two"));
        std::atomic<qint64> read{0};
        std::atomic<bool> cancel{false};
        // Cancels once the ring has filled, as the Cancel button would.
        std::thread canceller([&read, &cancel] {
            while (read.load() < (FileCopier::ringSlots + 2) * DiskFile::chunkSize)
                std::this_thread::yield();
            cancel.store(true);
        });

        const FileCopier::Outcome outcome = copySparse(
            size, {first + QStringLiteral("/clip.MXF"), second + QStringLiteral("/clip.MXF")}, read, cancel);
        canceller.join();

        QCOMPARE(outcome.digest, std::nullopt);
        QCOMPARE(outcome.failedPath, QString());
        QCOMPARE(outcome.error, QString());
        QVERIFY2(read.load() < size, "the copy stops where it was cancelled");
        QCOMPARE(everyFileBelow(first), QStringList());
        QCOMPARE(everyFileBelow(second), QStringList());
    }
};

int runFileCopierTests(int argc, char* argv[])
{
    FileCopierTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "FileCopierTest.moc"
