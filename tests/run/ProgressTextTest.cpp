#include "run/ProgressText.h"

#include <QtTest>

class ProgressTextTest : public QObject
{
    Q_OBJECT

private slots:
    void cancellingSaysWhatItWaitsFor()
    {
        QCOMPARE(
            ProgressText::cancellingWait(5),
            QStringLiteral("Cancelling — waiting for ffmpeg to stop; it is ended by force after 5 seconds."));
        QCOMPARE(
            ProgressText::cancellingWait(1),
            QStringLiteral("Cancelling — waiting for ffmpeg to stop; it is ended by force after 1 second."));
    }

    void debugReportTexts()
    {
        QCOMPARE(ProgressText::generatingDebugReport(),
                 QStringLiteral(
                     "Generating debug report — probing every video/audio file, this may take a moment…"));
        QCOMPARE(ProgressText::debugReportLine(),
                 QStringLiteral("Generating debug report — probing every video/audio file, this may take a "
                                "moment… Ctrl-C skips it."));
    }

    void formatsTimes_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << 0.0 << QStringLiteral("0:00");
        QTest::newRow("five seconds") << 5.0 << QStringLiteral("0:05");
        QTest::newRow("half a second rounds up") << 0.5 << QStringLiteral("0:01");
        QTest::newRow("just under half a second") << 0.49 << QStringLiteral("0:00");
        QTest::newRow("75 seconds") << 75.0 << QStringLiteral("1:15");
        QTest::newRow("59.6 seconds rounds to a minute") << 59.6 << QStringLiteral("1:00");
        QTest::newRow("ten minutes") << 600.0 << QStringLiteral("10:00");
        QTest::newRow("3599.4 seconds stays below the hour") << 3599.4 << QStringLiteral("59:59");
        QTest::newRow("3599.5 seconds rounds to the hour") << 3599.5 << QStringLiteral("1:00:00");
        QTest::newRow("3725 seconds") << 3725.0 << QStringLiteral("1:02:05");
        QTest::newRow("over ten hours") << 36061.0 << QStringLiteral("10:01:01");
    }

    void formatsTimes()
    {
        QFETCH(double, seconds);
        QFETCH(QString, text);
        QCOMPARE(ProgressText::formatted(seconds), text);
    }

    void formatsPercentages_data()
    {
        QTest::addColumn<double>("progress");
        QTest::addColumn<QString>("text");
        QTest::newRow("nothing") << 0.0 << QStringLiteral("0%");
        QTest::newRow("everything") << 1.0 << QStringLiteral("100%");
        QTest::newRow("42 percent") << 0.42 << QStringLiteral("42%");
        QTest::newRow("a half rounds up") << 0.625 << QStringLiteral("63%");
        QTest::newRow("below a half rounds down") << 0.624 << QStringLiteral("62%");
        QTest::newRow("just under one percent") << 0.004 << QStringLiteral("0%");
    }

    void formatsPercentages()
    {
        QFETCH(double, progress);
        QFETCH(QString, text);
        QCOMPARE(ProgressText::percentText(progress), text);
    }

    void buildsTheProgressLine()
    {
        ProgressText::Snapshot snapshot;
        snapshot.completedCount = 1;
        snapshot.totalCount = 3;
        snapshot.currentClipName = QStringLiteral("0002AB");
        snapshot.overallProgress = 0.42;
        snapshot.elapsed = 15.2;
        snapshot.estimatedRemaining = 20.6;
        QCOMPARE(ProgressText::progressLine(snapshot),
                 QStringLiteral("Converting 1 / 3 · 42% · 0002AB · Elapsed 0:15 · Remaining 0:21"));
    }

    void saysWhatIsNotKnownYet()
    {
        ProgressText::Snapshot snapshot;
        snapshot.totalCount = 2;
        snapshot.elapsed = 3725;
        QCOMPARE(
            ProgressText::progressLine(snapshot),
            QStringLiteral("Converting 0 / 2 · 0% · Preparing… · Elapsed 1:02:05 · Remaining Calculating…"));
    }

    void saysWhenCancelling()
    {
        ProgressText::Snapshot snapshot;
        snapshot.cancelling = true;
        snapshot.completedCount = 2;
        snapshot.totalCount = 4;
        snapshot.currentClipName = QStringLiteral("0003AB");
        snapshot.overallProgress = 0.625;
        snapshot.elapsed = 75;
        snapshot.estimatedRemaining = 45;
        QCOMPARE(ProgressText::progressLine(snapshot),
                 QStringLiteral("Cancelling… 2 / 4 · 63% · 0003AB · Elapsed 1:15 · Remaining 0:45"));
    }
};

QTEST_GUILESS_MAIN(ProgressTextTest)
#include "ProgressTextTest.moc"
