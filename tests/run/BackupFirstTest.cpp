#include "run/BackupFirst.h"

#include "backup/BackupText.h"
#include "run/BackupProgressText.h"
#include "run/ConversionViewModel.h"
#include "store/BackupSettings.h"
#include "store/MemoryKeyValueStore.h"

#include <QSignalSpy>
#include <QtTest>

using Stage = BackupProgress::Stage;

class BackupFirstTest : public QObject
{
    Q_OBJECT

private slots:
    void theProgressLineShowsBytesSpeedAndTimeRemaining()
    {
        QCOMPARE(BackupProgressText::line(Stage::copying, false, 1000000000, 3000000000, 10),
                 QStringLiteral("Backing up · 1.0 GB of 3.0 GB · 100.0 MB/s · Remaining 0:20"));
        QCOMPARE(BackupProgressText::line(Stage::verifying, false, 500000000, 1000000000, 5),
                 QStringLiteral("Verifying copies · 500.0 MB of 1.0 GB · 100.0 MB/s · Remaining 0:05"));
    }

    void speedWaitsUntilItCanBeTold()
    {
        QCOMPARE(BackupProgressText::line(Stage::copying, false, 1000, 3000000000, 0.1),
                 QStringLiteral("Backing up · 1.0 kB of 3.0 GB · Calculating…"));
        QCOMPARE(BackupProgressText::speed(0, 3), std::nullopt);
    }

    void otherStagesAndCancellingSayWhatHappens()
    {
        QCOMPARE(BackupProgressText::line(Stage::preparing, false, 0, 0, 0),
                 QStringLiteral("Preparing the backup…"));
        QCOMPARE(BackupProgressText::line(Stage::recording, false, 0, 0, 0),
                 QStringLiteral("Writing the ASC MHL history…"));
        QCOMPARE(BackupProgressText::line(Stage::copying, true, 5, 10, 3), QStringLiteral("Cancelling…"));
    }

    void destinationsAreRememberedAtMostTwoAndDistinct()
    {
        const auto store = std::make_shared<MemoryKeyValueStore>();
        {
            BackupSettings settings(store);
            QVERIFY(!settings.isReady());
            QSignalSpy changed(&settings, &BackupSettings::destinationsChanged);
            settings.setBackUpFirst(true);
            QVERIFY(!settings.isReady());
            settings.setDestination(0, QStringLiteral("/media/a"));
            settings.setDestination(1, QStringLiteral("/media/a"));
            QCOMPARE(settings.destinations(), QStringList{QStringLiteral("/media/a")});
            settings.setDestination(1, QStringLiteral("/media/b"));
            settings.setDestination(2, QStringLiteral("/media/c"));
            QCOMPARE(changed.count(), 2);
            QVERIFY(settings.isReady());
        }
        BackupSettings reloaded(store);
        QVERIFY(reloaded.backUpFirst());
        QCOMPARE(reloaded.destinations(),
                 QStringList({QStringLiteral("/media/a"), QStringLiteral("/media/b")}));
        reloaded.setDestination(0, QString());
        QCOMPARE(reloaded.destinations(), QStringList{QStringLiteral("/media/b")});
    }

    void aStoredListOfAnythingLoadsCleaned()
    {
        const auto store = std::make_shared<MemoryKeyValueStore>();
        store->setStringList(QStringLiteral("backupDestinations"),
                             {QString(), QStringLiteral("/x"), QStringLiteral("/x"), QStringLiteral("/y"),
                              QStringLiteral("/z")});
        store->setString(QStringLiteral("backUpFirst"), QStringLiteral("yes"));
        BackupSettings settings(store);
        QCOMPARE(settings.destinations(), QStringList({QStringLiteral("/x"), QStringLiteral("/y")}));
        QVERIFY(!settings.backUpFirst());
    }

    void theConversionReportNamesTheVerifiedCopy()
    {
        QVERIFY(ConversionViewModel::verifiedCopyReportLine(QStringLiteral("/media/a/CARD_A"))
                    .endsWith(QStringLiteral("The movies were made from the verified backup copy at "
                                             "/media/a/CARD_A, not from the card.")));
    }

    void theSummarySaysHowTheBackupEnded()
    {
        BackupResult proven;
        proven.status = BackupResult::Status::proven;
        proven.fileCount = 3;
        proven.cardBytes = 2100000000;
        proven.copies = {QStringLiteral("/a/C"), QStringLiteral("/b/C")};
        QCOMPARE(
            BackupFirst::resultSentence(proven),
            QStringLiteral(
                "Backed up 3 files (2.1 GB) to 2 places; every copy was read back and matches the card."));
        BackupResult failed;
        failed.status = BackupResult::Status::failed;
        failed.mismatches = {QStringLiteral("/a/C/x")};
        failed.problems = {BackupText::mismatch(QStringLiteral("/a/C/x"))};
        QCOMPARE(
            BackupFirst::resultSentence(failed),
            BackupText::mismatch(QStringLiteral("/a/C/x")) +
                QStringLiteral(" The backup failed: 1 copy does not match the card; the card is the only "
                               "complete copy."));
        BackupResult cancelled;
        cancelled.status = BackupResult::Status::cancelled;
        QCOMPARE(BackupFirst::resultSentence(cancelled), BackupText::cancelledSentence());
    }
};

QTEST_GUILESS_MAIN(BackupFirstTest)
#include "BackupFirstTest.moc"
