#include "store/ConversionHistoryStore.h"

#include "store/QSettingsKeyValueStore.h"
#include "StoreTestSupport.h"

#include <memory>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString historyKey = QStringLiteral("conversionHistoryV1");

const QDateTime referenceDate(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);

// A document in the stored layout, written the way the first writers of the
// format wrote it (slashes escaped).
const QByteArray handWrittenDocument = R"([
  {"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","date":763689600.5,"cardName":"CARD_B",
   "outputFolder":"file:\/\/\/Volumes\/EXTDESKTOP\/03-15-2025\/","converted":5,"failed":1,"skipped":2,
   "excludedByPairing":3},
  {"excludedByPairing":0,"skipped":0,"failed":0,"converted":12,"cardName":"Card A é",
   "outputFolder":"file:///media/Out%20Drive/03-14-2025-2","date":-12.25,
   "id":"00000000-0000-0000-0000-000000000000"}
])";

QJsonObject validElement(int index)
{
    return QJsonObject{
        {"id", QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper()},
        {"date", 700000000.0 - index},
        {"cardName", QStringLiteral("CARD_%1").arg(index)},
        {"outputFolder", QStringLiteral("file:///media/Out/%1").arg(index)},
        {"converted", index},
        {"failed", 0},
        {"skipped", 0},
        {"excludedByPairing", 0},
    };
}

QByteArray documentOf(const QJsonArray& array)
{
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

QByteArray validDocument(int count)
{
    QJsonArray array;
    for (int index = 0; index < count; ++index)
        array.append(validElement(index));
    return documentOf(array);
}

} // namespace

class ConversionHistoryStoreTest : public QObject
{
    Q_OBJECT

private slots:
    void recordingIntoAnEmptyHistory()
    {
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        ConversionHistoryStore history(defaults);
        QVERIFY(history.entries().isEmpty());
        QVERIFY(!history.mostRecent());
        QSignalSpy changed(&history, &ConversionHistoryStore::entriesChanged);

        const QDateTime before = QDateTime::currentDateTimeUtc();
        history.record(QStringLiteral("CARD_A"), QStringLiteral("/media/Out/03-14-2025"), 4, 1, 2, 3);
        const QDateTime after = QDateTime::currentDateTimeUtc();

        QCOMPARE(history.entries().size(), 1);
        QCOMPARE(changed.count(), 1);
        const std::optional<ConversionHistoryEntry> recent = history.mostRecent();
        QVERIFY(recent);
        QCOMPARE(*recent, history.entries().first());
        QVERIFY(!recent->id.isNull());
        QVERIFY(recent->date >= before && recent->date <= after);
        QCOMPARE(recent->cardName, QStringLiteral("CARD_A"));
        QCOMPARE(recent->outputFolder, QStringLiteral("/media/Out/03-14-2025"));
        QCOMPARE(recent->converted, 4);
        QCOMPARE(recent->failed, 1);
        QCOMPARE(recent->skipped, 2);
        QCOMPARE(recent->excludedByPairing, 3);
        QCOMPARE(defaults->writtenKeys(), QStringList{historyKey});
        QCOMPARE(ConversionHistoryStore::decode(*defaults->bytesValue(historyKey)), history.entries());
    }

    void theFiftyFirstEntryDropsTheOldest()
    {
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        ConversionHistoryStore history(defaults);
        for (int index = 1; index <= 50; ++index)
            history.record(QStringLiteral("CARD_%1").arg(index), QStringLiteral("/out"), index, 0, 0, 0);
        QCOMPARE(history.entries().size(), 50);
        QCOMPARE(history.entries().last().cardName, QStringLiteral("CARD_1"));

        history.record(QStringLiteral("CARD_51"), QStringLiteral("/out"), 51, 0, 0, 0);

        QCOMPARE(history.entries().size(), 50);
        QCOMPARE(history.entries().first().cardName, QStringLiteral("CARD_51"));
        QCOMPARE(history.entries().last().cardName, QStringLiteral("CARD_2"));
        for (int position = 0; position < 50; ++position)
            QCOMPARE(history.entries()[position].converted, 51 - position);
        QCOMPARE(ConversionHistoryStore::decode(*defaults->bytesValue(historyKey))->size(), 50);
    }

    void aStoredHistoryAtTheCapTakesTheNewEntryFirst()
    {
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        defaults->setBytes(historyKey, validDocument(50));
        ConversionHistoryStore history(defaults);
        QCOMPARE(history.entries().size(), 50);

        history.record(QStringLiteral("NEW"), QStringLiteral("/out"), 0, 0, 0, 0);

        QCOMPARE(history.entries().size(), 50);
        QCOMPARE(history.entries().first().cardName, QStringLiteral("NEW"));
        QCOMPARE(history.entries().last().cardName, QStringLiteral("CARD_48"));
    }

    void aHandWrittenDocumentLoads()
    {
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        defaults->setBytes(historyKey, handWrittenDocument);
        const ConversionHistoryStore history(defaults);

        QCOMPARE(history.entries().size(), 2);
        const ConversionHistoryEntry& first = history.entries()[0];
        QCOMPARE(first.id, QUuid::fromString(QStringLiteral("E621E1F8-C36C-495A-93FC-0C247A3E6E5F")));
        QCOMPARE(first.date, referenceDate.addMSecs(763689600500));
        QCOMPARE(first.date.toString(Qt::ISODateWithMs), QStringLiteral("2025-03-15T00:00:00.500Z"));
        QCOMPARE(first.cardName, QStringLiteral("CARD_B"));
        QCOMPARE(first.outputFolder, QStringLiteral("/Volumes/EXTDESKTOP/03-15-2025/"));
        QCOMPARE(first.converted, 5);
        QCOMPARE(first.failed, 1);
        QCOMPARE(first.skipped, 2);
        QCOMPARE(first.excludedByPairing, 3);

        const ConversionHistoryEntry& second = history.entries()[1];
        QVERIFY(second.id.isNull());
        QCOMPARE(second.date, referenceDate.addMSecs(-12250));
        QCOMPARE(second.cardName, QString::fromUtf8("Card A é"));
        QCOMPARE(second.outputFolder, QStringLiteral("/media/Out Drive/03-14-2025-2"));
        QCOMPARE(second.converted, 12);
        QCOMPARE(*history.mostRecent(), first);
        // Runs recorded before backups were kept read as runs without one.
        QVERIFY(!first.backup);
        QVERIFY(!second.backup);
    }

    void aRunsBackupIsStoredWithItsOutcomeAndCopies()
    {
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        ConversionHistoryStore history(defaults);
        const QString first = QString::fromUtf8("/media/Drive é/#1 \"$x\"; -copies/CARD_A");
        const QString second = QStringLiteral("/media/Second/CARD_A");
        history.record(QStringLiteral("CARD_A"), QStringLiteral("/out/run"), 3, 0, 0, 0, 0, 0,
                       BackupRecord{BackupRecord::Outcome::proven, {first, second}});
        history.record(QStringLiteral("CARD_B"), QStringLiteral("/media/Second"), 0, 0, 0, 0, 2, 0,
                       BackupRecord{BackupRecord::Outcome::failed, {QStringLiteral("/media/Second/CARD_B")}});
        history.record(QStringLiteral("CARD_C"), QStringLiteral("/media/Second"), 0, 0, 0, 0, 2, 0,
                       BackupRecord{BackupRecord::Outcome::cancelled, {}});
        history.record(QStringLiteral("CARD_D"), QStringLiteral("/out/run-2"), 1, 0, 0, 0);

        const QByteArray stored = *defaults->bytesValue(historyKey);
        const QJsonArray array = QJsonDocument::fromJson(stored).array();
        QCOMPARE(array.size(), 4);
        const QJsonObject proven = array.at(3).toObject();
        QCOMPARE(proven.value("backup").toString(), QStringLiteral("proven"));
        const QJsonArray copies = proven.value("backupCopies").toArray();
        QCOMPARE(copies.size(), 2);
        QVERIFY2(copies.at(0).toString().startsWith(QStringLiteral("file:///media/Drive%20%C3%A9/%231%20")),
                 qPrintable(copies.at(0).toString()));
        QCOMPARE(QUrl(copies.at(0).toString()).toLocalFile(), first);
        QCOMPARE(QUrl(copies.at(1).toString()).toLocalFile(), second);
        QCOMPARE(array.at(2).toObject().value("backup").toString(), QStringLiteral("failed"));
        QCOMPARE(array.at(1).toObject().value("backup").toString(), QStringLiteral("cancelled"));
        QCOMPARE(array.at(1).toObject().value("backupCopies").toArray(), QJsonArray());
        // A run without a backup stores the keys it always did.
        QVERIFY(!array.at(0).toObject().contains("backup"));
        QVERIFY(!array.at(0).toObject().contains("backupCopies"));

        const ConversionHistoryStore reloaded(defaults);
        QCOMPARE(reloaded.entries(), history.entries());
        QCOMPARE(reloaded.entries().at(3).backup,
                 std::optional(BackupRecord{BackupRecord::Outcome::proven, {first, second}}));
        QCOMPARE(reloaded.entries().at(2).backup->outcome, BackupRecord::Outcome::failed);
        QCOMPARE(reloaded.entries().at(1).backup->outcome, BackupRecord::Outcome::cancelled);
        QVERIFY(!reloaded.entries().at(0).backup);
    }

    void aFolderWrittenWithExtraLeadingSlashesIsTheSameFolder_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("folder");
        QTest::newRow("empty authority and two slashes") << "file:////home/user/Videos"
                                                         << "/home/user/Videos";
        QTest::newRow("empty authority and many slashes") << "file://////////home/user/Videos/"
                                                          << "/home/user/Videos/";
        QTest::newRow("only slashes") << "file://///"
                                      << "/";
    }

    void aFolderWrittenWithExtraLeadingSlashesIsTheSameFolder()
    {
        QFETCH(QString, url);
        QFETCH(QString, folder);
        QJsonObject element = validElement(0);
        element.insert(QStringLiteral("outputFolder"), url);
        const auto entries = ConversionHistoryStore::decode(documentOf({element}));
        QVERIFY(entries);
        QCOMPARE(entries->size(), 1);
        QCOMPARE(entries->first().outputFolder, folder);
        QCOMPARE(ConversionHistoryStore::decode(ConversionHistoryStore::encode(*entries)), entries);
    }

    void theSavedDocumentParsesBackFieldForField()
    {
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        ConversionHistoryStore history(defaults);
        const QString folder = QString::fromUtf8("/media/Out Drive é/#1 100% \"$x\"; -run/03-14-2025");
        history.record(QString::fromUtf8("Carte É \"1\""), folder, 7, 2, 1, 4);
        const ConversionHistoryEntry& entry = history.entries().first();

        const QByteArray stored = *defaults->bytesValue(historyKey);
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(stored, &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        QVERIFY(document.isArray());
        QCOMPARE(document.array().size(), 1);
        const QJsonObject object = document.array().first().toObject();
        QStringList keys = object.keys();
        keys.sort();
        QCOMPARE(keys, (QStringList{"cardName", "converted", "date", "excludedByPairing", "failed", "id",
                                    "outputFolder", "skipped"}));

        const QString id = object.value("id").toString();
        QVERIFY2(QRegularExpression(
                     QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$"))
                     .match(id)
                     .hasMatch(),
                 qPrintable(id));
        QCOMPARE(QUuid::fromString(id), entry.id);

        QVERIFY(object.value("date").isDouble());
        QCOMPARE(object.value("date").toDouble(), referenceDate.msecsTo(entry.date) / 1000.0);
        QCOMPARE(referenceDate.addMSecs(qRound64(object.value("date").toDouble() * 1000)), entry.date);

        const QString url = object.value("outputFolder").toString();
        QVERIFY2(url.startsWith(QStringLiteral("file:///")), qPrintable(url));
        QVERIFY2(!url.contains(QLatin1Char(' ')) && !url.contains(QLatin1Char('"')), qPrintable(url));
        QVERIFY2(url.contains(QStringLiteral("Out%20Drive%20%C3%A9/%231%20100%25")), qPrintable(url));
        QCOMPARE(QUrl(url).toLocalFile(), folder);

        QCOMPARE(object.value("cardName").toString(), QString::fromUtf8("Carte É \"1\""));
        // Counts are JSON integers, never written with a fraction or an exponent.
        for (const auto& [key, count] :
             {std::pair{"converted", 7}, {"failed", 2}, {"skipped", 1}, {"excludedByPairing", 4}}) {
            const QByteArray expected = '"' + QByteArray(key) + "\":" + QByteArray::number(count);
            QVERIFY2(stored.contains(expected + ',') || stored.contains(expected + '}'), key);
        }

        QCOMPARE(ConversionHistoryStore::decode(stored), history.entries());
    }

    void entriesSurviveARestart()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("Tolvane.json"));
        QList<ConversionHistoryEntry> recorded;
        {
            ConversionHistoryStore history(std::make_shared<QSettingsKeyValueStore>(path));
            history.record(QStringLiteral("CARD_A"), QString::fromUtf8("/media/Out é/1"), 1, 0, 0, 0);
            history.record(QStringLiteral("CARD_B"), QStringLiteral("/media/Out/2"), 2, 1, 0, 5);
            recorded = history.entries();
        }
        const ConversionHistoryStore history(std::make_shared<QSettingsKeyValueStore>(path));
        QCOMPARE(history.entries(), recorded);
        QCOMPARE(history.mostRecent()->cardName, QStringLiteral("CARD_B"));
    }

    void anUndecodableDocumentLoadsEmptyAndTheNextRecordingReplacesIt_data()
    {
        QTest::addColumn<QByteArray>("document");

        QTest::newRow("not JSON") << QByteArray("[{\"id\": \"E621E1F8-");
        QTest::newRow("not an array") << QByteArray(R"({"id": "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"})");
        QTest::newRow("element not an object") << documentOf({validElement(0), 1});
        const auto withChange = [](const char* key, const QJsonValue& value) {
            QJsonObject broken = validElement(1);
            if (value.isUndefined())
                broken.remove(QLatin1String(key));
            else
                broken.insert(QLatin1String(key), value);
            return documentOf({validElement(0), broken, validElement(2)});
        };
        for (const char* key : {"id", "date", "cardName", "outputFolder", "converted", "failed", "skipped",
                                "excludedByPairing"})
            QTest::newRow(qPrintable(QStringLiteral("one element lacks %1").arg(key)))
                << withChange(key, QJsonValue::Undefined);
        QTest::newRow("id not a UUID") << withChange("id", "E621E1F8-C36C-495A-93FC");
        QTest::newRow("id with braces") << withChange("id", "{E621E1F8-C36C-495A-93FC-0C247A3E6E5F}");
        QTest::newRow("date as text") << withChange("date", "2025-03-14T10:00:00Z");
        QTest::newRow("card name as number") << withChange("cardName", 7);
        QTest::newRow("folder not a file URL") << withChange("outputFolder", "https://example.com/out");
        QTest::newRow("folder as plain path") << withChange("outputFolder", "/media/Out");
        QTest::newRow("folder URL without a path") << withChange("outputFolder", "file:?//home/user/Videos");
        QTest::newRow("folder URL with a relative path") << withChange("outputFolder", "file:media/Out");
        QTest::newRow("fractional count") << withChange("converted", 1.5);
        QTest::newRow("count as text") << withChange("failed", "1");
        QTest::newRow("null count") << withChange("skipped", QJsonValue::Null);
        QTest::newRow("unknown backup outcome") << withChange("backup", "maybe");
        QTest::newRow("backup without copies") << withChange("backup", "proven");
        QTest::newRow("copies without a backup")
            << withChange("backupCopies", QJsonArray{"file:///media/a/C"});
        QTest::newRow("backup copy as plain path") << [&] {
            QJsonObject broken = validElement(1);
            broken.insert("backup", "proven");
            broken.insert("backupCopies", QJsonArray{"file:///media/a/C", "/media/b/C"});
            return documentOf({validElement(0), broken});
        }();
    }

    void anUndecodableDocumentLoadsEmptyAndTheNextRecordingReplacesIt()
    {
        QFETCH(QByteArray, document);
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        defaults->setBytes(historyKey, document);
        defaults->writes.clear();

        ConversionHistoryStore history(defaults);
        QVERIFY(history.entries().isEmpty());
        QVERIFY(!history.mostRecent());
        // Loading leaves the stored document alone.
        QVERIFY(defaults->writes.isEmpty());

        history.record(QStringLiteral("CARD_A"), QStringLiteral("/out"), 1, 0, 0, 0);
        QCOMPARE(history.entries().size(), 1);
        const auto stored = ConversionHistoryStore::decode(*defaults->bytesValue(historyKey));
        QVERIFY(stored);
        QCOMPARE(*stored, history.entries());
    }

    void anAbsentKeyLeavesTheHistoryEmptyWithoutWriting()
    {
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        ConversionHistoryStore history(defaults);
        history.load();
        QVERIFY(history.entries().isEmpty());
        QVERIFY(defaults->writes.isEmpty());
        QVERIFY(!defaults->contains(historyKey));
    }

    void aValueThatIsNotBytesCountsAsNoHistory()
    {
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        defaults->setString(historyKey, QString::fromUtf8(validDocument(2)));
        ConversionHistoryStore history(defaults);
        QVERIFY(history.entries().isEmpty());

        history.record(QStringLiteral("CARD_A"), QStringLiteral("/out"), 1, 0, 0, 0);
        QCOMPARE(ConversionHistoryStore::decode(*defaults->bytesValue(historyKey))->size(), 1);
    }

    void clearingSavesAnEmptyArray()
    {
        const auto defaults = std::make_shared<LoggingKeyValueStore>();
        ConversionHistoryStore history(defaults);
        history.record(QStringLiteral("CARD_A"), QStringLiteral("/out"), 1, 0, 0, 0);
        QSignalSpy changed(&history, &ConversionHistoryStore::entriesChanged);

        history.clear();

        QVERIFY(history.entries().isEmpty());
        QCOMPARE(changed.count(), 1);
        QCOMPARE(defaults->bytesValue(historyKey), QByteArray("[]"));
        QVERIFY(ConversionHistoryStore(defaults).entries().isEmpty());
    }

    void tenMegabytesOfGarbageLoadEmptyAndTheNextRecordingRepairsTheStore()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("Tolvane.json"));
        QByteArray garbage(10 * 1024 * 1024, Qt::Uninitialized);
        QRandomGenerator generator(20250314);
        generator.fillRange(reinterpret_cast<quint32*>(garbage.data()), garbage.size() / sizeof(quint32));
        garbage[0] = '[';
        QSettingsKeyValueStore(path).setBytes(historyKey, garbage);
        QVERIFY(QFileInfo(path).size() > 10 * 1024 * 1024);

        ConversionHistoryStore history(std::make_shared<QSettingsKeyValueStore>(path));
        QVERIFY(history.entries().isEmpty());

        history.record(QStringLiteral("CARD_A"), QStringLiteral("/out"), 1, 0, 0, 0);
        QVERIFY(QFileInfo(path).size() < 4096);
        const ConversionHistoryStore reopened(std::make_shared<QSettingsKeyValueStore>(path));
        QCOMPARE(reopened.entries(), history.entries());
    }
};

int runConversionHistoryStoreTests(int argc, char** argv)
{
    ConversionHistoryStoreTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ConversionHistoryStoreTest.moc"
