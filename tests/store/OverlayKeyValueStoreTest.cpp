#include "store/OverlayKeyValueStore.h"

#include "store/MemoryKeyValueStore.h"
#include "StoreTestSupport.h"

#include <QtTest>

class OverlayKeyValueStoreTest : public QObject
{
    Q_OBJECT

private slots:
    void readsFallThroughToTheStoredValues()
    {
        const auto stored = std::make_shared<MemoryKeyValueStore>();
        stored->setInteger(QStringLiteral("proResProfile"), 2);
        const OverlayKeyValueStore overlay(stored);
        QCOMPARE(overlay.integerValue(QStringLiteral("proResProfile")), std::optional<qint64>(2));
        QVERIFY(!overlay.contains(QStringLiteral("outputFolderPath")));
    }

    void writesStayInTheOverlay()
    {
        const auto stored = std::make_shared<MemoryKeyValueStore>();
        stored->setInteger(QStringLiteral("proResProfile"), 2);
        OverlayKeyValueStore overlay(stored);
        overlay.setInteger(QStringLiteral("proResProfile"), 0);
        overlay.setString(QStringLiteral("outputFolderPath"), QStringLiteral("/tmp/out"));
        QCOMPARE(overlay.integerValue(QStringLiteral("proResProfile")), std::optional<qint64>(0));
        QCOMPARE(overlay.stringValue(QStringLiteral("outputFolderPath")),
                 std::optional<QString>(QStringLiteral("/tmp/out")));
        QCOMPARE(stored->integerValue(QStringLiteral("proResProfile")), std::optional<qint64>(2));
        QVERIFY(!stored->contains(QStringLiteral("outputFolderPath")));
    }

    void aRemovedKeyHidesTheStoredValue()
    {
        const auto stored = std::make_shared<MemoryKeyValueStore>();
        stored->setBool(QStringLiteral("skipExistingFiles"), false);
        OverlayKeyValueStore overlay(stored);
        overlay.remove(QStringLiteral("skipExistingFiles"));
        QVERIFY(!overlay.contains(QStringLiteral("skipExistingFiles")));
        QVERIFY(stored->contains(QStringLiteral("skipExistingFiles")));
        overlay.setBool(QStringLiteral("skipExistingFiles"), true);
        QCOMPARE(overlay.boolValue(QStringLiteral("skipExistingFiles")), std::optional<bool>(true));
    }

    void runsExclusiveWork()
    {
        OverlayKeyValueStore overlay(std::make_shared<MemoryKeyValueStore>());
        overlay.exclusively([&overlay] { overlay.setInteger(QStringLiteral("audioSyncMode"), 1); });
        QCOMPARE(overlay.integerValue(QStringLiteral("audioSyncMode")), std::optional<qint64>(1));
    }
};

int runOverlayKeyValueStoreTests(int argc, char** argv)
{
    OverlayKeyValueStoreTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "OverlayKeyValueStoreTest.moc"
