#include "backup/FileCopier.h"

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
        for (const QString& copy : copies) {
            QVERIFY(readFile(copy) == bytes);
            QCOMPARE(BackupCardTree::modifiedNanoseconds(copy), BackupCardTree::modifiedNanoseconds(source));
            QCOMPARE(everyFileBelow(QFileInfo(copy).path()), QStringList{QStringLiteral("clip.MXF")});
        }
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
