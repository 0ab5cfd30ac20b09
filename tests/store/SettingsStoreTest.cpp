#include "store/SettingsStore.h"

#include "ScriptedDesktop.h"
#include "store/QSettingsKeyValueStore.h"
#include "StoreTestSupport.h"

#include <limits>
#include <memory>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString offsetKey = QStringLiteral("audioOffsetSeconds");
const QString migratedKey = QStringLiteral("migratedAudioOffsetV2");

// Until the user picks a folder, movies go to Tolvane in the user's videos folder.
QString videosDefault()
{
    return QStandardPaths::writableLocation(QStandardPaths::MoviesLocation) + QStringLiteral("/Tolvane");
}

struct Fixture
{
    std::shared_ptr<LoggingKeyValueStore> defaults = std::make_shared<LoggingKeyValueStore>();
    std::shared_ptr<ScriptedDesktop> desktop = std::make_shared<ScriptedDesktop>();

    std::unique_ptr<SettingsStore> open() { return std::make_unique<SettingsStore>(defaults, desktop); }
};

void verifyDefaults(const SettingsStore& settings)
{
    QCOMPARE(settings.audioOffsetSeconds(), 0.0);
    QCOMPARE(settings.audioSyncMode(), AudioSyncMode::automatic);
    QCOMPARE(settings.outputFolderPath(), videosDefault());
    QCOMPARE(ProResProfiles::rawValue(settings.proResProfile()), 3);
    QCOMPARE(settings.allowUnsafeFallbackPairing(), false);
    QCOMPARE(settings.prefixExportsWithOrderNumber(), true);
    QCOMPARE(settings.openOutputFolderWhenFinished(), true);
    QCOMPARE(settings.skipExistingFiles(), true);
    QCOMPARE(settings.joinSpannedRecordings(), false);
    QCOMPARE(settings.writeClipMetadata(), false);
}

void moveEverySettingAwayFromItsDefault(SettingsStore& settings)
{
    settings.setAudioOffsetSeconds(-0.25);
    settings.setAudioSyncMode(AudioSyncMode::manual);
    settings.setOutputFolderPath(QStringLiteral("/media/Out"));
    settings.setProResProfile(ProResProfile::proxy);
    settings.setAllowUnsafeFallbackPairing(true);
    settings.setPrefixExportsWithOrderNumber(false);
    settings.setOpenOutputFolderWhenFinished(false);
    settings.setSkipExistingFiles(false);
    settings.setJoinSpannedRecordings(true);
    settings.setWriteClipMetadata(true);
}

} // namespace

class SettingsStoreTest : public QObject
{
    Q_OBJECT

private slots:
    void audioSyncModeCasesAndLabels()
    {
        QCOMPARE(AudioSyncModes::all.size(), 2u);
        QCOMPARE(AudioSyncModes::all[0], AudioSyncMode::automatic);
        QCOMPARE(AudioSyncModes::all[1], AudioSyncMode::manual);
        QCOMPARE(AudioSyncModes::rawValue(AudioSyncMode::automatic), 0);
        QCOMPARE(AudioSyncModes::rawValue(AudioSyncMode::manual), 1);
        QCOMPARE(AudioSyncModes::label(AudioSyncMode::automatic), QStringLiteral("Auto (from P2 metadata)"));
        QCOMPARE(AudioSyncModes::label(AudioSyncMode::manual), QStringLiteral("Manual override"));
        QCOMPARE(AudioSyncModes::fromRawValue(0), AudioSyncMode::automatic);
        QCOMPARE(AudioSyncModes::fromRawValue(1), AudioSyncMode::manual);
        QVERIFY(!AudioSyncModes::fromRawValue(2));
        QVERIFY(!AudioSyncModes::fromRawValue(-1));
    }

    void freshInstall()
    {
        Fixture fixture;
        const auto settings = fixture.open();
        verifyDefaults(*settings);
        QCOMPARE(SettingsStore::defaultOutputBase(), videosDefault());
        QCOMPARE(fixture.defaults->boolValue(migratedKey), true);
        QVERIFY(!fixture.defaults->contains(offsetKey));
        // Starting writes the migration mark and nothing else.
        QCOMPARE(fixture.defaults->writtenKeys(), QStringList{migratedKey});
    }

    void offsetMigration_data()
    {
        QTest::addColumn<double>("storedOffset");
        QTest::addColumn<QVariant>("storedMark");
        QTest::addColumn<double>("loadedOffset");
        QTest::addColumn<bool>("offsetWritten");

        QTest::newRow("-1 without mark becomes 0") << -1.0 << QVariant() << 0.0 << true;
        QTest::newRow("-1 with mark false becomes 0") << -1.0 << QVariant(false) << 0.0 << true;
        QTest::newRow("-1 with mark of wrong type becomes 0")
            << -1.0 << QVariant(QStringLiteral("true")) << 0.0 << true;
        QTest::newRow("-1 with mark stays") << -1.0 << QVariant(true) << -1.0 << false;
        QTest::newRow("-0.5 without mark stays") << -0.5 << QVariant() << -0.5 << false;
        QTest::newRow("0.35 without mark stays") << 0.35 << QVariant() << 0.35 << false;
    }

    void offsetMigration()
    {
        QFETCH(double, storedOffset);
        QFETCH(QVariant, storedMark);
        QFETCH(double, loadedOffset);
        QFETCH(bool, offsetWritten);

        Fixture fixture;
        fixture.defaults->setDouble(offsetKey, storedOffset);
        if (storedMark.isValid())
            fixture.defaults->setValue(migratedKey, storedMark);
        fixture.defaults->writes.clear();

        const auto settings = fixture.open();
        QCOMPARE(settings->audioOffsetSeconds(), loadedOffset);
        QCOMPARE(fixture.defaults->doubleValue(offsetKey), loadedOffset);
        QCOMPARE(fixture.defaults->writtenKeys().contains(offsetKey), offsetWritten);
        QCOMPARE(fixture.defaults->boolValue(migratedKey), true);

        // The mark is set now: a restart keeps whatever offset is stored, -1 included.
        fixture.defaults->setDouble(offsetKey, -1.0);
        QCOMPARE(fixture.open()->audioOffsetSeconds(), -1.0);
    }

    void storedValuesLoad_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<QString>("property");
        QTest::addColumn<QVariant>("loaded");

        const auto profile = [](int raw) { return QVariant::fromValue(*ProResProfiles::fromRawValue(raw)); };
        const auto mode = [](AudioSyncMode mode) { return QVariant::fromValue(mode); };
        QTest::newRow("sync mode 7") << "audioSyncMode" << QVariant(qint64(7)) << "audioSyncMode"
                                     << mode(AudioSyncMode::automatic);
        QTest::newRow("sync mode 1") << "audioSyncMode" << QVariant(qint64(1)) << "audioSyncMode"
                                     << mode(AudioSyncMode::manual);
        QTest::newRow("sync mode 1.0")
            << "audioSyncMode" << QVariant(1.0) << "audioSyncMode" << mode(AudioSyncMode::manual);
        QTest::newRow("sync mode 0.5")
            << "audioSyncMode" << QVariant(0.5) << "audioSyncMode" << mode(AudioSyncMode::automatic);
        QTest::newRow("sync mode as string") << "audioSyncMode" << QVariant(QStringLiteral("1"))
                                             << "audioSyncMode" << mode(AudioSyncMode::automatic);
        QTest::newRow("profile 1") << "proResProfile" << QVariant(qint64(1)) << "proResProfile" << profile(3);
        QTest::newRow("profile 4") << "proResProfile" << QVariant(qint64(4)) << "proResProfile" << profile(3);
        QTest::newRow("profile 2^32")
            << "proResProfile" << QVariant(qint64(1) << 32) << "proResProfile" << profile(3);
        QTest::newRow("profile 0") << "proResProfile" << QVariant(qint64(0)) << "proResProfile" << profile(0);
        QTest::newRow("profile 2") << "proResProfile" << QVariant(qint64(2)) << "proResProfile" << profile(2);
        QTest::newRow("empty folder")
            << "outputFolderPath" << QVariant(QString()) << "outputFolderPath" << QVariant(videosDefault());
        QTest::newRow("folder") << "outputFolderPath" << QVariant(QStringLiteral("/media/Out é"))
                                << "outputFolderPath" << QVariant(QStringLiteral("/media/Out é"));
        QTest::newRow("skip existing false")
            << "skipExistingFiles" << QVariant(false) << "skipExistingFiles" << QVariant(false);
        QTest::newRow("numbering false") << "prefixExportsWithOrderNumber" << QVariant(false)
                                         << "prefixExportsWithOrderNumber" << QVariant(false);
        QTest::newRow("open folder false") << "openOutputFolderWhenFinished" << QVariant(false)
                                           << "openOutputFolderWhenFinished" << QVariant(false);
        QTest::newRow("join spanned true")
            << "joinSpannedRecordings" << QVariant(true) << "joinSpannedRecordings" << QVariant(true);
        QTest::newRow("join spanned as string") << "joinSpannedRecordings" << QVariant(QStringLiteral("yes"))
                                                << "joinSpannedRecordings" << QVariant(false);
        QTest::newRow("clip metadata true")
            << "writeClipMetadata" << QVariant(true) << "writeClipMetadata" << QVariant(true);
        QTest::newRow("clip metadata as number")
            << "writeClipMetadata" << QVariant(qint64(1)) << "writeClipMetadata" << QVariant(false);
        QTest::newRow("unsafe pairing true") << "allowUnsafeFallbackPairing" << QVariant(true)
                                             << "allowUnsafeFallbackPairing" << QVariant(true);
        QTest::newRow("offset 0.35") << "audioOffsetSeconds" << QVariant(0.35) << "audioOffsetSeconds"
                                     << QVariant(0.35);
        QTest::newRow("offset as integer")
            << "audioOffsetSeconds" << QVariant(qint64(2)) << "audioOffsetSeconds" << QVariant(2.0);
    }

    void storedValuesLoad()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, stored);
        QFETCH(QString, property);
        QFETCH(QVariant, loaded);

        Fixture fixture;
        fixture.defaults->setValue(key, stored);
        const auto settings = fixture.open();
        QCOMPARE(settings->property(qPrintable(property)), loaded);
    }

    void effectiveOffsetFollowsTheMode()
    {
        Fixture fixture;
        const auto settings = fixture.open();
        QSignalSpy effectiveChanged(settings.get(), &SettingsStore::effectiveAudioOffsetSecondsChanged);

        settings->setAudioSyncMode(AudioSyncMode::manual);
        settings->setAudioOffsetSeconds(0.35);
        QCOMPARE(settings->effectiveAudioOffsetSeconds(), 0.35);

        settings->setAudioSyncMode(AudioSyncMode::automatic);
        QCOMPARE(settings->effectiveAudioOffsetSeconds(), 0.0);
        QCOMPARE(settings->audioOffsetSeconds(), 0.35);
        QCOMPARE(effectiveChanged.count(), 3);
    }

    void anUnusableStoredOffsetIsUsedAsZeroWithAWarning_data()
    {
        QTest::addColumn<double>("stored");
        QTest::addColumn<double>("effective");
        QTest::addColumn<QString>("warning");
        QTest::newRow("beyond a minute")
            << -61.5 << 0.0
            << "The stored audio offset (-61.5 s) is not a number within ±60 s, so no "
               "offset is used.";
        QTest::newRow("not a number")
            << std::numeric_limits<double>::quiet_NaN() << 0.0
            << "The stored audio offset (nan s) is not a number within ±60 s, so no offset is used.";
        QTest::newRow("infinite")
            << -std::numeric_limits<double>::infinity() << 0.0
            << "The stored audio offset (-inf s) is not a number within ±60 s, so no offset is used.";
        QTest::newRow("a minute") << 60.0 << 60.0 << QString();
        QTest::newRow("a minute back") << -60.0 << -60.0 << QString();
    }

    void anUnusableStoredOffsetIsUsedAsZeroWithAWarning()
    {
        QFETCH(double, stored);
        QFETCH(double, effective);
        QFETCH(QString, warning);
        Fixture fixture;
        fixture.defaults->setValue(QStringLiteral("audioOffsetSeconds"), stored);
        fixture.defaults->setValue(QStringLiteral("audioSyncMode"), 1);
        const auto settings = fixture.open();
        QCOMPARE(settings->effectiveAudioOffsetSeconds(), effective);
        QCOMPARE(settings->audioOffsetWarning().value_or(QString()), warning);
        settings->setAudioSyncMode(AudioSyncMode::automatic);
        QCOMPARE(settings->audioOffsetWarning(), std::nullopt);
    }

    void everySetterWritesItsOwnKeyWithItsType()
    {
        Fixture fixture;
        const auto settings = fixture.open();
        fixture.defaults->writes.clear();

        moveEverySettingAwayFromItsDefault(*settings);

        const QList<QPair<QString, QVariant>> expected{
            {"audioOffsetSeconds", QVariant(-0.25)},
            {"audioSyncMode", QVariant(qint64(1))},
            {"outputFolderPath", QVariant(QStringLiteral("/media/Out"))},
            {"proResProfile", QVariant(qint64(0))},
            {"allowUnsafeFallbackPairing", QVariant(true)},
            {"prefixExportsWithOrderNumber", QVariant(false)},
            {"openOutputFolderWhenFinished", QVariant(false)},
            {"skipExistingFiles", QVariant(false)},
            {"joinSpannedRecordings", QVariant(true)},
            {"writeClipMetadata", QVariant(true)},
        };
        QCOMPARE(fixture.defaults->writes, expected);
    }

    void changesAreAnnouncedAndTheFolderIsWrittenEvenWhenUnchanged()
    {
        Fixture fixture;
        const auto settings = fixture.open();
        QSignalSpy unsafeChanged(settings.get(), &SettingsStore::allowUnsafeFallbackPairingChanged);
        QSignalSpy folderChanged(settings.get(), &SettingsStore::outputFolderPathChanged);
        fixture.defaults->writes.clear();

        settings->setAllowUnsafeFallbackPairing(true);
        QCOMPARE(unsafeChanged.count(), 1);
        settings->setAllowUnsafeFallbackPairing(true);
        QCOMPARE(unsafeChanged.count(), 1);
        settings->setAllowUnsafeFallbackPairing(false);
        QCOMPARE(unsafeChanged.count(), 2);

        settings->setOutputFolderPath(SettingsStore::defaultOutputBase());
        QCOMPARE(folderChanged.count(), 0);
        QCOMPARE(fixture.defaults->stringValue(QStringLiteral("outputFolderPath")),
                 SettingsStore::defaultOutputBase());
    }

    void propertiesAreReachableByName()
    {
        Fixture fixture;
        const auto settings = fixture.open();
        QSignalSpy modeChanged(settings.get(), &SettingsStore::audioSyncModeChanged);
        QVERIFY(settings->setProperty("proResProfile", QVariant::fromValue(ProResProfile::standard)));
        QVERIFY(settings->setProperty("audioSyncMode", QVariant::fromValue(AudioSyncMode::manual)));
        QVERIFY(settings->setProperty("skipExistingFiles", false));
        QCOMPARE(settings->proResProfile(), ProResProfile::standard);
        QCOMPARE(settings->audioSyncMode(), AudioSyncMode::manual);
        QCOMPARE(settings->skipExistingFiles(), false);
        QCOMPARE(modeChanged.count(), 1);
        QCOMPARE(fixture.defaults->integerValue(QStringLiteral("proResProfile")), 2);
    }

    void resetRestoresTheDefaultsInOrder()
    {
        Fixture fixture;
        fixture.defaults->setDouble(offsetKey, -1.0);
        fixture.defaults->setBool(migratedKey, true);
        fixture.defaults->setBytes(QStringLiteral("conversionHistoryV1"), QByteArray("[]"));
        fixture.defaults->setStringList(QStringLiteral("recentP2FoldersV1"), {QStringLiteral("/cards/A")});
        const auto settings = fixture.open();
        moveEverySettingAwayFromItsDefault(*settings);
        fixture.defaults->writes.clear();

        settings->resetToDefaults();

        verifyDefaults(*settings);
        const QStringList order{"audioOffsetSeconds",
                                "audioSyncMode",
                                "outputFolderPath",
                                "proResProfile",
                                "allowUnsafeFallbackPairing",
                                "prefixExportsWithOrderNumber",
                                "openOutputFolderWhenFinished",
                                "skipExistingFiles",
                                "joinSpannedRecordings",
                                "writeClipMetadata"};
        QCOMPARE(fixture.defaults->writtenKeys(), order);
        QCOMPARE(fixture.defaults->boolValue(migratedKey), true);
        QCOMPARE(fixture.defaults->bytesValue(QStringLiteral("conversionHistoryV1")), QByteArray("[]"));
        QCOMPARE(fixture.defaults->stringListValue(QStringLiteral("recentP2FoldersV1")),
                 QStringList{QStringLiteral("/cards/A")});
        verifyDefaults(*fixture.open());
    }

    void choosingTheOutputFolder()
    {
        Fixture fixture;
        const auto settings = fixture.open();
        const QString chosen = QString::fromUtf8("/media/Éditions 2025/$out; \"final\"");
        fixture.desktop->folderAnswers = {chosen};
        QSignalSpy folderChanged(settings.get(), &SettingsStore::outputFolderPathChanged);

        QCoro::waitFor(settings->chooseOutputFolderViaPanel());

        QCOMPARE(fixture.desktop->folderRequests.size(), 1);
        QCOMPARE(fixture.desktop->folderRequests[0].prompt, QStringLiteral("Choose"));
        QCOMPARE(fixture.desktop->folderRequests[0].message,
                 QStringLiteral("Choose the default output drive or folder"));
        QCOMPARE(settings->outputFolderPath(), chosen);
        QCOMPARE(fixture.defaults->stringValue(QStringLiteral("outputFolderPath")), chosen);
        QCOMPARE(folderChanged.count(), 1);
        QCOMPARE(settings->outputFolderText(), chosen);
    }

    // A folder whose name holds control characters is shown on one line, its
    // characters escaped; the folder itself is kept as it is.
    void theOutputFolderIsShownEscaped()
    {
        Fixture fixture;
        const auto settings = fixture.open();
        const QString chosen = QString::fromUtf8("/media/two\nlines\t\x1b[31mred é");
        settings->setOutputFolderPath(chosen);
        QCOMPARE(settings->outputFolderPath(), chosen);
        QCOMPARE(settings->outputFolderText(), QString::fromUtf8("/media/two\\nlines\\t\\x1b[31mred é"));
    }

    void cancellingTheFolderChooserChangesNothing()
    {
        Fixture fixture;
        const auto settings = fixture.open();
        fixture.defaults->writes.clear();

        QCoro::waitFor(settings->chooseOutputFolderViaPanel());

        QCOMPARE(fixture.desktop->folderRequests.size(), 1);
        QCOMPARE(settings->outputFolderPath(), videosDefault());
        QVERIFY(fixture.defaults->writes.isEmpty());
    }

    void valuesSurviveARestart()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("Tolvane.json"));
        const auto desktop = std::make_shared<ScriptedDesktop>();
        {
            SettingsStore settings(std::make_shared<QSettingsKeyValueStore>(path), desktop);
            settings.setAudioOffsetSeconds(0.1 + 0.2);
            settings.setAudioSyncMode(AudioSyncMode::manual);
            settings.setOutputFolderPath(QString::fromUtf8("/media/Out é"));
            settings.setProResProfile(ProResProfile::standard);
            settings.setAllowUnsafeFallbackPairing(true);
            settings.setSkipExistingFiles(false);
        }
        const SettingsStore settings(std::make_shared<QSettingsKeyValueStore>(path), desktop);
        QCOMPARE(settings.audioOffsetSeconds(), 0.1 + 0.2);
        QCOMPARE(settings.audioSyncMode(), AudioSyncMode::manual);
        QCOMPARE(settings.outputFolderPath(), QString::fromUtf8("/media/Out é"));
        QCOMPARE(settings.proResProfile(), ProResProfile::standard);
        QCOMPARE(settings.allowUnsafeFallbackPairing(), true);
        QCOMPARE(settings.prefixExportsWithOrderNumber(), true);
        QCOMPARE(settings.skipExistingFiles(), false);
    }

    void everyKeyOfTheWrongTypeLoadsTheDefaults()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("Tolvane.json"));
        writeFile(path, R"({
            "audioOffsetSeconds": "-1.0",
            "audioSyncMode": "1",
            "outputFolderPath": 42,
            "proResProfile": "0",
            "allowUnsafeFallbackPairing": "true",
            "prefixExportsWithOrderNumber": "false",
            "openOutputFolderWhenFinished": 0,
            "skipExistingFiles": [false],
            "migratedAudioOffsetV2": "true",
            "conversionHistoryV1": "[]",
            "recentP2FoldersV1": "/cards/A"
        })");
        const auto defaults = std::make_shared<QSettingsKeyValueStore>(path);
        SettingsStore settings(defaults, std::make_shared<ScriptedDesktop>());
        verifyDefaults(settings);

        // The migration mark was not a boolean, so the migration ran and wrote a real one.
        QCOMPARE(QJsonDocument::fromJson(readFile(path)).object().value(migratedKey), QJsonValue(true));

        // Each next save repairs its key.
        settings.setAudioSyncMode(AudioSyncMode::manual);
        settings.setOutputFolderPath(QStringLiteral("/media/Out"));
        settings.setSkipExistingFiles(false);
        const SettingsStore reopened(std::make_shared<QSettingsKeyValueStore>(path),
                                     std::make_shared<ScriptedDesktop>());
        QCOMPARE(reopened.audioSyncMode(), AudioSyncMode::manual);
        QCOMPARE(reopened.outputFolderPath(), QStringLiteral("/media/Out"));
        QCOMPARE(reopened.skipExistingFiles(), false);
        QCOMPARE(reopened.prefixExportsWithOrderNumber(), true);
    }

    void unreadableSettingsFileLoadsTheDefaults_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::newRow("truncated") << QByteArray(R"({"audioSyncMode": 1, "skipExistingFiles": fal)");
        QTest::newRow("binary") << QByteArray("\0\x01\x02\xff\xfe{\"audioSyncMode\": 1}\x80", 25);
    }

    void unreadableSettingsFileLoadsTheDefaults()
    {
        QFETCH(QByteArray, contents);
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("Tolvane.json"));
        writeFile(path, contents);

        SettingsStore settings(std::make_shared<QSettingsKeyValueStore>(path),
                               std::make_shared<ScriptedDesktop>());
        verifyDefaults(settings);
        settings.setSkipExistingFiles(false);

        QJsonParseError error;
        const QJsonObject repaired = QJsonDocument::fromJson(readFile(path), &error).object();
        QCOMPARE(error.error, QJsonParseError::NoError);
        QCOMPARE(repaired, (QJsonObject{{migratedKey, true}, {QStringLiteral("skipExistingFiles"), false}}));
    }
};

int runSettingsStoreTests(int argc, char** argv)
{
    SettingsStoreTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "SettingsStoreTest.moc"
