#include "media/FFmpegService.h"
#include "run/DebugReportBuilder.h"
#include "SyntheticCard.h"
#include "TestFiles.h"
#include "ToolFolder.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimeZone>

using namespace DebugReportBuilder;

namespace {

const QString umidText = QStringLiteral("0x060A2B340101010501010D4313000000");
const QString outputCommandHq = QStringLiteral(
    "/usr/local/bin/ffmpeg -hide_banner -y -nostdin -i /card/CONTENTS/VIDEO/0001AB.MXF -itsoffset 0.5 -i "
    "/card/CONTENTS/AUDIO/0001AB00.MXF -itsoffset 0.5 -i /card/CONTENTS/AUDIO/0001AB01.MXF -map "
    "0:v:0 -map 1:a:0 -map 2:a:0 -c:v prores_ks -profile:v 3 -pix_fmt yuv422p10le -vendor apl0 "
    "-c:a pcm_s24le -timecode 01:00:00:00 -progress pipe:1 -nostats -f mov "
    "'<OUTPUT_FOLDER>/003.mov'");

const QStringList noiseNote = {
    QStringLiteral("    Note: measured near the noise floor — likely an unused/unconnected"),
    QStringLiteral("    input channel (Panasonic P2 always writes 4 audio files for"),
    QStringLiteral("    DVCPRO HD/50 regardless of how many were actually recorded onto)."),
    QStringLiteral("    Included anyway rather than guessed away — see note above on why"),
    QStringLiteral("    ffmpeg cannot reproduce Premiere's manual channel-selection step."),
};

P2Clip verifiedClip()
{
    P2Clip clip;
    clip.videoURL = QStringLiteral("/card/CONTENTS/VIDEO/0001AB.MXF");
    clip.audioURLs = {QStringLiteral("/card/CONTENTS/AUDIO/0001AB00.MXF"),
                      QStringLiteral("/card/CONTENTS/AUDIO/0001AB01.MXF")};
    clip.xmlURL = QStringLiteral("/card/CONTENTS/CLIP/0001AB.XML");
    clip.pairingMethod = P2Clip::PairingMethod::xmlVerified;
    clip.startTimecode = QStringLiteral("01:00:00:00");
    clip.recordingDateTime = QDateTime(QDate(2026, 7, 1), QTime(10, 0), QTimeZone(-5 * 3600));
    clip.sortKey = ClipSortKey{*clip.recordingDateTime, ClipSortKey::Source::xmlRecordingDateTime,
                               QStringLiteral("2026-07-01T15:00:00Z")};
    clip.exportOrderNumber = 3;
    return clip;
}

P2Clip videoOnlyClip()
{
    P2Clip clip;
    clip.videoURL = QStringLiteral("/card/CONTENTS/VIDEO/0002AB.MXF");
    return clip;
}

MediaProbe videoProbe()
{
    StreamInfo video;
    video.index = 0;
    video.codecType = QStringLiteral("video");
    video.codecName = QStringLiteral("dvvideo");
    video.width = 720;
    video.height = 480;
    video.duration = QStringLiteral("0.100100");
    MediaProbe probe;
    probe.streams = {video};
    probe.format.duration = QStringLiteral("0.100100");
    probe.format.tags = MediaTags{{QStringLiteral("material_package_umid"), umidText},
                                  {QStringLiteral("company_name"), QStringLiteral("Panasonic")}};
    return probe;
}

MediaProbe audioProbe()
{
    StreamInfo audio;
    audio.index = 0;
    audio.codecType = QStringLiteral("audio");
    audio.codecName = QStringLiteral("pcm_s16le");
    audio.channels = 1;
    audio.sampleRate = QStringLiteral("48000");
    audio.bitsPerSample = 16;
    audio.startTime = QStringLiteral("0.000000");
    audio.duration = QStringLiteral("0.100100");
    MediaProbe probe;
    probe.streams = {audio};
    probe.format.duration = QStringLiteral("0.100100");
    probe.format.tags = MediaTags{{QStringLiteral("material_package_umid"), umidText}};
    return probe;
}

// Facts for both hand-made clips: the first audio file probed and loud, the
// second unprobed and near silent.
Facts handMadeFacts()
{
    const P2Clip clip = verifiedClip();
    Facts facts;
    facts.videoProbes.insert(clip.videoURL, videoProbe());
    facts.audioProbes.insert(clip.audioURLs.at(0), audioProbe());
    facts.videoSources.insert(clip.videoURL, {std::nullopt, QStringLiteral("01:00:00:00"), {}});
    facts.audioLevels.insert(clip.audioURLs.at(0), AudioLevel{-40.2, -6.0});
    facts.audioLevels.insert(clip.audioURLs.at(1), AudioLevel{-60.0, -50.0});
    facts.ffmpegPath = QStringLiteral("/usr/local/bin/ffmpeg");
    return facts;
}

QString blockFromFacts(const P2Clip& clip, const Facts& facts, bool prefix = true)
{
    QList<AudioProbe> audio;
    for (const QString& path : clip.audioURLs) {
        const auto found = facts.audioProbes.constFind(path);
        audio.append({path, found != facts.audioProbes.constEnd() ? std::optional(*found) : std::nullopt});
    }
    const auto probe = facts.videoProbes.constFind(clip.videoURL);
    return clipBlock(clip, probe != facts.videoProbes.constEnd() ? std::optional(*probe) : std::nullopt,
                     audio, facts.videoSources.value(clip.videoURL), facts.audioLevels, 0.5,
                     ProResProfile::hq, prefix, facts.ffmpegPath);
}

QString commandOf(const QString& block)
{
    const QStringList lines = block.split(u'\n');
    const qsizetype heading = lines.indexOf(QStringLiteral("EXACT FFMPEG COMMAND FOR THIS CLIP:"));
    return heading >= 0 && heading + 1 < lines.size() ? lines.at(heading + 1) : QString();
}

PairingReportEntry entry(const QString& name, bool included, std::optional<QString> note)
{
    PairingReportEntry entry;
    entry.clipName = name;
    entry.included = included;
    entry.note = std::move(note);
    return entry;
}

// Stand-ins that hold every copy until the test opens the gate, counting how
// many run at once (see tests/fakes/ffprobe-concurrency).
struct HeldTools
{
    ToolFolder folder;

    HeldTools()
    {
        for (const QString& name : {QStringLiteral("ffprobe"), QStringLiteral("ffmpeg")})
            QFile::link(QStringLiteral(TOLVANE_FAKES_DIR "/ffprobe-concurrency"), folder.toolPath(name));
    }
    ~HeldTools() { open(); }

    void open()
    {
        for (const QString& name : {QStringLiteral("ffprobe"), QStringLiteral("ffmpeg")})
            writeFile(folder.toolPath(name) + QStringLiteral(".open"), {});
    }
    int number(const QString& tool, const QString& what) const
    {
        return readFile(folder.toolPath(tool) + QLatin1Char('.') + what).trimmed().toInt();
    }
    int runs(const QString& tool) const
    {
        return readFile(folder.toolPath(tool) + QStringLiteral(".log")).count('\n');
    }
};

} // namespace

class DebugReportTest : public QObject
{
    Q_OBJECT

private slots:
    void streamLines_data()
    {
        QTest::addColumn<StreamInfo>("stream");
        QTest::addColumn<QString>("expected");

        QTest::newRow("video") << videoProbe().streams.at(0)
                               << QStringLiteral("#0 video dvvideo 720x480 dur=0.100100s");
        QTest::newRow("audio") << audioProbe().streams.at(0)
                               << QStringLiteral("#0 audio pcm_s16le 1ch 48000Hz 16-bit dur=0.100100s");
        StreamInfo bare;
        bare.index = 3;
        bare.bitsPerSample = 0;
        bare.width = 720;
        QTest::newRow("nothing known") << bare << QStringLiteral("#3 unknown");
        StreamInfo placeholder;
        placeholder.index = 1;
        placeholder.codecType = QStringLiteral("data");
        placeholder.tags = MediaTags{{QStringLiteral("data_type"), QStringLiteral("sound")}};
        QTest::newRow("placeholder")
            << placeholder
            << QStringLiteral(
                   "#1 data (placeholder reference to sibling sound track — no essence data in this file)");
    }

    void streamLines()
    {
        QFETCH(StreamInfo, stream);
        QFETCH(QString, expected);
        QCOMPARE(streamLine(stream), expected);
    }

    void clipBlockFromHandMadeFacts()
    {
        const QStringList expected =
            QStringList{
                QString(78, u'-'),
                QStringLiteral("CLIP: 0001AB"),
                QStringLiteral("Final export order number: 003"),
                QStringLiteral("XML file: 0001AB.XML"),
                QStringLiteral("Pairing method: XML metadata (UMID-verified)"),
                QStringLiteral("Recording date/time: 2026-07-01T15:00:00Z"),
                QStringLiteral("Start timecode: 01:00:00:00"),
                QStringLiteral("Sort key used: XML recording date/time"),
                QStringLiteral("Output filename: 003.mov"),
                QString(),
                QStringLiteral("VIDEO"),
                QStringLiteral("  Absolute path: /card/CONTENTS/VIDEO/0001AB.MXF"),
                QStringLiteral("  Duration: 0.100100s"),
                QStringLiteral("  Timecode: 01:00:00:00"),
                QStringLiteral("  UMID (material_package_umid): ") + umidText,
                QStringLiteral("  Streams:"),
                QStringLiteral("    #0 video dvvideo 720x480 dur=0.100100s"),
                QStringLiteral("  Format metadata:"),
                QStringLiteral("    company_name = Panasonic"),
                QStringLiteral("    material_package_umid = ") + umidText,
                QString(),
                QStringLiteral("AUDIO #1 — 0001AB00.MXF"),
                QStringLiteral("  Absolute path: /card/CONTENTS/AUDIO/0001AB00.MXF"),
                QStringLiteral("  Duration: 0.100100s"),
                QStringLiteral("  UMID (material_package_umid): ") + umidText,
                QStringLiteral("  Channel count: 1"),
                QStringLiteral("  Sample rate: 48000 Hz"),
                QStringLiteral("  Start time: 0.000000"),
                QStringLiteral("  Measured signal level: mean -40.2 dBFS, peak -6.0 dBFS"),
                QStringLiteral("  Streams:"),
                QStringLiteral("    #0 audio pcm_s16le 1ch 48000Hz 16-bit dur=0.100100s"),
                QStringLiteral("  Format metadata:"),
                QStringLiteral("    material_package_umid = ") + umidText,
                QStringLiteral("  DECISION: INCLUDED in final mux — UMID-verified as belonging to this"),
                QStringLiteral(
                    "    clip's Material Package (same UMID as the video and its 1 sibling audio file(s))."),
                QString(),
                QStringLiteral("AUDIO #2 — 0001AB01.MXF"),
                QStringLiteral("  Absolute path: /card/CONTENTS/AUDIO/0001AB01.MXF"),
                QStringLiteral("  Duration: unknown"),
                QStringLiteral("  UMID (material_package_umid): unknown"),
                QStringLiteral("  Channel count: unknown"),
                QStringLiteral("  Sample rate: unknown"),
                QStringLiteral("  Start time: unknown"),
                QStringLiteral("  Measured signal level: mean -60.0 dBFS, peak -50.0 dBFS — near noise "
                               "floor, likely unused input"),
                QStringLiteral("  Streams:"),
                QStringLiteral("  Format metadata:"),
                QStringLiteral("  DECISION: INCLUDED in final mux — UMID-verified as belonging to this"),
                QStringLiteral(
                    "    clip's Material Package (same UMID as the video and its 1 sibling audio file(s))."),
            } +
            noiseNote +
            QStringList{
                QString(),
                QStringLiteral("EXACT FFMPEG COMMAND FOR THIS CLIP:"),
                outputCommandHq,
            };
        QCOMPARE(blockFromFacts(verifiedClip(), handMadeFacts()).split(u'\n'), expected);
    }

    void noiseNoteOnlyBelowTheFloor_data()
    {
        QTest::addColumn<double>("mean");
        QTest::addColumn<bool>("noted");
        QTest::newRow("-60 dBFS") << -60.0 << true;
        QTest::newRow("-40 dBFS") << -40.0 << false;
        QTest::newRow("exactly -55 dBFS") << -55.0 << false;
    }

    void noiseNoteOnlyBelowTheFloor()
    {
        QFETCH(double, mean);
        QFETCH(bool, noted);
        P2Clip clip = verifiedClip();
        clip.audioURLs = clip.audioURLs.mid(0, 1);
        Facts facts = handMadeFacts();
        facts.audioLevels.insert(clip.audioURLs.at(0), AudioLevel{mean, -3.0});
        const QString block = blockFromFacts(clip, facts);
        QCOMPARE(block.contains(noiseNote.join(u'\n')), noted);
        QCOMPARE(block.contains(QStringLiteral("Note: measured near the noise floor")), noted);
        QVERIFY(
            block.contains(QStringLiteral("(same UMID as the video and its 0 sibling audio file(s)).\n")));
    }

    // A level that measured nothing is still a level: its summary stands in the line.
    void levelThatMeasuredNothing()
    {
        Facts facts = handMadeFacts();
        const P2Clip clip = verifiedClip();
        facts.audioLevels.insert(clip.audioURLs.at(0), AudioLevel{});
        facts.audioLevels.insert(clip.audioURLs.at(1), AudioLevel{std::nullopt, -48.0});
        const QString block = blockFromFacts(clip, facts);
        QCOMPARE(block.count(QStringLiteral("\n  Measured signal level: unmeasured\n")), 2);
        QVERIFY(!block.contains(QStringLiteral("not measured")));
        QVERIFY(!block.contains(QStringLiteral("Note: measured near the noise floor")));
    }

    // Only facts put together by hand can lack a level altogether.
    void levelNeverGathered()
    {
        Facts facts = handMadeFacts();
        facts.audioLevels.clear();
        const QString block = blockFromFacts(verifiedClip(), facts);
        QCOMPARE(block.count(QStringLiteral("\n  Measured signal level: not measured\n")), 2);
    }

    void clipWithoutAudio()
    {
        Facts facts;
        facts.ffmpegPath = QStringLiteral("/usr/local/bin/ffmpeg");
        const QString block = blockFromFacts(videoOnlyClip(), facts);
        const QStringList lines = block.split(u'\n');
        QVERIFY(lines.contains(QStringLiteral(
            "AUDIO: none (no UMID-matching audio files found for this clip's Material Package)")));
        QVERIFY(!block.contains(QStringLiteral("AUDIO #")));
        QVERIFY(!block.contains(QStringLiteral("Final export order number")));
        QVERIFY(lines.contains(QStringLiteral("XML file: — none found")));
        QVERIFY(lines.contains(
            QStringLiteral("Pairing method: Video only (UNVERIFIED — no XML match, no audio found)")));
        QVERIFY(lines.contains(QStringLiteral("Recording date/time: unknown")));
        QVERIFY(lines.contains(QStringLiteral("Start timecode: unknown")));
        QVERIFY(lines.contains(QStringLiteral("Sort key used: not resolved")));
        QCOMPARE(commandOf(block),
                 QStringLiteral("/usr/local/bin/ffmpeg -hide_banner -y -nostdin -i "
                                "/card/CONTENTS/VIDEO/0002AB.MXF -map 0:v:0 "
                                "-c:v prores_ks -profile:v 3 -pix_fmt yuv422p10le -vendor apl0 -timecode "
                                "00:00:00:00 -progress pipe:1 -nostats -f mov '<OUTPUT_FOLDER>/0002AB.mov'"));
        QVERIFY(!commandOf(block).contains(QStringLiteral("-c:a")));
        QVERIFY(!commandOf(block).contains(QStringLiteral(":a:0")));
    }

    void commandWithoutFFmpegStartsWithTheBareWord()
    {
        Facts facts = handMadeFacts();
        facts.ffmpegPath.reset();
        const QString command = commandOf(blockFromFacts(verifiedClip(), facts));
        QVERIFY(command.startsWith(QStringLiteral("ffmpeg -hide_banner -y -nostdin -i ")));
        QCOMPARE(command, QString(outputCommandHq)
                              .replace(QStringLiteral("/usr/local/bin/ffmpeg"), QStringLiteral("ffmpeg")));
    }

    void commandUsesTheFinalOutputName_data()
    {
        QTest::addColumn<bool>("prefix");
        QTest::addColumn<QString>("name");
        QTest::newRow("ordered") << true << QStringLiteral("003.mov");
        QTest::newRow("camera name") << false << QStringLiteral("0001AB.mov");
    }

    void commandUsesTheFinalOutputName()
    {
        QFETCH(bool, prefix);
        QFETCH(QString, name);
        const QString block = blockFromFacts(verifiedClip(), handMadeFacts(), prefix);
        QVERIFY(block.split(u'\n').contains(QStringLiteral("Output filename: ") + name));
        const QString command = commandOf(block);
        QVERIFY(command.endsWith(QStringLiteral(" -f mov '<OUTPUT_FOLDER>/") + name + QLatin1Char('\'')));
        QVERIFY(!command.contains(QStringLiteral(".partial")));
        QVERIFY(!command.contains(QStringLiteral("/.0")));
    }

    void commandQuotesPathsWithSpaces()
    {
        P2Clip clip = videoOnlyClip();
        clip.videoURL = QStringLiteral("/my card/VIDEO/0002AB.MXF");
        Facts facts;
        const QString command = commandOf(blockFromFacts(clip, facts));
        QVERIFY(command.startsWith(
            QStringLiteral("ffmpeg -hide_banner -y -nostdin -i '/my card/VIDEO/0002AB.MXF' ")));
    }

    void renderedReport()
    {
        const QList<P2Clip> clips{verifiedClip(), videoOnlyClip()};
        const QList<PairingReportEntry> entries{
            entry(QStringLiteral("0001AB"), true, std::nullopt),
            entry(QStringLiteral("0003AB"), false,
                  QStringLiteral("No VIDEO file's UMID matches this clip's GlobalClipID")),
            entry(QStringLiteral("0004AB"), false, std::nullopt),
        };
        const Facts facts = handMadeFacts();
        const QDateTime generated(QDate(2026, 11, 15), QTime(18, 33, 38, 250), Qt::UTC);
        const QString report = render(clips, entries, facts, -1, ProResProfile::hq, true, generated);

        QVERIFY(report.endsWith(QStringLiteral("\n")));
        QVERIFY(!report.endsWith(QStringLiteral("\n\n")));
        const QStringList lines = report.chopped(1).split(u'\n');
        const QString equals(78, u'=');
        QCOMPARE(lines.mid(0, 5),
                 (QStringList{QStringLiteral("Tolvane — DEBUG REPORT"),
                              QStringLiteral("Generated: 2026-11-15T18:33:38Z"),
                              QStringLiteral("Audio offset: -1.0s   ProRes profile: ProRes 422 HQ"), equals,
                              QString()}));
        QCOMPARE(
            lines.at(5),
            QStringLiteral("HOW THIS COMPARES TO ADOBE PREMIERE PRO'S P2 IMPORT (verified, not inferred):"));
        const qsizetype sync = lines.indexOf(QStringLiteral("AUDIO/VIDEO SYNC — VERIFIED, NOT ASSUMED:"));
        QVERIFY(sync > 5);
        QCOMPARE(lines.mid(sync - 3, 3), (QStringList{QString(), equals, QString()}));
        QCOMPARE(lines.count(equals), 3);

        const QString premiere = lines.mid(5, sync - 8).join(u'\n');
        QVERIFY(premiere.size() > 1500 && premiere.size() < 2300);
        for (const QString& word :
             {QStringLiteral("mono"), QStringLiteral("four"), QStringLiteral("CLIP XML"),
              QStringLiteral("UMID"), QStringLiteral("level")})
            QVERIFY2(premiere.contains(word), qPrintable(word));

        const qsizetype firstClip = lines.indexOf(QString(78, u'-'));
        QVERIFY(firstClip > sync);
        QCOMPARE(lines.at(firstClip - 1), equals);
        QCOMPARE(lines.at(firstClip - 2), QString());
        const QString syncText = lines.mid(sync, firstClip - 2 - sync).join(u'\n');
        QVERIFY(syncText.size() > 1000 && syncText.size() < 1800);
        for (const QString& word :
             {QStringLiteral("\"-shortest\""), QStringLiteral("\"-itsoffset\""), QStringLiteral("\"-ss\""),
              QStringLiteral("-1.0 s"), QStringLiteral("0.0 s")})
            QVERIFY2(syncText.contains(word), qPrintable(word));
        QVERIFY(!report.contains(QStringLiteral("http")));
        QVERIFY(!report.contains(QStringLiteral("www.")));

        // Both clips in order, each block as rendered alone, a blank line between.
        const QString first = clipBlock(
            clips.at(0), facts.videoProbes.value(clips.at(0).videoURL),
            {{clips.at(0).audioURLs.at(0), audioProbe()}, {clips.at(0).audioURLs.at(1), std::nullopt}},
            facts.videoSources.value(clips.at(0).videoURL), facts.audioLevels, -1, ProResProfile::hq, true,
            facts.ffmpegPath);
        const QString second = clipBlock(clips.at(1), std::nullopt, {}, {}, facts.audioLevels, -1,
                                         ProResProfile::hq, true, facts.ffmpegPath);
        const QString excluded =
            QStringLiteral("EXCLUDED CLIPS (not detailed above — see PAIRING_REPORT.txt for full reasoning)\n"
                           "  0003AB: No VIDEO file's UMID matches this clip's GlobalClipID\n"
                           "  0004AB: no verified pairing\n");
        QVERIFY(report.endsWith(equals + u'\n' + first + QStringLiteral("\n\n") + second +
                                QStringLiteral("\n\n") + excluded));
        QVERIFY(first.contains(QStringLiteral(" -ss 1.0 -i ")));
    }

    void excludedSectionLeftOutWhenNothingWasExcluded()
    {
        const QList<PairingReportEntry> entries{entry(QStringLiteral("0002AB"), true, std::nullopt)};
        const QString report = render({videoOnlyClip()}, entries, Facts{}, 0, ProResProfile::standard, false,
                                      QDateTime::currentDateTimeUtc());
        QVERIFY(!report.contains(QStringLiteral("EXCLUDED CLIPS")));
        QVERIFY(report.contains(QStringLiteral("\nAudio offset: 0.0s   ProRes profile: ProRes 422\n")));
        QVERIFY(report.endsWith(QStringLiteral("'<OUTPUT_FOLDER>/0002AB.mov'\n")));
    }

    void excludedSectionWithoutClips()
    {
        const QList<PairingReportEntry> entries{entry(QStringLiteral("0003AB"), false, std::nullopt)};
        const QString report =
            render({}, entries, Facts{}, 0, ProResProfile::standard, false, QDateTime::currentDateTimeUtc());
        QVERIFY(
            report.endsWith(QString(78, u'=') +
                            QStringLiteral("\n\nEXCLUDED CLIPS (not detailed above — see PAIRING_REPORT.txt "
                                           "for full reasoning)\n  0003AB: no verified pairing\n")));
    }

    // Names and tags from a card cannot add lines to the report or drive a terminal.
    void controlCharactersFromTheCardAreShownEscaped()
    {
        P2Clip clip = verifiedClip();
        clip.videoURL = QStringLiteral("/card/CONTENTS/VIDEO/0001AB\nCLIP: forged\x1b[2J.MXF");
        Facts facts = handMadeFacts();
        MediaProbe probe = videoProbe();
        probe.format.tags->insert(QStringLiteral("company_name"), QStringLiteral("Pana\rsonic"));
        facts.videoProbes.insert(clip.videoURL, probe);
        const QString block = blockFromFacts(clip, facts);
        QVERIFY2(block.contains(QStringLiteral(
                     "\n  Absolute path: /card/CONTENTS/VIDEO/0001AB\\nCLIP: forged\\x1b[2J.MXF\n")),
                 qPrintable(block));
        QVERIFY(block.contains(QStringLiteral("\n    company_name = Pana\\rsonic\n")));
        QVERIFY(!block.contains(QStringLiteral("\nCLIP: forged")));
        QVERIFY(!block.contains(QLatin1Char('\x1b')));
        QVERIFY(!block.contains(QLatin1Char('\r')));

        const QList<PairingReportEntry> entries{
            entry(QStringLiteral("0003AB\nEXCLUDED CLIPS"), false, QStringLiteral("no\tmatch"))};
        const QString report =
            render({}, entries, Facts{}, 0, ProResProfile::standard, false, QDateTime::currentDateTimeUtc());
        QVERIFY2(report.endsWith(QStringLiteral("\n  0003AB\\nEXCLUDED CLIPS: no\\tmatch\n")),
                 qPrintable(report));
    }

    // With neither tool installed nothing can be gathered, and every fact reads as unknown.
    void withoutToolsEverythingIsUnknown()
    {
        ToolFolder tools;
        const P2Clip clip = verifiedClip();
        const Facts facts = QCoro::waitFor(gather({clip}));
        // Every audio file still has its level, one that measured nothing.
        Facts expected;
        for (const QString& audio : clip.audioURLs)
            expected.audioLevels.insert(audio, AudioLevel{});
        QCOMPARE(facts, expected);
        const QString report = QCoro::waitFor(build({clip}, {}, 0.5, ProResProfile::hq, true));
        const QStringList lines = report.split(u'\n');
        QCOMPARE(lines.count(QStringLiteral("  Duration: unknown")), 3);
        QCOMPARE(lines.count(QStringLiteral("  UMID (material_package_umid): unknown")), 3);
        QVERIFY(lines.contains(QStringLiteral("  Timecode: unknown")));
        QCOMPARE(lines.count(QStringLiteral("  Measured signal level: unmeasured")), 2);
        for (qsizetype i = 0; i < lines.size(); ++i) {
            if (lines.at(i) == QStringLiteral("  Streams:"))
                QCOMPARE(lines.at(i + 1), QStringLiteral("  Format metadata:"));
        }
        QCOMPARE(lines.count(QStringLiteral("  Streams:")), 3);
        QVERIFY(!report.contains(QStringLiteral("\n    #")));
        QVERIFY(report.contains(
            QStringLiteral("\nffmpeg -hide_banner -y -nostdin -i /card/CONTENTS/VIDEO/0001AB.MXF ")));
        QVERIFY(report.contains(QStringLiteral(" -timecode 00:00:00:00 ")));
    }

    void withoutFFprobeOnly()
    {
        ToolFolder tools;
        TOLVANE_REQUIRE_REAL_TOOLS(tools);
        tools.remove(QStringLiteral("ffprobe"));
        const QString report = QCoro::waitFor(build({videoOnlyClip()}, {}, 0, ProResProfile::hq, true));
        QVERIFY(report.contains(QStringLiteral("\n  Duration: unknown\n  Timecode: unknown\n"
                                               "  UMID (material_package_umid): unknown\n"
                                               "  Streams:\n  Format metadata:\n")));
        QVERIFY(report.contains(u'\n' + tools.toolPath(QStringLiteral("ffmpeg")) +
                                QStringLiteral(" -hide_banner -y -nostdin ")));
    }

    void realToolsOnASyntheticCard()
    {
        ToolFolder tools;
        TOLVANE_REQUIRE_REAL_TOOLS(tools);
        QTemporaryDir root;
        SyntheticCard::CardSpec plan;
        plan.clips = {SyntheticCard::clip(1, 2), SyntheticCard::clip(2, 0)};
        plan.clips[0].clipName = QStringLiteral("-Clip \"1\" $x; ünï");
        const SyntheticCard::WrittenCard card = SyntheticCard::write(plan, root.path());

        QList<P2Clip> clips;
        for (int i = 0; i < 2; ++i) {
            P2Clip clip;
            clip.videoURL = card.clips[i].videoPath;
            clip.audioURLs = card.clips[i].audioPaths;
            clip.xmlURL = card.clips[i].xmlPath;
            clip.pairingMethod = clip.audioURLs.isEmpty() ? P2Clip::PairingMethod::xmlNoAudioInClip
                                                          : P2Clip::PairingMethod::xmlVerified;
            clip.exportOrderNumber = i + 1;
            clips.append(clip);
        }
        // The same file listed twice is still probed once per group.
        clips[0].audioURLs.append(clips[0].audioURLs.at(0));

        const QString report = QCoro::waitFor(build(clips, {}, 0.25, ProResProfile::proxy, true));
        const QStringList lines = report.split(u'\n');
        for (int i = 0; i < 2; ++i) {
            const QString umidLine = QStringLiteral("  UMID (material_package_umid): ");
            const qsizetype video = lines.indexOf(QStringLiteral("  Absolute path: ") + clips[i].videoURL);
            QVERIFY(video > 0);
            QCOMPARE(lines.at(video + 2), QStringLiteral("  Timecode: ") + plan.clips[i].startTimecode);
            QVERIFY(lines.at(video + 3).startsWith(umidLine));
            QVERIFY2(lines.at(video + 3).toUpper().endsWith(card.clips[i].umid),
                     qPrintable(lines.at(video + 3)));
            QVERIFY(lines.at(video + 1).startsWith(QStringLiteral("  Duration: 0.")));
            QVERIFY(lines.at(video + 5).startsWith(QStringLiteral("    #0 video dvvideo ")));

            // DV of 480 lines is interlaced and states no colour: SMPTE 170M is assumed.
            const QString command = FFmpegService::commandLineString(
                tools.toolPath(QStringLiteral("ffmpeg")),
                FFmpegService::buildArguments(
                    clips[i].videoURL, clips[i].audioURLs, 0.25, ProResProfile::proxy,
                    plan.clips[i].startTimecode,
                    QStringLiteral("<OUTPUT_FOLDER>/%1.mov").arg(i + 1, 3, 10, QLatin1Char('0')),
                    PictureCoding::forPicture(true, 480)));
            QVERIFY2(lines.contains(command), qPrintable(command));
            QVERIFY2(command.contains(QStringLiteral(" -vf setparams=color_primaries=smpte170m:"
                                                     "color_trc=smpte170m:colorspace=smpte170m ")),
                     qPrintable(command));
            QVERIFY2(command.contains(QStringLiteral(" -vendor apl0 -flags +ildct ")), qPrintable(command));
        }
        for (const QString& audio : card.clips[0].audioPaths) {
            const qsizetype at = lines.indexOf(QStringLiteral("  Absolute path: ") + audio);
            QVERIFY(at > 0);
            QVERIFY(lines.at(at + 2).toUpper().endsWith(card.clips[0].umid));
            QCOMPARE(lines.at(at + 3), QStringLiteral("  Channel count: 1"));
            QCOMPARE(lines.at(at + 4), QStringLiteral("  Sample rate: 48000 Hz"));
            QVERIFY(lines.at(at + 6).startsWith(QStringLiteral("  Measured signal level: mean ")));
        }
        QCOMPARE(lines.count(QStringLiteral(
                     "AUDIO: none (no UMID-matching audio files found for this clip's Material Package)")),
                 1);
        QVERIFY(lines.contains(QStringLiteral("AUDIO #3 — ") +
                               QFileInfo(card.clips[0].audioPaths.at(0)).fileName()));
    }

    void toolsInFlightFollowTheCores()
    {
        QCOMPARE(toolsInFlight(), std::max(2, QThread::idealThreadCount()));
    }

    // The groups take turns, each with as many tools at once as the bound
    // allows: a window beside the report never waits behind a crowd of them.
    void groupsRunOneAfterAnotherWithinTheBound()
    {
        HeldTools held;
        const int bound = toolsInFlight();
        const int clipCount = bound + 3;
        QList<P2Clip> clips;
        for (int n = 1; n <= clipCount; ++n) {
            P2Clip clip;
            clip.videoURL = held.folder.path() + QStringLiteral("/VIDEO/%1.MXF").arg(n);
            for (int channel = 0; channel < 2; ++channel)
                clip.audioURLs.append(held.folder.path() +
                                      QStringLiteral("/AUDIO/%1-%2.MXF").arg(n).arg(channel));
            clips.append(clip);
        }
        QCoro::Task<Facts> facts = gather(clips);
        QTRY_COMPARE_WITH_TIMEOUT(held.number(QStringLiteral("ffprobe"), QStringLiteral("running")), bound,
                                  120000);
        QTRY_COMPARE_WITH_TIMEOUT(held.runs(QStringLiteral("ffprobe")), bound, 120000);
        // While the first videos are held, nothing else may start: no further
        // probe and no level measurement.
        QTest::qWait(300);
        QCOMPARE(held.runs(QStringLiteral("ffprobe")), bound);
        QCOMPARE(held.runs(QStringLiteral("ffmpeg")), 0);
        held.open();
        QCoro::waitFor(std::move(facts));
        QCOMPARE(held.number(QStringLiteral("ffprobe"), QStringLiteral("peak")), bound);
        QVERIFY(held.number(QStringLiteral("ffmpeg"), QStringLiteral("peak")) <= bound);
        QCOMPARE(held.runs(QStringLiteral("ffprobe")), clipCount + 2 * clipCount + clipCount);
        // One level measurement per clip, whatever its number of audio files.
        QCOMPARE(held.runs(QStringLiteral("ffmpeg")), clipCount);
        // The videos' probes came first, then the audio files'.
        const QStringList log = QString::fromUtf8(readFile(held.folder.toolPath(QStringLiteral("ffprobe")) +
                                                           QStringLiteral(".log")))
                                    .trimmed()
                                    .split(u'\n');
        for (int i = 0; i < clipCount; ++i)
            QVERIFY2(log.at(i).contains(QStringLiteral("/VIDEO/")), qPrintable(log.at(i)));
        for (int i = clipCount; i < 3 * clipCount; ++i)
            QVERIFY2(log.at(i).contains(QStringLiteral("/AUDIO/")), qPrintable(log.at(i)));
    }
};

QTEST_GUILESS_MAIN(DebugReportTest)

#include "DebugReportTest.moc"
