#include "store/QSettingsKeyValueStore.h"
#include "StoreTestSupport.h"

#include <memory>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

namespace {

template <typename T> QVariant toVariant(const std::optional<T>& value)
{
    return value ? QVariant::fromValue(*value) : QVariant();
}

} // namespace

class KeyValueStoreTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;
    int m_fileCount = 0;

    QString newFilePath()
    {
        return m_folder.filePath(QStringLiteral("prefs-%1/Tolvane.json").arg(++m_fileCount));
    }

    // A store of the given kind holding `key` = `value`; a file-backed one is
    // opened afresh after the write, so the value has come back from disk.
    std::unique_ptr<KeyValueStore> storeHolding(const QString& backend, const QString& key,
                                                const QVariant& value)
    {
        if (backend == QLatin1String("memory")) {
            auto store = std::make_unique<MemoryKeyValueStore>();
            store->setValue(key, value);
            return store;
        }
        const QString path = newFilePath();
        QSettingsKeyValueStore(path).setValue(key, value);
        return std::make_unique<QSettingsKeyValueStore>(path);
    }

private slots:
    void typedReads_data()
    {
        QTest::addColumn<QString>("backend");
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<QVariant>("asDouble");
        QTest::addColumn<QVariant>("asInteger");
        QTest::addColumn<QVariant>("asBool");
        QTest::addColumn<QVariant>("asString");
        QTest::addColumn<QVariant>("asStringList");
        QTest::addColumn<QVariant>("asBytes");

        const QVariant none;
        const QByteArray binary("[{\"a\":1}]\0\x01\xff", 12);
        const QString path = QString::fromUtf8("/Volumes/Card A/Clips é \"$;#%");
        for (const QString& backend : {QStringLiteral("memory"), QStringLiteral("file")}) {
            const auto row = [&](const char* name) {
                return &QTest::newRow(qPrintable(backend + QLatin1Char(' ') + QLatin1String(name)));
            };
            *row("fractional double")
                << backend << QVariant(0.35) << QVariant(0.35) << none << none << none << none << none;
            *row("whole double") << backend << QVariant(-1.0) << QVariant(-1.0) << QVariant(qint64(-1))
                                 << none << none << none << none;
            *row("integer") << backend << QVariant(qint64(7)) << QVariant(7.0) << QVariant(qint64(7)) << none
                            << none << none << none;
            *row("boolean") << backend << QVariant(false) << none << none << QVariant(false) << none << none
                            << none;
            *row("string true") << backend << QVariant(QStringLiteral("true")) << none << none << none
                                << QVariant(QStringLiteral("true")) << none << none;
            *row("string 7") << backend << QVariant(QStringLiteral("7")) << none << none << none
                             << QVariant(QStringLiteral("7")) << none << none;
            *row("path") << backend << QVariant(path) << none << none << none << QVariant(path) << none
                         << none;
            *row("empty string") << backend << QVariant(QString()) << none << none << none
                                 << QVariant(QString()) << none << none;
            *row("one-element list") << backend << QVariant(QStringList{QStringLiteral("a, b")}) << none
                                     << none << none << none << QVariant(QStringList{QStringLiteral("a, b")})
                                     << none;
            *row("empty list") << backend << QVariant(QStringList()) << none << none << none << none
                               << QVariant(QStringList()) << none;
            *row("bytes") << backend << QVariant(binary) << none << none << none << none << none
                          << QVariant(binary);
            *row("empty bytes") << backend << QVariant(QByteArray()) << none << none << none << none << none
                                << QVariant(QByteArray());
        }
    }

    void typedReads()
    {
        QFETCH(QString, backend);
        QFETCH(QVariant, stored);
        const std::unique_ptr<KeyValueStore> store = storeHolding(backend, QStringLiteral("key"), stored);
        const QString key = QStringLiteral("key");

        QVERIFY(store->contains(key));
        QTEST(toVariant(store->doubleValue(key)), "asDouble");
        QTEST(toVariant(store->integerValue(key)), "asInteger");
        QTEST(toVariant(store->boolValue(key)), "asBool");
        QTEST(toVariant(store->stringValue(key)), "asString");
        QTEST(toVariant(store->stringListValue(key)), "asStringList");
        QTEST(toVariant(store->bytesValue(key)), "asBytes");
    }

    void absentKeys_data()
    {
        QTest::addColumn<QString>("backend");
        QTest::newRow("memory") << QStringLiteral("memory");
        QTest::newRow("file") << QStringLiteral("file");
    }

    void absentKeys()
    {
        QFETCH(QString, backend);
        const std::unique_ptr<KeyValueStore> store =
            storeHolding(backend, QStringLiteral("other"), QVariant(1.0));
        const QString key = QStringLiteral("missing");
        QVERIFY(!store->contains(key));
        QVERIFY(!store->value(key));
        QVERIFY(!store->doubleValue(key));
        QVERIFY(!store->integerValue(key));
        QVERIFY(!store->boolValue(key));
        QVERIFY(!store->stringValue(key));
        QVERIFY(!store->stringListValue(key));
        QVERIFY(!store->bytesValue(key));

        store->remove(QStringLiteral("other"));
        QVERIFY(!store->contains(QStringLiteral("other")));
    }

    void everyWriteReachesTheFileAtOnce()
    {
        const QString path = newFilePath();
        QSettingsKeyValueStore store(path);
        store.setString(QStringLiteral("outputFolderPath"), QStringLiteral("/media/Out"));
        store.setDouble(QStringLiteral("audioOffsetSeconds"), 0.35);

        // Read beside the store, which is still open: nothing waits for it to close.
        const QJsonObject onDisk = QJsonDocument::fromJson(readFile(path)).object();
        QCOMPARE(onDisk.value(QStringLiteral("outputFolderPath")).toString(), QStringLiteral("/media/Out"));
        QCOMPARE(onDisk.value(QStringLiteral("audioOffsetSeconds")).toDouble(), 0.35);

        store.remove(QStringLiteral("outputFolderPath"));
        QVERIFY(
            !QJsonDocument::fromJson(readFile(path)).object().contains(QStringLiteral("outputFolderPath")));
    }

    void handWrittenFileReadsByType()
    {
        const QString path = newFilePath();
        QDir().mkpath(QFileInfo(path).absolutePath());
        writeFile(path, R"({
            "double": 0.5, "integer": 3, "bool": false, "string": "x", "list": ["a", "b"],
            "bytes": {"base64": "AAH/"}, "mixedList": ["a", 1], "null": null, "object": {"x": 1},
            "badBase64": {"base64": "***"}, "huge": 1e300, "hugeInteger": 9.3e18
        })");
        const QSettingsKeyValueStore store(path);

        QCOMPARE(store.doubleValue(QStringLiteral("double")), 0.5);
        QCOMPARE(store.integerValue(QStringLiteral("integer")), 3);
        QCOMPARE(store.boolValue(QStringLiteral("bool")), false);
        QCOMPARE(store.stringValue(QStringLiteral("string")), QStringLiteral("x"));
        QCOMPARE(store.stringListValue(QStringLiteral("list")), (QStringList{"a", "b"}));
        QCOMPARE(store.bytesValue(QStringLiteral("bytes")), QByteArray("\x00\x01\xff", 3));
        QCOMPARE(store.doubleValue(QStringLiteral("huge")), 1e300);
        for (const char* key : {"mixedList", "null", "object", "badBase64"}) {
            const QString name = QLatin1String(key);
            QVERIFY2(store.contains(name), key);
            QVERIFY2(!store.stringListValue(name) && !store.bytesValue(name) && !store.stringValue(name) &&
                         !store.doubleValue(name) && !store.boolValue(name),
                     key);
        }
        QVERIFY(!store.integerValue(QStringLiteral("huge")));
        QVERIFY(!store.integerValue(QStringLiteral("hugeInteger")));
    }

    void unreadableFileReadsEmptyAndNextWriteRepairsIt_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::newRow("truncated") << QByteArray(
            "{\"audioOffsetSeconds\": 0.35, \"outputFolderPath\": \"/med");
        QTest::newRow("binary") << QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\xff\xfe\x00\x01", 20);
        QTest::newRow("not an object") << QByteArray(R"(["audioOffsetSeconds", 0.35])");
        QTest::newRow("empty") << QByteArray();
    }

    void unreadableFileReadsEmptyAndNextWriteRepairsIt()
    {
        QFETCH(QByteArray, contents);
        const QString path = newFilePath();
        QDir().mkpath(QFileInfo(path).absolutePath());
        writeFile(path, contents);

        QSettingsKeyValueStore store(path);
        QVERIFY(!store.contains(QStringLiteral("audioOffsetSeconds")));
        QVERIFY(!store.contains(QStringLiteral("outputFolderPath")));

        store.setBool(QStringLiteral("skipExistingFiles"), false);
        QJsonParseError error;
        const QJsonDocument repaired = QJsonDocument::fromJson(readFile(path), &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        QCOMPARE(repaired.object(), (QJsonObject{{QStringLiteral("skipExistingFiles"), false}}));
        QCOMPARE(QSettingsKeyValueStore(path).boolValue(QStringLiteral("skipExistingFiles")), false);
    }

    void exclusiveSectionWritesOnceItEnds()
    {
        const QString path = newFilePath();
        QSettingsKeyValueStore store(path);
        store.exclusively([&] {
            store.setInteger(QStringLiteral("a"), 1);
            store.exclusively([&] { store.setInteger(QStringLiteral("b"), 2); });
        });
        const QJsonObject onDisk = QJsonDocument::fromJson(readFile(path)).object();
        QCOMPARE(onDisk.value(QStringLiteral("a")).toInteger(), 1);
        QCOMPARE(onDisk.value(QStringLiteral("b")).toInteger(), 2);
        QVERIFY(!QFile::exists(path + QStringLiteral(".update-lock")));
    }
};

int runKeyValueStoreTests(int argc, char** argv)
{
    KeyValueStoreTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "KeyValueStoreTest.moc"
