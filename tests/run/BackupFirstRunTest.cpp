#include "backup/BackupText.h"
#include "DriverSession.h"
#include "run/BackupFirst.h"
#include "run/LogWriter.h"
#include "store/BackupSettings.h"
#include "store/MemoryKeyValueStore.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"

#include <QDirIterator>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using Phase = ConversionViewModel::Phase;

namespace {

constexpr int workTimeoutMs = 300000;

} // namespace

// Convert with "Back Up First" on a real card and real tools: what the run's
// history entry says of the backup, proven or not.
class BackupFirstRunTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<ToolFolder> m_tools;
    QTemporaryDir m_work;
    QString m_card;
    QString m_cardName;
    QString m_output;
    int m_caseNumber = 0;
    QString m_case;
    DriverSession m_session;
    std::unique_ptr<BackupSettings> m_backupSettings;

    QString folder(const QString& name)
    {
        const QString path = m_case + QLatin1Char('/') + name;
        QDir().mkpath(path);
        return path;
    }

    bool scanCard()
    {
        m_session.driver->scan(m_card);
        return QTest::qWaitFor([this] { return m_session.driver->phase() != Phase::scanning; },
                               workTimeoutMs) &&
               m_session.driver->phase() == Phase::scanned;
    }

    void backUpFirstTo(const QString& destination)
    {
        m_backupSettings->setBackUpFirst(true);
        m_backupSettings->setDestination(0, destination);
    }

    // The card scanned and Convert pressed with "Back Up First" to `destination`.
    std::unique_ptr<BackupFirst> startBackingUp(const QString& destination)
    {
        backUpFirstTo(destination);
        if (!scanCard())
            return nullptr;
        auto backup = std::make_unique<BackupFirst>(*m_backupSettings, *m_session.driver);
        backup->convert();
        return backup;
    }

    // The history's one entry records the backup to `destination` as
    // `outcome`, and nothing was converted.
    void verifyRecordedAlone(BackupRecord::Outcome outcome, const QString& destination)
    {
        QCOMPARE(m_session.driver->phase(), Phase::scanned);
        QCOMPARE(QDir(m_output).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
        QCOMPARE(m_session.history->entries().size(), 1);
        const ConversionHistoryEntry& entry = m_session.history->entries().first();
        QCOMPARE(entry.converted, 0);
        QCOMPARE(entry.backup,
                 std::optional(BackupRecord{outcome, {destination + QLatin1Char('/') + m_cardName}}));
    }

private slots:
    void initTestCase()
    {
        m_tools = std::make_unique<ToolFolder>();
        TOLVANE_REQUIRE_REAL_TOOLS(*m_tools);
        m_cardName = awkwardName(QStringLiteral(" card"));
        SyntheticCard::CardSpec plan;
        plan.clips = {SyntheticCard::clip(1, 1), SyntheticCard::clip(2, 1)};
        m_card = SyntheticCard::write(plan, m_work.filePath(m_cardName)).rootPath;
    }

    void cleanupTestCase() { m_tools.reset(); }

    void init()
    {
        m_case = m_work.filePath(QStringLiteral("case %1").arg(++m_caseNumber));
        m_session.open();
        m_output = folder(QStringLiteral("movies"));
        m_session.settings->setOutputFolderPath(m_output);
        m_backupSettings = std::make_unique<BackupSettings>(std::make_shared<MemoryKeyValueStore>());
    }

    void cleanup()
    {
        m_backupSettings.reset();
        m_session.close();
    }

    void aProvenBackupIsRecordedWithTheRunItMade()
    {
        const QString destination = folder(awkwardName(QStringLiteral(" drive")));
        backUpFirstTo(destination);
        QVERIFY(scanCard());
        BackupFirst backup(*m_backupSettings, *m_session.driver);
        backup.convert();
        QVERIFY(backup.isBackingUp());
        // The run ends with its debug report: the session is closed only once that is written.
        QVERIFY(QTest::qWaitFor(
            [&] {
                return m_session.driver->phase() == Phase::finished &&
                       m_session.driver->debugReportGenerationTick() == 1;
            },
            workTimeoutMs));

        const QString copy = destination + QLatin1Char('/') + m_cardName;
        QCOMPARE(backup.copies(), QStringList{copy});
        QCOMPARE(m_session.history->entries().size(), 1);
        const ConversionHistoryEntry& entry = m_session.history->entries().first();
        QCOMPARE(entry.cardName, m_cardName);
        QCOMPARE(entry.converted, 2);
        QVERIFY2(entry.outputFolder.startsWith(m_output + QLatin1Char('/')), qPrintable(entry.outputFolder));
        QCOMPARE(entry.backup, std::optional(BackupRecord{BackupRecord::Outcome::proven, {copy}}));
        const QString report = QString::fromUtf8(
            readFile(QDir(entry.outputFolder).filePath(LogWriter::conversionReportFilename)));
        QVERIFY2(report.contains(
                     QStringLiteral(
                         "] The movies were made from the verified backup copy at %1, not from the card.\n")
                         .arg(copy)),
                 qPrintable(report));
    }

    void aBackupWithoutRoomIsRecordedAndConvertsNothing()
    {
        const QString destination = folder(QStringLiteral("full drive"));
        const SmallDisk disk(destination, QStringLiteral("size=64k"));
        QVERIFY2(disk.mounted(), "the tests mount a tmpfs, which needs root");
        backUpFirstTo(destination);
        QVERIFY(scanCard());
        BackupFirst backup(*m_backupSettings, *m_session.driver);
        backup.convert();
        QVERIFY(QTest::qWaitFor([&] { return !backup.isBackingUp(); }, workTimeoutMs));

        QVERIFY2(
            backup.resultText().startsWith(QStringLiteral("Not enough free space on “%1”").arg(destination)),
            qPrintable(backup.resultText()));
        QVERIFY2(backup.resultText().endsWith(BackupText::failedSentence(0)),
                 qPrintable(backup.resultText()));
        QCOMPARE(backup.ejectMessage(), QString());
        QCOMPARE(m_session.driver->phase(), Phase::scanned);
        QCOMPARE(QDir(m_output).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());

        QCOMPARE(m_session.history->entries().size(), 1);
        const ConversionHistoryEntry& entry = m_session.history->entries().first();
        QCOMPARE(entry.cardName, m_cardName);
        QCOMPARE(entry.outputFolder, destination);
        QCOMPARE(entry.converted, 0);
        QCOMPARE(entry.notStarted, 2);
        QCOMPARE(entry.backup, std::optional(BackupRecord{BackupRecord::Outcome::failed,
                                                          {destination + QLatin1Char('/') + m_cardName}}));
    }

    void endingTheSessionDuringTheBackupCancelsItRecordsItAndConvertsNothing()
    {
        const QString destination = folder(QStringLiteral("drive"));
        QSignalSpy ended(m_session.driver.get(), &ConversionViewModel::sessionEnded);
        const std::unique_ptr<BackupFirst> backup = startBackingUp(destination);
        QVERIFY(backup);
        QVERIFY(backup->isBackingUp());

        backup->endSession();
        // Not before the backup has stopped and is recorded.
        QCOMPARE(ended.count(), 0);
        QVERIFY(ended.wait(workTimeoutMs));

        QVERIFY(!backup->isBackingUp());
        QCOMPARE(backup->resultText(), BackupText::cancelledSentence());
        verifyRecordedAlone(BackupRecord::Outcome::cancelled, destination);
        QDirIterator left(destination, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (left.hasNext()) {
            const QString path = left.next();
            QVERIFY2(!path.endsWith(QLatin1String(".tolvane-part")), qPrintable(path));
        }
    }

    // The session ends as the backup is proven, while its history is written
    // (the last stage, which a cancel does not stop): the proven backup is
    // recorded though no run follows it, and nothing is converted.
    void aBackupProvenAsTheSessionEndsIsRecordedAndConvertsNothing()
    {
        const QString destination = folder(QStringLiteral("drive"));
        QSignalSpy ended(m_session.driver.get(), &ConversionViewModel::sessionEnded);
        const std::unique_ptr<BackupFirst> backup = startBackingUp(destination);
        QVERIFY(backup);
        // This thread does not return to its event loop meanwhile, so the
        // backup's end waits to be taken in until the session is ending.
        QElapsedTimer waited;
        waited.start();
        while (backup->stage() != BackupProgress::Stage::finished && waited.elapsed() < workTimeoutMs)
            QThread::msleep(1);
        QCOMPARE(backup->stage(), BackupProgress::Stage::finished);
        QVERIFY(backup->isBackingUp());
        backup->endSession();
        QVERIFY(ended.wait(workTimeoutMs));

        QCOMPARE(backup->ejectMessage(), BackupText::cardMayBeEjected());
        verifyRecordedAlone(BackupRecord::Outcome::proven, destination);
    }

    // The session ends once the backup is proven, while its copy is scanned
    // for the conversion: the backup is recorded, and nothing is converted.
    void endingTheSessionWhileTheCopyIsScannedRecordsTheBackupAndConvertsNothing()
    {
        const QString destination = folder(QStringLiteral("drive"));
        QSignalSpy ended(m_session.driver.get(), &ConversionViewModel::sessionEnded);
        std::unique_ptr<BackupFirst> backup;
        bool endedWhileScanning = false;
        qsizetype endedAtOnce = 0;
        connect(m_session.driver.get(), &ConversionViewModel::phaseChanged, this, [&] {
            if (backup && !backup->isBackingUp() && backup->isUnderWay() && !endedWhileScanning &&
                m_session.driver->phase() == Phase::scanning) {
                endedWhileScanning = true;
                backup->endSession();
                endedAtOnce = ended.count();
            }
        });
        backup = startBackingUp(destination);
        QVERIFY(backup);
        QVERIFY(QTest::qWaitFor([&] { return !ended.isEmpty(); }, workTimeoutMs));

        QVERIFY(endedWhileScanning);
        // Not before the scan is over and the backup recorded.
        QCOMPARE(endedAtOnce, 0);
        QVERIFY(!backup->isUnderWay());
        QCOMPARE(backup->ejectMessage(), BackupText::cardMayBeEjected());
        verifyRecordedAlone(BackupRecord::Outcome::proven, destination);
        QTest::qWait(200);
        QCOMPARE(m_session.driver->phase(), Phase::scanned);
        QCOMPARE(ended.count(), 1);
    }

    void endingTheSessionOutsideABackupEndsItAtOnce()
    {
        QVERIFY(scanCard());
        BackupFirst backup(*m_backupSettings, *m_session.driver);
        QSignalSpy ended(m_session.driver.get(), &ConversionViewModel::sessionEnded);
        backup.endSession();
        QCOMPARE(ended.count(), 1);
    }
};

QTEST_GUILESS_MAIN(BackupFirstRunTest)
#include "BackupFirstRunTest.moc"
