#include "run/ScanCommand.h"

#include <QTest>

// The lines of `tolvane-cli scan --timings`.
class ScanTimingsTest : public QObject
{
    Q_OBJECT

private slots:
    void timingsText()
    {
        ScanCommand::Timings timings;
        timings.walkSeconds = 0.0042;
        timings.pairingSeconds = 1.5;
        timings.reportSeconds = 0.0004;
        timings.filesReadNatively = 1;
        timings.filesNotReadNatively = 2;
        timings.ffprobeRuns = 1;
        timings.answersFromMemory = 1;
        timings.nativeReadSeconds = 0.0001;
        timings.ffprobeSeconds = 0.25;
        QCOMPARE(ScanCommand::timingsText(timings),
                 QStringLiteral("Card folders walked in 0.004 s\n"
                                "Paired (UMIDs, CLIP XML, shoot order) in 1.500 s\n"
                                "Report written in 0.000 s\n"
                                "1 file read natively (0.000 s), 2 not readable natively\n"
                                "1 fallback to ffprobe (0.250 s), 1 answer from memory\n"));
        timings.filesReadNatively = 500;
        timings.ffprobeRuns = 0;
        timings.answersFromMemory = 0;
        QVERIFY(ScanCommand::timingsText(timings).contains(
            QStringLiteral("500 files read natively (0.000 s), 2 not readable natively\n"
                           "0 fallbacks to ffprobe (0.250 s), 0 answers from memory\n")));
    }
};

QTEST_GUILESS_MAIN(ScanTimingsTest)
#include "ScanTimingsTest.moc"
