#include "store/RecentFoldersStore.h"

#include "store/QSettingsKeyValueStore.h"
#include "StoreTestSupport.h"

#include <memory>
#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString recentKey = QStringLiteral("recentP2FoldersV1");

QStringList numberedFolders(int first, int last)
{
    QStringList folders;
    for (int number = last; number >= first; --number)
        folders.append(QStringLiteral("/cards/CARD_%1").arg(number));
    return folders;
}

} // namespace

class RecentFoldersStoreTest : public QObject
{
    Q_OBJECT

private slots:
    void recordingTheSameFolderTwiceMovesItToTheFront()
    {
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        RecentFoldersStore recent(defaults);
        QSignalSpy changed(&recent, &RecentFoldersStore::foldersChanged);
        recent.record(QStringLiteral("/cards/A"));
        recent.record(QStringLiteral("/cards/B"));
        recent.record(QStringLiteral("/cards/A"));

        const QStringList expected{QStringLiteral("/cards/A"), QStringLiteral("/cards/B")};
        QCOMPARE(recent.folders(), expected);
        QCOMPARE(defaults->stringListValue(recentKey), expected);
        QCOMPARE(changed.count(), 3);
        QCOMPARE(defaults->writtenKeys(), QStringList(3, recentKey));
    }

    void pathsAreComparedExactly()
    {
        RecentFoldersStore recent(std::make_shared<LoggingKeyValueStore>());
        const QStringList distinct{QStringLiteral("/cards/a"), QStringLiteral("/cards/A"),
                                   QStringLiteral("/cards/A/"), QString::fromUtf8("/cards/é"),
                                   QString::fromUtf8("/cards/e\u0301")};
        for (const QString& folder : distinct)
            recent.record(folder);
        QStringList expected = distinct;
        std::reverse(expected.begin(), expected.end());
        QCOMPARE(recent.folders(), expected);
    }

    void aNinthDistinctFolderDropsTheOldest()
    {
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        RecentFoldersStore recent(defaults);
        for (int number = 1; number <= 8; ++number)
            recent.record(QStringLiteral("/cards/CARD_%1").arg(number));
        QCOMPARE(recent.folders(), numberedFolders(1, 8));

        recent.record(QStringLiteral("/cards/CARD_9"));

        QCOMPARE(recent.folders(), numberedFolders(2, 9));
        QCOMPARE(defaults->stringListValue(recentKey), numberedFolders(2, 9));
    }

    void aRemovedFolderIsStillListedAfterARestart()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("prefs/Tolvane.json"));
        const QString card = folder.filePath(QString::fromUtf8("Card é $1; \"x\""));
        QVERIFY(QDir().mkpath(card));
        {
            RecentFoldersStore recent(std::make_shared<QSettingsKeyValueStore>(path));
            recent.record(QStringLiteral("/cards/other"));
            recent.record(card);
        }
        QVERIFY(QDir(card).removeRecursively());

        const RecentFoldersStore recent(std::make_shared<QSettingsKeyValueStore>(path));
        QCOMPARE(recent.folders(), (QStringList{card, QStringLiteral("/cards/other")}));
    }

    void storedListsLoad_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<QStringList>("loaded");
        QTest::newRow("list") << QVariant(QStringList{"/b", "/a"}) << QStringList{"/b", "/a"};
        QTest::newRow("empty list") << QVariant(QStringList()) << QStringList();
        QTest::newRow("a string") << QVariant(QStringLiteral("/a")) << QStringList();
        QTest::newRow("bytes") << QVariant(QByteArray("/a")) << QStringList();
        QTest::newRow("a list of numbers") << QVariant(QVariantList{1, 2}) << QStringList();
    }

    void storedListsLoad()
    {
        QFETCH(QVariant, stored);
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        defaults->setValue(recentKey, stored);
        defaults->writes.clear();
        const RecentFoldersStore recent(defaults);
        QTEST(recent.folders(), "loaded");
        QVERIFY(defaults->writes.isEmpty());
    }

    void anAbsentKeyLeavesTheListEmptyWithoutWriting()
    {
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        RecentFoldersStore recent(defaults);
        recent.load();
        QVERIFY(recent.folders().isEmpty());
        QVERIFY(!defaults->contains(recentKey));
    }

    void clearingSavesAnEmptyList()
    {
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        RecentFoldersStore recent(defaults);
        recent.record(QStringLiteral("/cards/A"));
        recent.clear();
        QVERIFY(recent.folders().isEmpty());
        QCOMPARE(defaults->stringListValue(recentKey), QStringList());
    }
};

int runRecentFoldersStoreTests(int argc, char** argv)
{
    RecentFoldersStoreTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "RecentFoldersStoreTest.moc"
