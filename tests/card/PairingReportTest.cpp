#include "card/PairingReport.h"

#include "PairingTests.h"

#include <QTest>

namespace {

PairingReportEntry verifiedEntry()
{
    PairingReportEntry entry;
    entry.clipID = QUuid::createUuid();
    entry.clipName = QStringLiteral("0003AB");
    entry.xmlFile = QStringLiteral("0003AB.XML");
    entry.videoFile = QStringLiteral("0003AB.MXF");
    entry.audioFiles = {QStringLiteral("0003AB00.MXF"), QStringLiteral("0003AB01.MXF")};
    entry.method = P2Clip::PairingMethod::xmlVerified;
    entry.included = true;
    entry.startTimecode = QStringLiteral("01:00:20:00");
    entry.recordingDateTimeDisplay = QStringLiteral("2026-07-01T15:02:00Z");
    entry.sortKeySource = QStringLiteral("XML recording date/time");
    entry.exportOrderNumber = 3;
    return entry;
}

PairingReportEntry excludedVideoEntry()
{
    PairingReportEntry entry;
    entry.clipName = QStringLiteral("0009AB");
    entry.videoFile = QStringLiteral("0009AB.MXF");
    entry.note = QStringLiteral(
        "No XML/UMID match. Enable \"Allow unsafe fallback pairing\" in Settings to include this clip.");
    return entry;
}

} // namespace

class PairingReportTest : public QObject
{
    Q_OBJECT

private slots:
    void verifiedClipWithoutNoteHasEightLines()
    {
        const QString block = verifiedEntry().reportBlock();
        QCOMPARE(block, QStringLiteral("Final export order number: 003\n"
                                       "XML file: 0003AB.XML\n"
                                       "Video MXF: 0003AB.MXF\n"
                                       "Audio MXFs: 0003AB00.MXF, 0003AB01.MXF\n"
                                       "Recording date/time: 2026-07-01T15:02:00Z\n"
                                       "Start timecode: 01:00:20:00\n"
                                       "Sort key used: XML recording date/time\n"
                                       "Pairing method: XML metadata (UMID-verified)"));
        QCOMPARE(block.split(QLatin1Char('\n')).size(), 8);
    }

    void excludedEntryWithoutXML()
    {
        QCOMPARE(excludedVideoEntry().reportBlock(),
                 QStringLiteral("XML file: — (none found)\n"
                                "Video MXF: 0009AB.MXF\n"
                                "Audio MXFs: —\n"
                                "Recording date/time: unknown\n"
                                "Start timecode: unknown\n"
                                "Sort key used: n/a — excluded\n"
                                "Pairing method: Excluded — no XML/UMID match, fallback disabled\n"
                                "Status: NOT CONVERTED — No XML/UMID match. Enable \"Allow unsafe fallback "
                                "pairing\" in Settings to include this clip."));
    }

    void excludedEntryWithoutNoteOrVideo()
    {
        PairingReportEntry entry;
        entry.xmlFile = QStringLiteral("0004AB.XML");
        QCOMPARE(entry.reportBlock(), QStringLiteral("XML file: 0004AB.XML\n"
                                                     "Video MXF: — (unresolved, no UMID match)\n"
                                                     "Audio MXFs: —\n"
                                                     "Recording date/time: unknown\n"
                                                     "Start timecode: unknown\n"
                                                     "Sort key used: n/a — excluded\n"
                                                     "Pairing method: Excluded — no XML/UMID match, fallback "
                                                     "disabled\n"
                                                     "Status: NOT CONVERTED"));
    }

    void includedFallbackClipShowsItsNote()
    {
        PairingReportEntry entry;
        entry.clipID = QUuid::createUuid();
        entry.videoFile = QStringLiteral("0007AB.MXF");
        entry.audioFiles = {QStringLiteral("0007AB00.MXF")};
        entry.method = P2Clip::PairingMethod::filenamePrefixUnsafe;
        entry.included = true;
        entry.note = QStringLiteral("Not verified by XML/UMID — matched by filename only");
        entry.exportOrderNumber = 12;
        QCOMPARE(entry.reportBlock(),
                 QStringLiteral("Final export order number: 012\n"
                                "XML file: — (none found)\n"
                                "Video MXF: 0007AB.MXF\n"
                                "Audio MXFs: 0007AB00.MXF\n"
                                "Recording date/time: unknown\n"
                                "Start timecode: unknown\n"
                                "Sort key used: not resolved\n"
                                "Pairing method: Filename match (UNSAFE — not verified by "
                                "XML/UMID)\n"
                                "Note: Not verified by XML/UMID — matched by filename only"));
    }

    void orderNumbers_data()
    {
        QTest::addColumn<int>("number");
        QTest::addColumn<QString>("line");
        QTest::newRow("1") << 1 << QStringLiteral("Final export order number: 001");
        QTest::newRow("99") << 99 << QStringLiteral("Final export order number: 099");
        QTest::newRow("999") << 999 << QStringLiteral("Final export order number: 999");
        QTest::newRow("1000") << 1000 << QStringLiteral("Final export order number: 1000");
        QTest::newRow("1234") << 1234 << QStringLiteral("Final export order number: 1234");
        QTest::newRow("123456") << 123456 << QStringLiteral("Final export order number: 123456");
    }

    void orderNumbers()
    {
        QFETCH(int, number);
        QFETCH(QString, line);
        PairingReportEntry entry = verifiedEntry();
        entry.exportOrderNumber = number;
        QCOMPARE(entry.reportBlock().section(QLatin1Char('\n'), 0, 0), line);
    }

    void noSummaryLinesStartsWithTheFirstBlock()
    {
        const PairingReportEntry first = verifiedEntry();
        const PairingReportEntry second = excludedVideoEntry();
        QCOMPARE(PairingReport::text({}, {first, second}),
                 first.reportBlock() + QStringLiteral("\n\n") + second.reportBlock());
    }

    void summaryLinesThenOneEmptyLine()
    {
        const PairingReportEntry entry = verifiedEntry();
        QCOMPARE(
            PairingReport::text({QStringLiteral("first line."), QStringLiteral("second line.")}, {entry}),
            QStringLiteral("first line.\nsecond line.\n\n") + entry.reportBlock());
    }

    // Names and XML texts come from the card: none may forge a line or reach a terminal raw.
    void controlCharactersFromTheCardAreShownEscaped()
    {
        PairingReportEntry entry = verifiedEntry();
        entry.xmlFile = QStringLiteral("0003AB\x1b[2J.XML");
        entry.videoFile = QStringLiteral("0003AB\r.MXF");
        entry.audioFiles = {QStringLiteral("0003AB00\t.MXF"), QStringLiteral("0003AB01\u0085.MXF")};
        entry.startTimecode = QStringLiteral("01:00:20:00\nStatus: forged");
        entry.recordingDateTimeDisplay = QStringLiteral("2026\x7f");
        entry.note = QStringLiteral("Clip\nPairing method: forged");
        const QString text =
            PairingReport::text({QStringLiteral("0003AB\nXML file: forged: CLIP XML declares 4.")}, {entry});
        QCOMPARE(text, QStringLiteral("0003AB\\nXML file: forged: CLIP XML declares 4.\n\n"
                                      "Final export order number: 003\n"
                                      "XML file: 0003AB\\x1b[2J.XML\n"
                                      "Video MXF: 0003AB\\r.MXF\n"
                                      "Audio MXFs: 0003AB00\\t.MXF, 0003AB01\\x85.MXF\n"
                                      "Recording date/time: 2026\\x7f\n"
                                      "Start timecode: 01:00:20:00\\nStatus: forged\n"
                                      "Sort key used: XML recording date/time\n"
                                      "Pairing method: XML metadata (UMID-verified)\n"
                                      "Note: Clip\\nPairing method: forged"));
    }

    void summaryLinesAlone()
    {
        QCOMPARE(PairingReport::text({QStringLiteral("only line.")}, {}), QStringLiteral("only line.\n"));
    }

    void emptyPairingGivesEmptyText() { QCOMPARE(PairingReport::text({}, {}), QString()); }
};

int runPairingReportTests(int argc, char** argv)
{
    PairingReportTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "PairingReportTest.moc"
