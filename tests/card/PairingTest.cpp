#include "card/Pairing.h"

#include "card/P2Scanner.h"
#include "card/ShootOrder.h"
#include "media/ProbeCache.h"
#include "media/ToolLimits.h"
#include "PairingTests.h"
#include "PairingTestSupport.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTest>
#include <QThread>

using namespace P2MetadataParser;
using namespace PairingTestSupport;
using Method = P2Clip::PairingMethod;

namespace {

QString fileName(const QString& path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

QStringList fileNames(const QStringList& paths)
{
    QStringList names;
    for (const QString& path : paths)
        names.append(fileName(path));
    return names;
}

const PairingReportEntry* entryForXML(const PairingResult& result, const QString& xmlFile)
{
    for (const PairingReportEntry& entry : result.entries) {
        if (entry.xmlFile == xmlFile)
            return &entry;
    }
    return nullptr;
}

const P2Clip* clipFor(const PairingResult& result, const PairingReportEntry& entry)
{
    for (const P2Clip& clip : result.clips) {
        if (entry.clipID == clip.id)
            return &clip;
    }
    return nullptr;
}

QString noMatchNote()
{
    return QStringLiteral("No VIDEO file's UMID matches this clip's GlobalClipID");
}

QString fallbackOffNote()
{
    return QStringLiteral(
        "No XML/UMID match. Enable \"Allow unsafe fallback pairing\" in Settings to include this clip.");
}

int readNumber(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toInt() : 0;
}

QStringList readLines(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

// Lets the stand-in ffprobe's waiting copies end, at the latest when the test
// leaves, so a failing check never leaves processes waiting for ever.
class Gate
{
public:
    explicit Gate(QString path) : path_(std::move(path)) {}
    ~Gate() { open(); }
    void open() { writeFile(path_, {}); }

private:
    QString path_;
};

// The whole XML text of a clip with its own GlobalClipID element's text replaced.
QByteArray xmlWithGlobalClipID(const SyntheticCard::ClipSpec& clip, const QString& id)
{
    QString xml = SyntheticCard::clipXml(clip);
    static const QRegularExpression element(QStringLiteral("<GlobalClipID>[^<]*</GlobalClipID>"));
    const QRegularExpressionMatch match = element.match(xml);
    xml.replace(match.capturedStart(), match.capturedLength(),
                QStringLiteral("<GlobalClipID>%1</GlobalClipID>").arg(id));
    return xml.toUtf8();
}

} // namespace

class PairingTest : public QObject
{
    Q_OBJECT

private:
    CardWriter m_writer;
    std::optional<ToolFolder> m_tools;

    // Writes the card and pairs it with the real ffprobe.
    std::optional<std::pair<SyntheticCard::WrittenCard, PairingResult>> pairCard(SyntheticCard::CardSpec plan,
                                                                                 bool allowUnsafeFallback)
    {
        std::optional<SyntheticCard::WrittenCard> card = m_writer.write(std::move(plan));
        if (!card)
            return std::nullopt;
        PairingResult result = scanAndPair(card->rootPath, allowUnsafeFallback);
        return std::pair{std::move(*card), std::move(result)};
    }

    // A card holding clip 0001AB alone.
    std::optional<SyntheticCard::WrittenCard> writeSingleClipCard(int audioCount)
    {
        SyntheticCard::CardSpec plan;
        plan.clips = {shortClip(1, audioCount)};
        return m_writer.write(std::move(plan));
    }

private slots:
    void init()
    {
        if (QByteArray(QTest::currentTestFunction()).startsWith("fake"))
            return;
        REQUIRE_REAL_FFPROBE();
        m_tools.emplace(realFFprobe());
        QVERIFY(m_tools->ready());
    }

    void cleanup() { m_tools.reset(); }

    void fourAudioFilesPerClipAreVerifiedByUMID()
    {
        SyntheticCard::CardSpec plan;
        plan.clips = {shortClip(2), shortClip(1)};
        const auto paired = pairCard(plan, false);
        QVERIFY(paired);
        const auto& [card, result] = *paired;
        QCOMPARE(result.summaryLines, QStringList());
        QCOMPARE(result.clips.size(), 2);
        QCOMPARE(result.entries.size(), 2);
        for (const SyntheticCard::WrittenClip& written : card.clips) {
            const PairingReportEntry* entry = entryForXML(result, fileName(written.xmlPath));
            QVERIFY(entry);
            QVERIFY(entry->included);
            QCOMPARE(entry->method, Method::xmlVerified);
            QCOMPARE(label(*entry->method), QStringLiteral("XML metadata (UMID-verified)"));
            QCOMPARE(entry->note, std::nullopt);
            const P2Clip* clip = clipFor(result, *entry);
            QVERIFY(clip);
            QCOMPARE(clip->videoURL, written.videoPath);
            QCOMPARE(clip->audioURLs, written.audioPaths);
            QCOMPARE(clip->audioURLs.size(), 4);
            QCOMPARE(clip->xmlURL, written.xmlPath);
            QCOMPARE(clip->pairingMethod, Method::xmlVerified);
            QCOMPARE(entry->audioFiles, fileNames(written.audioPaths));
        }
        // Entries follow the CLIP file names; clips follow the shoot.
        QCOMPARE(result.entries.at(0).xmlFile, QStringLiteral("0001AB.XML"));
        QCOMPARE(result.clips.at(0).videoURL, card.clips[1].videoPath);
        QCOMPARE(result.clips.at(0).exportOrderNumber, 1);
        QCOMPARE(result.clips.at(0).frameRate, 29.97);
        QCOMPARE(result.clips.at(0).startTimecode, QStringLiteral("01:00:00:00"));
        QCOMPARE(result.clips.at(0).recordingDateTime, parseInternetDateTime(u"2026-07-01T15:00:00Z"));
    }

    // Verifying an unchanged card again asks nothing of its files; other
    // settings pair afresh from what is known of them, and a file written
    // again is read again.
    void pairingAnUnchangedCardAgainAsksNothing()
    {
        const std::optional<SyntheticCard::WrittenCard> card = writeSingleClipCard(2);
        QVERIFY(card);
        // A card just written is never taken as unchanged (see the scanner's tests).
        QThread::msleep(2100);
        ProbeCache::reset();
        const auto pair = [&card](bool allowUnsafeFallback) {
            return QCoro::waitFor(
                P2MetadataParser::pairClips(P2Scanner::scan(card->rootPath), allowUnsafeFallback));
        };
        const PairingResult first = pair(false);
        QCOMPARE(first.clips.size(), 1);
        const ProbeCache::Statistics known = ProbeCache::statistics();
        QCOMPARE(known.filesReadNatively, 3);

        const PairingResult again = pair(false);
        QCOMPARE(again.clips.at(0).id, first.clips.at(0).id);
        QCOMPARE(reportText(again), reportText(first));
        QCOMPARE(ProbeCache::statistics().answersFromMemory, known.answersFromMemory);
        QCOMPARE(ProbeCache::statistics().toolRuns, known.toolRuns);

        const PairingResult withFallback = pair(true);
        QVERIFY(withFallback.clips.at(0).id != first.clips.at(0).id);
        QCOMPARE(reportText(withFallback), reportText(first));
        QVERIFY(ProbeCache::statistics().answersFromMemory > known.answersFromMemory);
        QCOMPARE(ProbeCache::statistics().filesReadNatively, known.filesReadNatively);

        QFile audio(card->clips[0].audioPaths[0]);
        QVERIFY(audio.open(QIODevice::ReadOnly));
        QVERIFY(writeFile(audio.fileName(), audio.readAll()));
        const PairingResult afterWrite = pair(false);
        QVERIFY(afterWrite.clips.at(0).id != first.clips.at(0).id);
        QCOMPARE(reportText(afterWrite), reportText(first));
        QCOMPARE(ProbeCache::statistics().filesReadNatively, known.filesReadNatively + 1);
    }

    void videoOnlyClips()
    {
        SyntheticCard::CardSpec plan;
        plan.clips = {shortClip(1, 0), shortClip(2, 0), shortClip(3, 4)};
        plan.clips[0].declaredAudioCount = 0;
        plan.clips[1].declaredAudioCount = 2;
        plan.clips[2].declaredAudioCount = 2;
        const auto paired = pairCard(plan, false);
        QVERIFY(paired);
        const auto& [card, result] = *paired;
        QCOMPARE(result.clips.size(), 3);

        const PairingReportEntry* silent = entryForXML(result, QStringLiteral("0001AB.XML"));
        QCOMPARE(silent->method, Method::xmlNoAudioInClip);
        QCOMPARE(label(*silent->method), QStringLiteral("XML metadata (video-only — clip has no audio)"));
        QVERIFY(silent->included);
        QCOMPARE(silent->note, std::nullopt);
        QCOMPARE(clipFor(result, *silent)->audioURLs, QStringList());

        const PairingReportEntry* declared = entryForXML(result, QStringLiteral("0002AB.XML"));
        QCOMPARE(declared->method, Method::xmlNoAudioInClip);
        QVERIFY(declared->included);
        QCOMPARE(declared->note,
                 QStringLiteral("CLIP XML declares 2 audio essence(s); found 0 UMID-matching AUDIO file(s)"));

        // More audio than declared warns the same way and still pairs all of it.
        const PairingReportEntry* extra = entryForXML(result, QStringLiteral("0003AB.XML"));
        QCOMPARE(extra->method, Method::xmlVerified);
        QCOMPARE(extra->audioFiles.size(), 4);
        QCOMPARE(extra->note,
                 QStringLiteral("CLIP XML declares 2 audio essence(s); found 4 UMID-matching AUDIO file(s)"));

        QCOMPARE(result.summaryLines,
                 QStringList({QStringLiteral("0002AB: CLIP XML declares 2 audio essence(s); found 0 "
                                             "UMID-matching AUDIO file(s)."),
                              QStringLiteral("0003AB: CLIP XML declares 2 audio essence(s); found 4 "
                                             "UMID-matching AUDIO file(s).")}));
    }

    void sharedUMIDExcludesTheClipAndLeavesBothVideosUnverified()
    {
        SyntheticCard::CardSpec plan;
        plan.clips = {shortClip(1, 1), shortClip(2, 1)};
        plan.clips[1].umid = plan.clips[0].umid;
        const auto paired = pairCard(plan, false);
        QVERIFY(paired);
        const auto& [card, result] = *paired;
        QCOMPARE(result.clips.size(), 0);
        QCOMPARE(result.entries.size(), 4);
        for (int i = 0; i < 2; ++i) {
            const PairingReportEntry& entry = result.entries.at(i);
            QVERIFY(!entry.included);
            QCOMPARE(entry.method, std::nullopt);
            QCOMPARE(entry.clipID, std::nullopt);
            QCOMPARE(entry.videoFile, std::nullopt);
            QCOMPARE(entry.note, QStringLiteral("2 VIDEO files share this UMID"));
        }
        QCOMPARE(result.entries.at(2).videoFile, QStringLiteral("0001AB.MXF"));
        QCOMPARE(result.entries.at(2).note, fallbackOffNote());
        QCOMPARE(result.entries.at(3).videoFile, QStringLiteral("0002AB.MXF"));
        QCOMPARE(
            result.summaryLines,
            QStringList({QStringLiteral("2 clip(s) have no XML/UMID-verified pairing and were NOT converted "
                                        "because \"Allow unsafe fallback pairing\" is off: 0001AB, 0002AB."),
                         QStringLiteral("2 audio file(s) were not used by any clip: 0001AB00.MXF, "
                                        "0002AB00.MXF.")}));
    }

    void identifierFormsMatchTheProbedUMID_data()
    {
        QTest::addColumn<SyntheticCard::IdForm>("form");
        QTest::newRow("lower case") << SyntheticCard::IdForm::LowerCase;
        QTest::newRow("0x prefix") << SyntheticCard::IdForm::HexPrefix;
    }

    void identifierFormsMatchTheProbedUMID()
    {
        QFETCH(SyntheticCard::IdForm, form);
        SyntheticCard::CardSpec plan;
        plan.clips = {shortClip(1, 2)};
        plan.clips[0].idForm = form;
        const auto paired = pairCard(plan, false);
        QVERIFY(paired);
        const auto& [card, result] = *paired;
        QCOMPARE(result.clips.size(), 1);
        QCOMPARE(result.clips.at(0).pairingMethod, Method::xmlVerified);
        QCOMPARE(result.clips.at(0).audioURLs, card.clips[0].audioPaths);
    }

    void fallbackOffListsEveryUnverifiedVideo()
    {
        SyntheticCard::CardSpec plan;
        plan.clips = {shortClip(1, 1), shortClip(2, 1), shortClip(3, 1)};
        for (SyntheticCard::ClipSpec& clip : plan.clips)
            clip.writeXml = false;
        const auto paired = pairCard(plan, false);
        QVERIFY(paired);
        const auto& [card, result] = *paired;
        QCOMPARE(result.clips.size(), 0);
        QCOMPARE(
            result.summaryLines,
            QStringList({QStringLiteral("3 clip(s) have no XML/UMID-verified pairing and were NOT converted "
                                        "because \"Allow unsafe fallback pairing\" is off: 0001AB, 0002AB, "
                                        "0003AB."),
                         QStringLiteral("3 audio file(s) were not used by any clip: 0001AB00.MXF, "
                                        "0002AB00.MXF, 0003AB00.MXF.")}));
        QCOMPARE(result.entries.size(), 3);
        for (int i = 0; i < 3; ++i) {
            const PairingReportEntry& entry = result.entries.at(i);
            QCOMPARE(entry.clipName, QStringLiteral("000%1AB").arg(i + 1));
            QCOMPARE(entry.videoFile, QStringLiteral("000%1AB.MXF").arg(i + 1));
            QCOMPARE(entry.xmlFile, std::nullopt);
            QCOMPARE(entry.method, std::nullopt);
            QVERIFY(!entry.included);
            QCOMPARE(entry.note, fallbackOffNote());
        }
    }

    void fallbackOnPairsWaitingVideosBySortOrder()
    {
        SyntheticCard::CardSpec plan;
        plan.clips = {shortClip(2, 0), shortClip(1, 0)};
        for (SyntheticCard::ClipSpec& clip : plan.clips)
            clip.writeXml = false;
        for (int i = 5; i >= 1; --i)
            plan.orphanAudio.push_back({QStringLiteral("9%1ZZ00.MXF").arg(i, 3, 10, QLatin1Char('0')),
                                        SyntheticCard::umidFor(90 + i)});
        const auto paired = pairCard(plan, true);
        QVERIFY(paired);
        const auto& [card, result] = *paired;
        QCOMPARE(
            result.summaryLines,
            QStringList({QStringLiteral("Unsafe fallback pairing is ON — 2 clip(s) without a verified "
                                        "XML/UMID match will be paired by filename or sort order. "
                                        "Double-check their audio manually."),
                         QStringLiteral("Sorted-order fallback (least reliable): pairing 2 remaining clip(s) "
                                        "with remaining audio files purely by sort order."),
                         QStringLiteral("3 audio file(s) were not used by any clip: 9003ZZ00.MXF, "
                                        "9004ZZ00.MXF, 9005ZZ00.MXF.")}));
        QCOMPARE(result.entries.size(), 2);
        QCOMPARE(result.entries.at(0).videoFile, QStringLiteral("0001AB.MXF"));
        QCOMPARE(result.entries.at(0).audioFiles, QStringList{QStringLiteral("9001ZZ00.MXF")});
        QCOMPARE(result.entries.at(1).videoFile, QStringLiteral("0002AB.MXF"));
        QCOMPARE(result.entries.at(1).audioFiles, QStringList{QStringLiteral("9002ZZ00.MXF")});
        for (const PairingReportEntry& entry : result.entries) {
            QVERIFY(entry.included);
            QCOMPARE(entry.method, Method::sortedOrderUnsafe);
            QCOMPARE(entry.note, QStringLiteral("Not verified — paired purely by sort order"));
            QCOMPARE(clipFor(result, entry)->audioURLs.size(), 1);
            QCOMPARE(clipFor(result, entry)->xmlURL, std::nullopt);
        }
    }

    void fallbackStagesInOrder()
    {
        SyntheticCard::CardSpec plan;
        plan.clips = {shortClip(1, 2), shortClip(2, 0), shortClip(3, 0)};
        for (SyntheticCard::ClipSpec& clip : plan.clips)
            clip.writeXml = false;
        plan.orphanAudio.push_back({QStringLiteral("9001ZZ00.MXF"), SyntheticCard::umidFor(91)});
        const auto paired = pairCard(plan, true);
        QVERIFY(paired);
        const auto& [card, result] = *paired;
        QCOMPARE(result.entries.size(), 3);
        QCOMPARE(result.entries.at(0).videoFile, QStringLiteral("0001AB.MXF"));
        QCOMPARE(result.entries.at(0).method, Method::filenamePrefixUnsafe);
        QCOMPARE(result.entries.at(0).audioFiles, fileNames(card.clips[0].audioPaths));
        QCOMPARE(result.entries.at(0).note,
                 QStringLiteral("Not verified by XML/UMID — matched by filename only"));
        QCOMPARE(result.entries.at(1).videoFile, QStringLiteral("0002AB.MXF"));
        QCOMPARE(result.entries.at(1).method, Method::sortedOrderUnsafe);
        QCOMPARE(result.entries.at(1).audioFiles, QStringList{QStringLiteral("9001ZZ00.MXF")});
        QCOMPARE(result.entries.at(2).videoFile, QStringLiteral("0003AB.MXF"));
        QCOMPARE(result.entries.at(2).method, Method::unverifiedVideoOnlyUnsafe);
        QCOMPARE(result.entries.at(2).audioFiles, QStringList());
        QCOMPARE(result.entries.at(2).note,
                 QStringLiteral("No XML/UMID match and no audio found — converting video-only"));
        QVERIFY(result.entries.at(2).included);
        QCOMPARE(result.clips.size(), 3);
    }

    void verifiedAudioIsNeverOfferedToTheFallback()
    {
        SyntheticCard::CardSpec plan;
        plan.clips = {shortClip(1, 4), shortClip(2, 0)};
        // A video whose name is a prefix of the verified clip's audio names.
        plan.clips[1].clipName = QStringLiteral("0001");
        plan.clips[1].writeXml = false;
        const auto paired = pairCard(plan, true);
        QVERIFY(paired);
        const auto& [card, result] = *paired;
        QCOMPARE(result.entries.size(), 2);
        QCOMPARE(result.entries.at(0).method, Method::xmlVerified);
        QCOMPARE(result.entries.at(0).audioFiles, fileNames(card.clips[0].audioPaths));
        QCOMPARE(result.entries.at(1).videoFile, QStringLiteral("0001.MXF"));
        QCOMPARE(result.entries.at(1).method, Method::unverifiedVideoOnlyUnsafe);
        QCOMPARE(result.entries.at(1).audioFiles, QStringList());
        QCOMPARE(result.summaryLines.size(), 1);
    }

    void secondXMLForAVideoAlreadyPairedIsExcluded()
    {
        std::optional<SyntheticCard::WrittenCard> card = writeSingleClipCard(2);
        QVERIFY(card);
        QVERIFY(writeFile(card->contentsPath + QStringLiteral("/CLIP/0001AC.XML"),
                          SyntheticCard::clipXml(shortClip(1, 2)).toUtf8()));
        const PairingResult result = scanAndPair(card->rootPath, false);
        QCOMPARE(result.clips.size(), 1);
        QCOMPARE(result.entries.size(), 2);
        QCOMPARE(result.entries.at(0).xmlFile, QStringLiteral("0001AB.XML"));
        QVERIFY(result.entries.at(0).included);
        const PairingReportEntry& duplicate = result.entries.at(1);
        QCOMPARE(duplicate.xmlFile, QStringLiteral("0001AC.XML"));
        QVERIFY(!duplicate.included);
        QCOMPARE(duplicate.method, std::nullopt);
        QCOMPARE(duplicate.videoFile, QStringLiteral("0001AB.MXF"));
        QCOMPARE(duplicate.note,
                 QStringLiteral("VIDEO file 0001AB.MXF is already paired by CLIP XML 0001AB.XML"));
        QCOMPARE(result.summaryLines, QStringList());
    }

    // An XML cut short after its GlobalClipID still verifies the clip, but
    // the dates and audio count lost with the rest are no secret.
    void damageInAVerifiedClipsXMLIsShown()
    {
        std::optional<SyntheticCard::WrittenCard> card = writeSingleClipCard(2);
        QVERIFY(card);
        const QString xml = SyntheticCard::clipXml(shortClip(1, 2));
        const qsizetype cut = xml.indexOf(QStringLiteral("</GlobalClipID>")) + 15;
        QVERIFY(writeFile(card->clips.at(0).xmlPath, xml.left(cut).toUtf8()));
        const PairingResult result = scanAndPair(card->rootPath, false);
        QCOMPARE(result.clips.size(), 1);
        QCOMPARE(result.entries.size(), 1);
        const PairingReportEntry& entry = result.entries.at(0);
        QVERIFY(entry.included);
        QVERIFY(entry.note);
        const QString mismatch =
            QStringLiteral("CLIP XML declares 0 audio essence(s); found 2 UMID-matching AUDIO file(s)");
        QVERIFY2(entry.note->startsWith(mismatch + QStringLiteral("; XML parse error: ")),
                 qPrintable(*entry.note));
        QCOMPARE(result.summaryLines.size(), 2);
        QCOMPARE(result.summaryLines.at(0), QStringLiteral("0001AB: ") + mismatch + QLatin1Char('.'));
        QVERIFY2(result.summaryLines.at(1).startsWith(QStringLiteral("0001AB: XML parse error: ")),
                 qPrintable(result.summaryLines.at(1)));
        QVERIFY(result.summaryLines.at(1).endsWith(QLatin1Char('.')));
    }

    void withoutFFprobeEveryXMLIsExcluded()
    {
        SyntheticCard::CardSpec plan;
        plan.clips = {shortClip(1, 2), shortClip(2, 2)};
        std::optional<SyntheticCard::WrittenCard> card = m_writer.write(plan);
        QVERIFY(card);
        m_tools.emplace(QString());
        QVERIFY(m_tools->ready());

        const PairingResult off = scanAndPair(card->rootPath, false);
        QCOMPARE(off.clips.size(), 0);
        QCOMPARE(off.summaryLines.value(0),
                 QStringLiteral("ffprobe not found — clips cannot be verified by UMID. Only unsafe fallback "
                                "pairing is possible (enable it in Settings)."));
        QCOMPARE(off.entries.size(), 4);
        QCOMPARE(off.entries.at(0).note, QStringLiteral("ffprobe unavailable — cannot verify by UMID"));
        QCOMPARE(off.entries.at(1).note, QStringLiteral("ffprobe unavailable — cannot verify by UMID"));
        QCOMPARE(off.entries.at(2).note, fallbackOffNote());

        const PairingResult on = scanAndPair(card->rootPath, true);
        QCOMPARE(on.clips.size(), 2);
        for (const P2Clip& clip : on.clips) {
            QCOMPARE(clip.pairingMethod, Method::filenamePrefixUnsafe);
            QCOMPARE(clip.audioURLs.size(), 2);
            // Neither the XML nor the MXF can be asked, so the file system orders them.
            QCOMPARE(clip.sortKey->source, ClipSortKey::Source::fileSystemDate);
        }
    }

    void emptyOrMissingGlobalClipID()
    {
        std::optional<SyntheticCard::WrittenCard> card = writeSingleClipCard(1);
        QVERIFY(card);
        const QString clipFolder = card->contentsPath + QStringLiteral("/CLIP/");
        QVERIFY(writeFile(card->clips[0].xmlPath, xmlWithGlobalClipID(shortClip(1, 1), QString())));
        SyntheticCard::ClipSpec unnamed = shortClip(1, 1);
        unnamed.xmlHasGlobalClipID = false;
        QString unnamedXml = SyntheticCard::clipXml(unnamed);
        unnamedXml.remove(QRegularExpression(QStringLiteral("<(User)?ClipName>[^<]*</(User)?ClipName>")));
        QVERIFY(writeFile(clipFolder + QStringLiteral("odd name.xml"), unnamedXml.toUtf8()));
        QVERIFY(writeFile(clipFolder + QStringLiteral("garbage.XML"), QByteArray("\x01not xml <<<", 12)));

        const PairingResult result = scanAndPair(card->rootPath, false);
        QCOMPARE(result.entries.size(), 4);
        const PairingReportEntry* empty = entryForXML(result, QStringLiteral("0001AB.XML"));
        QCOMPARE(empty->clipName, QStringLiteral("0001AB"));
        QCOMPARE(empty->note, QStringLiteral("CLIP XML has no GlobalClipID ()"));
        QVERIFY(!empty->included);
        const PairingReportEntry* odd = entryForXML(result, QStringLiteral("odd name.xml"));
        QCOMPARE(odd->clipName, QStringLiteral("ODD NAME"));
        QCOMPARE(odd->note,
                 QStringLiteral("CLIP XML has no GlobalClipID (Recognized no ClipName/GlobalClipID; "
                                "XML schema may be unfamiliar)"));
        const PairingReportEntry* garbage = entryForXML(result, QStringLiteral("garbage.XML"));
        QCOMPARE(garbage->clipName, QStringLiteral("GARBAGE"));
        QVERIFY2(garbage->note->startsWith(QStringLiteral("CLIP XML has no GlobalClipID (XML parse error: ")),
                 qPrintable(*garbage->note));
        QVERIFY(garbage->note->endsWith(
            QStringLiteral("; Recognized no ClipName/GlobalClipID; XML schema may be unfamiliar)")));
        QCOMPARE(result.entries.at(3).videoFile, QStringLiteral("0001AB.MXF"));
        QCOMPARE(result.clips.size(), 0);
    }

    void hugeGlobalClipIDMatchesNothing()
    {
        std::optional<SyntheticCard::WrittenCard> card = writeSingleClipCard(1);
        QVERIFY(card);
        QVERIFY(writeFile(card->clips[0].xmlPath,
                          xmlWithGlobalClipID(shortClip(1, 1), QString(10000, QLatin1Char('A')))));
        const PairingResult result = scanAndPair(card->rootPath, false);
        QCOMPARE(result.entries.size(), 2);
        QCOMPARE(result.entries.at(0).note, noMatchNote());
        QCOMPARE(result.entries.at(1).note, fallbackOffNote());
        QCOMPARE(result.clips.size(), 0);
    }

    void unreadableMXFMatchesNothing()
    {
        std::optional<SyntheticCard::WrittenCard> card = writeSingleClipCard(1);
        QVERIFY(card);
        const SyntheticCard::ClipSpec broken = shortClip(2, 0);
        QVERIFY(writeFile(card->contentsPath + QStringLiteral("/VIDEO/0002AB.MXF"), "this is not MXF"));
        QVERIFY(writeFile(card->contentsPath + QStringLiteral("/CLIP/0002AB.XML"),
                          SyntheticCard::clipXml(broken).toUtf8()));
        const PairingResult result = scanAndPair(card->rootPath, false);
        QCOMPARE(result.clips.size(), 1);
        QCOMPARE(result.clips.at(0).videoURL, card->clips[0].videoPath);
        QCOMPARE(result.entries.size(), 3);
        QCOMPARE(result.entries.at(1).xmlFile, QStringLiteral("0002AB.XML"));
        // The clip's own video is there: what is wrong with it is said.
        QCOMPARE(result.entries.at(1).note,
                 std::optional(noMatchNote() + QStringLiteral("; VIDEO file 0002AB.MXF: ") +
                               headerUnreadableReason()));
        QVERIFY(result.summaryLines.contains(QStringLiteral("“0002AB.MXF”: ") + headerUnreadableReason() +
                                             QLatin1Char('.')));
        QCOMPARE(result.entries.at(2).videoFile, QStringLiteral("0002AB.MXF"));
        QCOMPARE(result.entries.at(2).note, fallbackOffNote());
    }

    void thousandXMLFilesWithoutEssence()
    {
        const QString root = m_writer.newFolder();
        QVERIFY(QDir().mkpath(root + QStringLiteral("/CONTENTS/VIDEO")));
        for (int n = 1; n <= 1000; ++n)
            QVERIFY(
                writeFile(root + QStringLiteral("/CONTENTS/CLIP/%1AB.XML").arg(n, 4, 10, QLatin1Char('0')),
                          SyntheticCard::clipXml(SyntheticCard::clip(n)).toUtf8()));
        const PairingResult result = scanAndPair(root, false);
        QCOMPARE(result.clips.size(), 0);
        QCOMPARE(result.summaryLines, QStringList());
        QCOMPARE(result.entries.size(), 1000);
        for (const PairingReportEntry& entry : result.entries) {
            QVERIFY(!entry.included);
            QCOMPARE(entry.note, noMatchNote());
        }
        QCOMPARE(result.entries.at(999).xmlFile, QStringLiteral("1000AB.XML"));
    }

    // The stand-in ffprobe below counts its running copies.

    void fakeProbesStayWithinTheBound_data()
    {
        QTest::addColumn<int>("concurrency");
        QTest::addColumn<int>("expectedPeak");
        QTest::newRow("8") << 8 << 8;
        QTest::newRow("3") << 3 << 3;
        QTest::newRow("more than 8 asked") << 50 << 8;
        QTest::newRow("0 counts as 1") << 0 << 1;
    }

    void fakeProbesStayWithinTheBound()
    {
        QFETCH(int, concurrency);
        QFETCH(int, expectedPeak);
        ToolFolder tools(QStringLiteral(TOLVANE_FAKES_DIR "/ffprobe-concurrency"));
        QVERIFY(tools.ready());
        const QString state = tools.path() + QStringLiteral("/ffprobe");
        Gate gate(state + QStringLiteral(".open"));
        QStringList files;
        for (int i = 1; i <= 20; ++i)
            files.append(tools.path() + QStringLiteral("/clip %1.MXF").arg(i));

        QCoro::Task<QHash<QString, QString>> probes = probeUMIDs(files, concurrency);
        QTRY_COMPARE_WITH_TIMEOUT(readNumber(state + QStringLiteral(".running")), expectedPeak, 120000);
        QTRY_COMPARE_WITH_TIMEOUT(readLines(state + QStringLiteral(".log")).size(), expectedPeak, 120000);
        // While these are held, no further copy may start.
        QTest::qWait(300);
        QCOMPARE(readNumber(state + QStringLiteral(".running")), expectedPeak);
        QCOMPARE(readLines(state + QStringLiteral(".log")).size(), expectedPeak);
        gate.open();
        const QHash<QString, QString> umids = QCoro::waitFor(std::move(probes));

        QCOMPARE(readNumber(state + QStringLiteral(".peak")), expectedPeak);
        QCOMPARE(readLines(state + QStringLiteral(".log")).size(), 20);
        QCOMPARE(umids.size(), 20);
        QCOMPARE(umids.value(files.at(6)), QStringLiteral("CLIP 7"));
    }

    // A probe that never ends is ended, and the files it left unread are named.
    void fakeProbesThatHangAreNamed()
    {
        ToolLimits::setForTesting(
            {.query = std::chrono::milliseconds(1000), .terminationGrace = std::chrono::milliseconds(300)});
        const auto restore = qScopeGuard([] { ToolLimits::setForTesting({}); });
        const QString root = m_writer.newFolder();
        // Answers at once, except for the files of clip 0002AB.
        const QString probe = root + QStringLiteral("/hanging-ffprobe");
        QVERIFY(writeFile(probe, "#!/bin/sh\nfor file in \"$@\"; do :; done\n"
                                 "case \"$file\" in *0002AB*) exec sleep 3600 ;; esac\nprintf '060A\\n'\n"));
        QVERIFY(QFile::setPermissions(probe, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        ToolFolder tools(probe);
        QVERIFY(tools.ready());
        for (const QString& name : {QStringLiteral("VIDEO/0001AB.MXF"), QStringLiteral("VIDEO/0002AB.MXF"),
                                    QStringLiteral("AUDIO/0002AB00.MXF")})
            QVERIFY(writeFile(root + QStringLiteral("/CARD/") + name, {}));

        const PairingResult result = scanAndPair(root + QStringLiteral("/CARD"), false);
        QCOMPARE(result.summaryLines.value(0),
                 QStringLiteral("ffprobe did not answer within 1 s for 2 file(s), which therefore match no "
                                "clip: 0002AB.MXF, 0002AB00.MXF."));
    }

    void fakeProbesVideosBeforeAudio()
    {
        ToolFolder tools(QStringLiteral(TOLVANE_FAKES_DIR "/ffprobe-concurrency"));
        QVERIFY(tools.ready());
        const QString state = tools.path() + QStringLiteral("/ffprobe");
        Gate gate(state + QStringLiteral(".open"));
        gate.open();
        const QString root = m_writer.newFolder();
        QStringList videos;
        QStringList audio;
        for (int n = 1; n <= 3; ++n) {
            videos.append(root + QStringLiteral("/VIDEO/000%1AB.MXF").arg(n));
            for (int channel = 0; channel < 2; ++channel)
                audio.append(root + QStringLiteral("/AUDIO/000%1AB0%2.MXF").arg(n).arg(channel));
        }
        for (const QString& file : videos + audio)
            QVERIFY(writeFile(file, {}));

        const PairingResult result =
            QCoro::waitFor(P2MetadataParser::pairClips(P2Scanner::scan(root), false));
        const QStringList log = readLines(state + QStringLiteral(".log"));
        QCOMPARE(log.size(), 9);
        QStringList first = log.mid(0, 3);
        QStringList then = log.mid(3);
        first.sort();
        then.sort();
        QCOMPARE(first, videos);
        QCOMPARE(then, audio);
        QCOMPARE(result.entries.size(), 3);
    }
};

// The rules of pairing that need no tool, so they run on every machine.
class PairingRulesTest : public QObject
{
    Q_OBJECT

private slots:
    void umidNormalisation_data()
    {
        QTest::addColumn<QString>("umid");
        QTest::addColumn<QString>("expected");
        QTest::newRow("lower-case 0x prefix") << QStringLiteral("0x060a2b34") << QStringLiteral("060A2B34");
        QTest::newRow("upper-case 0X prefix") << QStringLiteral("0X060A2B34") << QStringLiteral("060A2B34");
        QTest::newRow("no prefix") << QStringLiteral("060A2B34") << QStringLiteral("060A2B34");
        QTest::newRow("x without the zero stays") << QStringLiteral("x0060A") << QStringLiteral("X0060A");
    }

    void umidNormalisation()
    {
        QFETCH(QString, umid);
        QFETCH(QString, expected);
        QCOMPARE(normalizedUMID(umid), expected);
    }

    void headerUnreadableReasonText()
    {
        QCOMPARE(headerUnreadableReason(),
                 QStringLiteral("header cannot be read: neither its MXF header nor ffprobe states a UMID"));
    }
};

int runPairingTests(int argc, char** argv)
{
    PairingRulesTest rules;
    PairingTest test;
    const int rulesFailed = QTest::qExec(&rules, argc, argv);
    return QTest::qExec(&test, argc, argv) != 0 || rulesFailed != 0 ? 1 : 0;
}

#include "PairingTest.moc"
