#include "CommandRun.h"
#include "PairingTests.h"
#include "PairingTestSupport.h"

#include <QDir>
#include <QRegularExpression>
#include <QTest>

using namespace PairingTestSupport;

namespace {

// Three verified clips filmed in the order 0002AB, 0003AB, 0001AB.
SyntheticCard::CardSpec allVerifiedCard()
{
    SyntheticCard::CardSpec plan;
    plan.clips = {shortClip(1), shortClip(2), shortClip(3)};
    plan.clips[0].creationDate = QStringLiteral("2026-07-01T12:00:00-05:00");
    plan.clips[0].shootStartDate = plan.clips[0].creationDate;
    return plan;
}

const char* const allVerifiedReport = R"(Final export order number: 003
XML file: 0001AB.XML
Video MXF: 0001AB.MXF
Audio MXFs: 0001AB00.MXF, 0001AB01.MXF, 0001AB02.MXF, 0001AB03.MXF
Recording date/time: 2026-07-01T17:00:00Z
Start timecode: 01:00:00:00
Sort key used: XML recording date/time
Pairing method: XML metadata (UMID-verified)

Final export order number: 001
XML file: 0002AB.XML
Video MXF: 0002AB.MXF
Audio MXFs: 0002AB00.MXF, 0002AB01.MXF, 0002AB02.MXF, 0002AB03.MXF
Recording date/time: 2026-07-01T15:01:00Z
Start timecode: 01:00:10:00
Sort key used: XML recording date/time
Pairing method: XML metadata (UMID-verified)

Final export order number: 002
XML file: 0003AB.XML
Video MXF: 0003AB.MXF
Audio MXFs: 0003AB00.MXF, 0003AB01.MXF, 0003AB02.MXF, 0003AB03.MXF
Recording date/time: 2026-07-01T15:02:00Z
Start timecode: 01:00:20:00
Sort key used: XML recording date/time
Pairing method: XML metadata (UMID-verified))";

// One clip of each kind: verified; an XML without GlobalClipID whose video is
// then matched by file name; a video paired by sort order; a video alone.
SyntheticCard::CardSpec mixedCard()
{
    SyntheticCard::CardSpec plan;
    plan.clips = {shortClip(1, 4), shortClip(2, 2), shortClip(3, 0), shortClip(4, 0)};
    plan.clips[1].xmlHasGlobalClipID = false;
    plan.clips[2].writeXml = false;
    plan.clips[3].writeXml = false;
    plan.clips[3].mxfCreationTime = QStringLiteral("2026-07-01T14:00:00Z");
    plan.orphanAudio.push_back({QStringLiteral("9001ZZ00.MXF"), SyntheticCard::umidFor(91)});
    return plan;
}

const char* const mixedReport =
    R"(Unsafe fallback pairing is ON — 3 clip(s) without a verified XML/UMID match will be paired by filename or sort order. Double-check their audio manually.
Sorted-order fallback (least reliable): pairing 1 remaining clip(s) with remaining audio files purely by sort order.

Final export order number: 002
XML file: 0001AB.XML
Video MXF: 0001AB.MXF
Audio MXFs: 0001AB00.MXF, 0001AB01.MXF, 0001AB02.MXF, 0001AB03.MXF
Recording date/time: 2026-07-01T15:00:00Z
Start timecode: 01:00:00:00
Sort key used: XML recording date/time
Pairing method: XML metadata (UMID-verified)

XML file: 0002AB.XML
Video MXF: — (unresolved, no UMID match)
Audio MXFs: —
Recording date/time: 2026-07-01T15:01:00Z
Start timecode: 01:00:10:00
Sort key used: n/a — excluded
Pairing method: Excluded — no XML/UMID match, fallback disabled
Status: NOT CONVERTED — CLIP XML has no GlobalClipID ()

Final export order number: 003
XML file: — (none found)
Video MXF: 0002AB.MXF
Audio MXFs: 0002AB00.MXF, 0002AB01.MXF
Recording date/time: unknown
Start timecode: unknown
Sort key used: MXF embedded creation date (ffprobe)
Pairing method: Filename match (UNSAFE — not verified by XML/UMID)
Note: Not verified by XML/UMID — matched by filename only

Final export order number: 004
XML file: — (none found)
Video MXF: 0003AB.MXF
Audio MXFs: 9001ZZ00.MXF
Recording date/time: unknown
Start timecode: unknown
Sort key used: MXF embedded creation date (ffprobe)
Pairing method: Sorted order (UNSAFE — not verified by XML/UMID)
Note: Not verified — paired purely by sort order

Final export order number: 001
XML file: — (none found)
Video MXF: 0004AB.MXF
Audio MXFs: —
Recording date/time: unknown
Start timecode: unknown
Sort key used: MXF embedded creation date (ffprobe)
Pairing method: Video only (UNVERIFIED — no XML match, no audio found)
Note: No XML/UMID match and no audio found — converting video-only)";

const char* const mixedReportFallbackOff =
    R"(3 clip(s) have no XML/UMID-verified pairing and were NOT converted because "Allow unsafe fallback pairing" is off: 0002AB, 0003AB, 0004AB.
3 audio file(s) were not used by any clip: 0002AB00.MXF, 0002AB01.MXF, 9001ZZ00.MXF.

Final export order number: 001
XML file: 0001AB.XML
Video MXF: 0001AB.MXF
Audio MXFs: 0001AB00.MXF, 0001AB01.MXF, 0001AB02.MXF, 0001AB03.MXF
Recording date/time: 2026-07-01T15:00:00Z
Start timecode: 01:00:00:00
Sort key used: XML recording date/time
Pairing method: XML metadata (UMID-verified)

XML file: 0002AB.XML
Video MXF: — (unresolved, no UMID match)
Audio MXFs: —
Recording date/time: 2026-07-01T15:01:00Z
Start timecode: 01:00:10:00
Sort key used: n/a — excluded
Pairing method: Excluded — no XML/UMID match, fallback disabled
Status: NOT CONVERTED — CLIP XML has no GlobalClipID ()

XML file: — (none found)
Video MXF: 0002AB.MXF
Audio MXFs: —
Recording date/time: unknown
Start timecode: unknown
Sort key used: n/a — excluded
Pairing method: Excluded — no XML/UMID match, fallback disabled
Status: NOT CONVERTED — No XML/UMID match. Enable "Allow unsafe fallback pairing" in Settings to include this clip.

XML file: — (none found)
Video MXF: 0003AB.MXF
Audio MXFs: —
Recording date/time: unknown
Start timecode: unknown
Sort key used: n/a — excluded
Pairing method: Excluded — no XML/UMID match, fallback disabled
Status: NOT CONVERTED — No XML/UMID match. Enable "Allow unsafe fallback pairing" in Settings to include this clip.

XML file: — (none found)
Video MXF: 0004AB.MXF
Audio MXFs: —
Recording date/time: unknown
Start timecode: unknown
Sort key used: n/a — excluded
Pairing method: Excluded — no XML/UMID match, fallback disabled
Status: NOT CONVERTED — No XML/UMID match. Enable "Allow unsafe fallback pairing" in Settings to include this clip.)";

SyntheticCard::CardSpec twoClipCard()
{
    SyntheticCard::CardSpec plan;
    plan.clips = {shortClip(1, 2), shortClip(2, 2)};
    return plan;
}

const char* const noFFprobeReport =
    R"(ffprobe not found — clips cannot be verified by UMID. Only unsafe fallback pairing is possible (enable it in Settings).
2 clip(s) have no XML/UMID-verified pairing and were NOT converted because "Allow unsafe fallback pairing" is off: 0001AB, 0002AB.
4 audio file(s) were not used by any clip: 0001AB00.MXF, 0001AB01.MXF, 0002AB00.MXF, 0002AB01.MXF.

XML file: 0001AB.XML
Video MXF: — (unresolved, no UMID match)
Audio MXFs: —
Recording date/time: 2026-07-01T15:00:00Z
Start timecode: 01:00:00:00
Sort key used: n/a — excluded
Pairing method: Excluded — no XML/UMID match, fallback disabled
Status: NOT CONVERTED — ffprobe unavailable — cannot verify by UMID

XML file: 0002AB.XML
Video MXF: — (unresolved, no UMID match)
Audio MXFs: —
Recording date/time: 2026-07-01T15:01:00Z
Start timecode: 01:00:10:00
Sort key used: n/a — excluded
Pairing method: Excluded — no XML/UMID match, fallback disabled
Status: NOT CONVERTED — ffprobe unavailable — cannot verify by UMID

XML file: — (none found)
Video MXF: 0001AB.MXF
Audio MXFs: —
Recording date/time: unknown
Start timecode: unknown
Sort key used: n/a — excluded
Pairing method: Excluded — no XML/UMID match, fallback disabled
Status: NOT CONVERTED — No XML/UMID match. Enable "Allow unsafe fallback pairing" in Settings to include this clip.

XML file: — (none found)
Video MXF: 0002AB.MXF
Audio MXFs: —
Recording date/time: unknown
Start timecode: unknown
Sort key used: n/a — excluded
Pairing method: Excluded — no XML/UMID match, fallback disabled
Status: NOT CONVERTED — No XML/UMID match. Enable "Allow unsafe fallback pairing" in Settings to include this clip.)";

// Clips with the given XML start timecodes and no recording date/time.
SyntheticCard::CardSpec undatedCard(const QStringList& timecodes)
{
    SyntheticCard::CardSpec plan;
    for (int n = 1; n <= timecodes.size(); ++n) {
        SyntheticCard::ClipSpec clip = shortClip(n, 2);
        clip.xmlStartTimecode = timecodes.at(n - 1);
        clip.creationDate.reset();
        clip.shootStartDate.reset();
        plan.clips.push_back(clip);
    }
    return plan;
}

const char* const noXMLDatesReport = R"(Final export order number: 003
XML file: 0001AB.XML
Video MXF: 0001AB.MXF
Audio MXFs: 0001AB00.MXF, 0001AB01.MXF
Recording date/time: unknown
Start timecode: 02:00:00:00
Sort key used: Clip start timecode (XML has no recording date/time)
Pairing method: XML metadata (UMID-verified)

Final export order number: 001
XML file: 0002AB.XML
Video MXF: 0002AB.MXF
Audio MXFs: 0002AB00.MXF, 0002AB01.MXF
Recording date/time: unknown
Start timecode: 01:00:00:00
Sort key used: Clip start timecode (XML has no recording date/time)
Pairing method: XML metadata (UMID-verified)

Final export order number: 002
XML file: 0003AB.XML
Video MXF: 0003AB.MXF
Audio MXFs: 0003AB00.MXF, 0003AB01.MXF
Recording date/time: unknown
Start timecode: 01:30:00:00
Sort key used: Clip start timecode (XML has no recording date/time)
Pairing method: XML metadata (UMID-verified))";

const char* const dropFrameReport = R"(Final export order number: 003
XML file: 0001AB.XML
Video MXF: 0001AB.MXF
Audio MXFs: 0001AB00.MXF, 0001AB01.MXF
Recording date/time: unknown
Start timecode: 01:00:00;02
Sort key used: Clip start timecode (XML has no recording date/time)
Pairing method: XML metadata (UMID-verified)

Final export order number: 002
XML file: 0002AB.XML
Video MXF: 0002AB.MXF
Audio MXFs: 0002AB00.MXF, 0002AB01.MXF
Recording date/time: unknown
Start timecode: 01:00:00;01
Sort key used: Clip start timecode (XML has no recording date/time)
Pairing method: XML metadata (UMID-verified)

Final export order number: 001
XML file: 0003AB.XML
Video MXF: 0003AB.MXF
Audio MXFs: 0003AB00.MXF, 0003AB01.MXF
Recording date/time: unknown
Start timecode: 00;59;59;29
Sort key used: Clip start timecode (XML has no recording date/time)
Pairing method: XML metadata (UMID-verified))";

const QString noVideoMessage =
    QStringLiteral("No video MXF files were found in this folder. Make sure you selected a "
                   "P2 card (or its CONTENTS folder) containing a VIDEO folder.\n");

CommandRun runCli(const QStringList& arguments, const QString& workingDirectory = QString())
{
    return runCommand(QStringLiteral(TOLVANE_CLI_PATH), arguments, workingDirectory);
}

} // namespace

class PairingCardReportTest : public QObject
{
    Q_OBJECT

private:
    CardWriter m_writer;
    std::optional<ToolFolder> m_tools;
    std::optional<SyntheticCard::WrittenCard> m_allVerified;

    void compareReport(const SyntheticCard::CardSpec& plan, bool allowUnsafeFallback, const char* expected)
    {
        const std::optional<SyntheticCard::WrittenCard> card = m_writer.write(plan);
        QVERIFY(card);
        QCOMPARE(reportText(scanAndPair(card->rootPath, allowUnsafeFallback)), QString::fromUtf8(expected));
    }

private slots:
    void init()
    {
        REQUIRE_REAL_FFPROBE();
        m_tools.emplace(realFFprobe());
        QVERIFY(m_tools->ready());
    }

    void cleanup() { m_tools.reset(); }

    void allVerifiedWithFourAudioFiles()
    {
        m_allVerified = m_writer.write(allVerifiedCard());
        QVERIFY(m_allVerified);
        QCOMPARE(reportText(scanAndPair(m_allVerified->rootPath, false)),
                 QString::fromUtf8(allVerifiedReport));
        // The card's CONTENTS folder gives the same report.
        QCOMPARE(reportText(scanAndPair(m_allVerified->contentsPath, false)),
                 QString::fromUtf8(allVerifiedReport));
    }

    void mixedVerifiedExcludedAndFallback() { compareReport(mixedCard(), true, mixedReport); }

    void mixedWithFallbackOff() { compareReport(mixedCard(), false, mixedReportFallbackOff); }

    void withoutFFprobe()
    {
        const std::optional<SyntheticCard::WrittenCard> card = m_writer.write(twoClipCard());
        QVERIFY(card);
        m_tools.emplace(QString());
        QVERIFY(m_tools->ready());
        QCOMPARE(reportText(scanAndPair(card->rootPath, false)), QString::fromUtf8(noFFprobeReport));
    }

    void withoutXMLDates()
    {
        compareReport(undatedCard({QStringLiteral("02:00:00:00"), QStringLiteral("01:00:00:00"),
                                   QStringLiteral("01:30:00:00")}),
                      false, noXMLDatesReport);
    }

    void dropFrameTimecodes()
    {
        compareReport(undatedCard({QStringLiteral("01:00:00;02"), QStringLiteral("01:00:00;01"),
                                   QStringLiteral("00;59;59;29")}),
                      false, dropFrameReport);
    }

    // The command line prints the same text, as the report file holds it.

    void cliPrintsTheReport()
    {
        if (!m_allVerified)
            QSKIP("needs the card of allVerifiedWithFourAudioFiles");
        const CommandRun run = runCli({QStringLiteral("scan"), m_allVerified->rootPath});
        QCOMPARE(run.standardError, QString());
        QCOMPARE(run.standardOutput, QString::fromUtf8(allVerifiedReport) + QLatin1Char('\n'));
        QCOMPARE(run.exitStatus, 0);
    }

    void cliTellsWhereTheTimeWent()
    {
        if (!m_allVerified)
            QSKIP("needs the card of allVerifiedWithFourAudioFiles");
        const CommandRun run =
            runCli({QStringLiteral("scan"), QStringLiteral("--timings"), m_allVerified->rootPath});
        QCOMPARE(run.standardOutput, QString::fromUtf8(allVerifiedReport) + QLatin1Char('\n'));
        QCOMPARE(run.exitStatus, 0);
        // Every file of the card is read natively, none falls back to ffprobe.
        int files = 0;
        for (const SyntheticCard::WrittenClip& clip : m_allVerified->clips)
            files += 1 + static_cast<int>(clip.audioPaths.size());
        const QRegularExpression expected(
            QStringLiteral("^Card folders walked in \\d+\\.\\d{3} s\n"
                           "Paired \\(UMIDs, CLIP XML, shoot order\\) in \\d+\\.\\d{3} s\n"
                           "Report written in \\d+\\.\\d{3} s\n"
                           "%1 files read natively \\(\\d+\\.\\d{3} s\\), 0 not readable natively\n"
                           "0 fallbacks to ffprobe \\(0\\.000 s\\), \\d+ answers? from memory\n$")
                .arg(files));
        QVERIFY2(expected.match(run.standardError).hasMatch(), qPrintable(run.standardError));
    }

    void cliExitsWith1WhenNoClipWouldConvert()
    {
        SyntheticCard::CardSpec plan;
        plan.clips = {shortClip(1, 1)};
        plan.clips[0].writeXml = false;
        const std::optional<SyntheticCard::WrittenCard> card = m_writer.write(plan);
        QVERIFY(card);

        const CommandRun excluded = runCli({QStringLiteral("scan"), card->rootPath});
        QCOMPARE(excluded.exitStatus, 1);
        QVERIFY(excluded.standardOutput.startsWith(
            QStringLiteral("1 clip(s) have no XML/UMID-verified pairing")));
        QVERIFY(excluded.standardOutput.endsWith(QStringLiteral("include this clip.\n")));

        const CommandRun fallback =
            runCli({QStringLiteral("scan"), QStringLiteral("--allow-unsafe-fallback"), card->rootPath});
        QCOMPARE(fallback.exitStatus, 0);
        QVERIFY(
            fallback.standardOutput.startsWith(QStringLiteral("Unsafe fallback pairing is ON — 1 clip(s)")));
        QVERIFY(fallback.standardOutput.contains(
            QStringLiteral("\nPairing method: Filename match (UNSAFE — not verified by XML/UMID)\n")));
    }

    void cliRefusesAFolderWithoutVideo()
    {
        const QString empty = m_writer.newFolder();
        QVERIFY(QDir().mkpath(empty + QStringLiteral("/-card/CONTENTS/CLIP")));
        const CommandRun run = runCli({QStringLiteral("scan"), empty});
        QCOMPARE(run.exitStatus, 2);
        QCOMPARE(run.standardOutput, QString());
        QCOMPARE(run.standardError, noVideoMessage);

        // After "--" a name starting with a dash is the folder, not an option.
        const CommandRun dashed =
            runCli({QStringLiteral("scan"), QStringLiteral("--"), QStringLiteral("-card")}, empty);
        QCOMPARE(dashed.exitStatus, 2);
        QCOMPARE(dashed.standardError, noVideoMessage);
    }

    void cliUsageErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        const QString folder = QDir::tempPath();
        QTest::newRow("no folder") << QStringList{QStringLiteral("scan")}
                                   << QStringLiteral(
                                          "tolvane-cli scan: no card folder given. Try tolvane-cli "
                                          "--help.\n");
        QTest::newRow("unknown option")
            << QStringList{QStringLiteral("scan"), QStringLiteral("--fast"), folder}
            << QStringLiteral("tolvane-cli scan: unknown option “--fast”. Try tolvane-cli --help.\n");
        QTest::newRow("two folders") << QStringList{QStringLiteral("scan"), folder, folder}
                                     << QStringLiteral(
                                            "tolvane-cli scan: one card folder at a time, not 2. Try "
                                            "tolvane-cli --help.\n");
        QTest::newRow("not a folder")
            << QStringList{QStringLiteral("scan"), QStringLiteral("/nonexistent/card")}
            << QStringLiteral(
                   "tolvane-cli scan: “/nonexistent/card” is not a folder. Try tolvane-cli --help.\n");
    }

    void cliUsageErrors()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        QCOMPARE(runCli(arguments), (CommandRun{2, QString(), message}));
    }

    void cliHelpExplainsScan_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("--help") << QStringList{QStringLiteral("--help")};
        QTest::newRow("scan --help") << QStringList{QStringLiteral("scan"), QStringLiteral("--help")};
        QTest::newRow("scan CARD -h")
            << QStringList{QStringLiteral("scan"), QStringLiteral("card"), QStringLiteral("-h")};
    }

    void cliHelpExplainsScan()
    {
        QFETCH(QStringList, arguments);
        const CommandRun run = runCli(arguments);
        QCOMPARE(run.exitStatus, 0);
        QVERIFY(run.standardOutput.contains(
            QStringLiteral("  scan CARD [--allow-unsafe-fallback] [--timings] [--json]\n")));
        QVERIFY(run.standardOutput.contains(QStringLiteral("With --timings, standard error tells")));
        QVERIFY(
            run.standardOutput.contains(QStringLiteral("With --json, standard output is a JSON document")));
        QVERIFY(
            run.standardOutput.contains(QStringLiteral("Exit status: 0 when at least one clip would be")));
    }
};

int runPairingCardReportTests(int argc, char** argv)
{
    PairingCardReportTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "PairingCardReportTest.moc"
