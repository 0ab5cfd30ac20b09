// The preferences file as a crash, a full disk or a careless hand leaves it:
// cut short, garbled, grown beyond reason, replaced by a folder or made
// immutable. What could not be read is kept, never written over; what could
// not be written says why.
#include "store/ConversionHistoryStore.h"
#include "store/QSettingsKeyValueStore.h"
#include "StoreTestSupport.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/fs.h>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

// Sets or clears the immutable attribute; false when the system would not.
bool setImmutable(const QString& path, bool immutable)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    int flags = 0;
    bool done = ::ioctl(descriptor, FS_IOC_GETFLAGS, &flags) == 0;
    if (done) {
        flags = immutable ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
        done = ::ioctl(descriptor, FS_IOC_SETFLAGS, &flags) == 0;
    }
    ::close(descriptor);
    return done;
}

} // namespace

class DamagedStoreTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;
    int m_count = 0;

    // A fresh folder's preferences file, not yet written.
    QString newFilePath()
    {
        return m_folder.filePath(QStringLiteral("prefs-%1/Tolvane.json").arg(++m_count));
    }

    // The files beside `file` that hold what was set aside.
    static QStringList keptAside(const QString& file)
    {
        return QDir(QFileInfo(file).path())
            .entryList({QFileInfo(file).fileName() + QStringLiteral(".unreadable-*")}, QDir::Files);
    }

private slots:
    void texts()
    {
        QCOMPARE(
            QSettingsKeyValueStore::setAsideFileName(QStringLiteral("/home/a/.config/Tolvane/Tolvane.json"),
                                                     QDateTime(QDate(2026, 7, 1), QTime(15, 30, 5))),
            QStringLiteral("/home/a/.config/Tolvane/Tolvane.json.unreadable-2026-07-01-153005"));
        QCOMPARE(
            QSettingsKeyValueStore::unreadableNotice(QStringLiteral("/c/Tolvane.json"),
                                                     QStringLiteral("/c/Tolvane.json.unreadable-1")),
            QStringLiteral("Tolvane’s settings and history in “/c/Tolvane.json” could not be read, so the "
                           "defaults apply. The file was kept as “/c/Tolvane.json.unreadable-1”."));
        QCOMPARE(
            QSettingsKeyValueStore::tooLargeNotice(QStringLiteral("/c/Tolvane.json"),
                                                   QStringLiteral("/c/Tolvane.json.unreadable-1")),
            QStringLiteral("Tolvane’s settings and history in “/c/Tolvane.json” are larger than 4 MB, far "
                           "more than Tolvane writes, so they were not read and the defaults apply. The "
                           "file was kept as “/c/Tolvane.json.unreadable-1”."));
        QCOMPARE(ConversionHistoryStore::displayName(), QStringLiteral("the history"));
    }

    // A file cut short or garbled is moved aside whole, the user is told
    // once, and defaults are saved in its place.
    void anUnreadableFileIsKeptAsideAndDefaultsSaved_data()
    {
        QTest::addColumn<QByteArray>("damaged");
        QTest::addColumn<bool>("tooLarge");
        QTest::newRow("cut short") << QByteArray("{\n    \"outputFolderPath\": \"/media/ou") << false;
        QTest::newRow("garbled") << QByteArray("\x00\x01\xff{\"a\": 1}", 12) << false;
        QTest::newRow("not an object") << QByteArray("[1, 2, 3]") << false;
        QByteArray large = QByteArray("{\"outputFolderPath\": \"/media/out\", \"pad\": \"");
        large += QByteArray(QSettingsKeyValueStore::sizeLimit, 'x') + "\"}";
        QTest::newRow("larger than the limit") << large << true;
    }

    void anUnreadableFileIsKeptAsideAndDefaultsSaved()
    {
        QFETCH(QByteArray, damaged);
        QFETCH(bool, tooLarge);
        const QString file = newFilePath();
        writeFile(file, damaged);

        QSettingsKeyValueStore store(file);
        QStringList notices;
        store.setSetAsideListener([&](const QString& notice) { notices << notice; });
        const QStringList aside = keptAside(file);
        QCOMPARE(aside.size(), 1);
        const QString keptAs = QFileInfo(file).dir().filePath(aside.first());
        QVERIFY2(
            QRegularExpression(QStringLiteral("^Tolvane\\.json\\.unreadable-\\d{4}-\\d\\d-\\d\\d-\\d{6}$"))
                .match(aside.first())
                .hasMatch(),
            qPrintable(aside.first()));
        QCOMPARE(readFile(keptAs), damaged);
        QCOMPARE(notices, QStringList{tooLarge ? QSettingsKeyValueStore::tooLargeNotice(file, keptAs)
                                               : QSettingsKeyValueStore::unreadableNotice(file, keptAs)});
        // The defaults are saved, and read back as nothing stored.
        QCOMPARE(QJsonDocument::fromJson(readFile(file)).object(), QJsonObject());
        QVERIFY(!store.contains(QStringLiteral("outputFolderPath")));

        // Told once: a later write and a second opening find a good file.
        store.setInteger(QStringLiteral("audioSyncMode"), 1);
        QSettingsKeyValueStore reopened(file);
        QStringList later;
        reopened.setSetAsideListener([&](const QString& notice) { later << notice; });
        QCOMPARE(later, QStringList());
        QCOMPARE(notices.size(), 1);
        QCOMPARE(reopened.integerValue(QStringLiteral("audioSyncMode")), std::optional<qint64>(1));
        QCOMPARE(keptAside(file), aside);
    }

    // A file damaged while the store is open is kept aside before the next
    // write, not written over with the write's one key.
    void aFileDamagedWhileOpenIsKeptAsideBeforeAWrite()
    {
        const QString file = newFilePath();
        QSettingsKeyValueStore store(file);
        QStringList notices;
        store.setSetAsideListener([&](const QString& notice) { notices << notice; });
        store.setString(QStringLiteral("outputFolderPath"), QStringLiteral("/media/out"));
        QCOMPARE(notices, QStringList());
        const QByteArray damaged("{\"outputFolderPath\": \"/media/o");
        writeFile(file, damaged);

        store.setInteger(QStringLiteral("audioSyncMode"), 2);
        QCOMPARE(keptAside(file).size(), 1);
        const QString keptAs = QFileInfo(file).dir().filePath(keptAside(file).first());
        QCOMPARE(readFile(keptAs), damaged);
        QCOMPARE(notices, QStringList{QSettingsKeyValueStore::unreadableNotice(file, keptAs)});
        const QSettingsKeyValueStore reopened(file);
        QCOMPARE(reopened.integerValue(QStringLiteral("audioSyncMode")), std::optional<qint64>(2));
        QVERIFY(!reopened.contains(QStringLiteral("outputFolderPath")));
    }

    // Notices that came before anyone listened are told to the first listener.
    void noticesWaitForAListener()
    {
        const QString file = newFilePath();
        writeFile(file, "{");
        QSettingsKeyValueStore store(file);
        QStringList first;
        store.setSetAsideListener([&](const QString& notice) { first << notice; });
        QCOMPARE(first.size(), 1);
        QStringList second;
        store.setSetAsideListener([&](const QString& notice) { second << notice; });
        QCOMPARE(second, QStringList());
    }

    // A folder where the file should be fails every write with the system's
    // reason; the folder and what it holds stay.
    void aFolderInPlaceOfTheFileFailsTheWrites()
    {
        const QString file = newFilePath();
        writeFile(file + QStringLiteral("/inside"), "kept");
        QSettingsKeyValueStore store(file);
        ConversionHistoryStore history(std::make_shared<QSettingsKeyValueStore>(file));
        const std::optional<QString> failure =
            history.record(QStringLiteral("CARD"), QStringLiteral("/media/out/07-01-2026"), 1, 0, 0, 0);
        QCOMPARE(failure, std::optional(QStringLiteral("“%1”: Is a directory").arg(file)));
        QCOMPARE(store.exclusively([&] { store.setInteger(QStringLiteral("a"), 1); }),
                 std::optional(QStringLiteral("“%1”: Is a directory").arg(file)));
        QCOMPARE(readFile(file + QStringLiteral("/inside")), QByteArray("kept"));
        QCOMPARE(keptAside(file), QStringList());

        // Once the folder is gone, the next write takes what could not be written before.
        QVERIFY(QDir(file).removeRecursively());
        QCOMPARE(store.exclusively([&] { store.setInteger(QStringLiteral("a"), 1); }), std::nullopt);
        QCOMPARE(QSettingsKeyValueStore(file).integerValue(QStringLiteral("a")), std::optional<qint64>(1));
    }

    // An immutable file (root's way of saying "never change this") is neither
    // written nor set aside.
    void anImmutableFileFailsTheWrites()
    {
        const QString file = newFilePath();
        QSettingsKeyValueStore(file).setString(QStringLiteral("outputFolderPath"),
                                               QStringLiteral("/media/out"));
        const QByteArray before = readFile(file);
        if (!setImmutable(file, true))
            QSKIP("setting the immutable attribute needs root and a file system that keeps it");
        const auto unlock = qScopeGuard([&] { setImmutable(file, false); });

        QSettingsKeyValueStore store(file);
        QCOMPARE(store.exclusively([&] { store.setInteger(QStringLiteral("a"), 1); }),
                 std::optional(QStringLiteral("“%1”: Operation not permitted").arg(file)));
        QCOMPARE(store.stringValue(QStringLiteral("outputFolderPath")),
                 std::optional(QStringLiteral("/media/out")));
        QCOMPARE(readFile(file), before);
    }
};

int runDamagedStoreTests(int argc, char** argv)
{
    DamagedStoreTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "DamagedStoreTest.moc"
