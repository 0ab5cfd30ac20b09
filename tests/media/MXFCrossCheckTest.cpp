#include "media/MXFHeaderReader.h"
#include "media/ToolText.h"
#include "MediaTests.h"
#include "SyntheticCard.h"

#include <cmath>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QtConcurrent>
#include <QTemporaryDir>
#include <QTest>

namespace {

// What ffprobe says about one file, as FFmpegService's queries give it.
struct ProbeFacts
{
    std::optional<QString> umid;
    std::optional<QString> timecode;
    std::optional<double> duration;
    std::optional<QString> modificationDate;
    std::optional<int> videoRate;
    std::optional<int> videoHeight;
    std::optional<QString> fieldOrder;
    QString codec;
};

std::optional<QString> tag(const QJsonObject& tags, const QString& key)
{
    const QString value = tags.value(key).toString().trimmed();
    return value.isEmpty() ? std::nullopt : std::optional<QString>(value);
}

ProbeFacts probe(const QString& path)
{
    QProcess process;
    process.start(
        SyntheticCard::ffprobePath(),
        {"-v", "error", "-show_entries",
         "format=duration:format_tags=material_package_umid,timecode,modification_date:stream=codec_"
         "type,codec_name,r_frame_rate,height,field_order",
         "-of", "json", path});
    process.waitForFinished(-1);
    const QJsonObject json = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
    const QJsonObject format = json.value("format").toObject();
    const QJsonObject tags = format.value("tags").toObject();
    ProbeFacts facts;
    if (std::optional<QString> umid = tag(tags, "material_package_umid")) {
        *umid = umid->toUpper();
        if (umid->startsWith("0X"))
            umid->remove(0, 2);
        facts.umid = umid;
    }
    facts.timecode = tag(tags, "timecode");
    facts.modificationDate = tag(tags, "modification_date");
    facts.duration = ToolText::parseDecimal(format.value("duration").toString());
    for (const QJsonValue stream : json.value("streams").toArray()) {
        if (stream["codec_type"] != "video")
            continue;
        const QStringList rate = stream["r_frame_rate"].toString().split('/');
        if (rate.size() == 2 && rate[1].toDouble() > 0)
            facts.videoRate = static_cast<int>(std::lround(rate[0].toDouble() / rate[1].toDouble()));
        facts.videoHeight = stream["height"].toInt();
        facts.fieldOrder = stream["field_order"].toString();
        facts.codec = stream["codec_name"].toString();
    }
    return facts;
}

// Every essence the builder can make: every codec, every timecode form, with
// and without a date, 16- and 24-bit audio, no audio up to sixteen channels,
// audio frames longer and shorter than the picture, silence, a foreign UMID
// on one audio file, a spanned shot, an orphan, and a lower-case extension.
// Every file has a camera-style header.
SyntheticCard::CardSpec everyKindOfEssence()
{
    using namespace SyntheticCard;
    CardSpec card;
    ClipSpec dv = clip(1, 2);
    ClipSpec hd = clip(2, 4);
    hd.codec = VideoCodec::DVCProHD1080;
    hd.frames = 2;
    hd.bitsPerSample = 24;
    hd.dropFrame = true;
    hd.startTimecode = "00:59:59:29";
    ClipSpec dropFrameMinute = clip(3, 1);
    dropFrameMinute.dropFrame = true;
    dropFrameMinute.startTimecode = "00:01:00:02";
    dropFrameMinute.mxfCreationTime.reset();
    ClipSpec noTimecode = clip(4, 0);
    noTimecode.startTimecode.clear();
    ClipSpec sixteen = clip(5, 16);
    sixteen.frames = 1;
    sixteen.silentAudio = true;
    sixteen.essenceExtension = "mxf";
    ClipSpec foreign = clip(6, 2);
    foreign.audioUmidOverrides = {{1, umidFor(60)}};
    foreign.startTimecode = "23:59:59:29";
    // A clip of each camera kind, its audio running longer or shorter than its picture.
    const auto kind = [](int n, int audioCount, VideoCodec codec, int frames, int audioFrames) {
        ClipSpec spec = clip(n, audioCount);
        spec.codec = codec;
        spec.frames = frames;
        spec.audioFrames = audioFrames;
        return spec;
    };
    const ClipSpec hd1080i = kind(11, 4, VideoCodec::DVCProHD1080i, 2, 4);
    const ClipSpec avc100 = kind(12, 4, VideoCodec::AVCIntra100_1080i, 3, 2);
    const ClipSpec avc50 = kind(13, 2, VideoCodec::AVCIntra50_720p, 3, 6);
    const ClipSpec hd720 = kind(14, 2, VideoCodec::DVCProHD720p, 4, 1);
    ClipSpec pal = kind(16, 2, VideoCodec::DV25_576i, 2, 4);
    pal.startTimecode = "10:00:00:24";
    ClipSpec longerAudio = clip(15, 1);
    longerAudio.audioFrames = 6;
    card.clips = {dv,      hd,     dropFrameMinute, noTimecode, sixteen, foreign,
                  hd1080i, avc100, avc50,           hd720,      pal,     longerAudio};
    for (ClipSpec& piece : spannedShot(7, {"0158Q5", "0159E2"}, 2, 1))
        card.clips.push_back(piece);
    card.orphanAudio = {{"0099ZZ00.MXF", umidFor(99)}};
    card.verification = Verification::FirstClip;
    return card;
}

} // namespace

// The header reader against ffprobe on every file the card builder can make:
// every fact the reader gives must be ffprobe's, and on these files it must
// give every fact ffprobe has.
class MXFCrossCheckTest : public QObject
{
    Q_OBJECT

private slots:
    void readerAgreesWithFfprobeOnEveryEssence()
    {
        QTemporaryDir folder;
        SyntheticCard::WrittenCard card;
        try {
            card = SyntheticCard::write(everyKindOfEssence(), folder.path());
        } catch (const SyntheticCard::Error& error) {
            QFAIL(error.what());
        }
        QStringList files;
        QSet<QString> videos;
        for (const SyntheticCard::WrittenClip& clip : card.clips) {
            files << clip.videoPath << clip.audioPaths;
            videos.insert(clip.videoPath);
        }
        files << card.orphanAudioPaths;
        QCOMPARE(files.size(), 6 + 2 + 4 + 1 + 0 + 16 + 2 + 5 + 5 + 3 + 3 + 3 + 2 + 2 * 2 + 1);

        const QList<ProbeFacts> probed = QtConcurrent::blockingMapped(files, probe);
        for (qsizetype i = 0; i < files.size(); ++i) {
            const QString& file = files[i];
            const ProbeFacts& expected = probed[i];
            const std::optional<MXFHeaderFacts> facts = MXFHeaderReader::read(file);
            QVERIFY2(facts, qPrintable(file));
            QVERIFY2(expected.umid, qPrintable(file));
            QCOMPARE(facts->materialPackageUMID, *expected.umid);
            QCOMPARE(facts->timecode, expected.timecode);
            QCOMPARE(facts->durationSeconds, expected.duration);
            QCOMPARE(facts->modificationDate, expected.modificationDate);
            if (videos.contains(file)) {
                QCOMPARE(facts->timecodeRate, expected.videoRate);
                // The picture is told of every DV file, none of which states a colour, and of no other.
                QCOMPARE(bool(facts->picture), expected.codec == QLatin1String("dvvideo"));
                if (facts->picture) {
                    QCOMPARE(facts->picture->lines, expected.videoHeight);
                    QCOMPARE(facts->picture->interlaced, expected.fieldOrder != QLatin1String("progressive"));
                }
            } else {
                QCOMPARE(facts->picture, std::nullopt);
            }
            QVERIFY2(facts->timecode && facts->durationSeconds, qPrintable(file));
        }
    }
};

int runMXFCrossCheckTests(int argc, char** argv)
{
    MXFCrossCheckTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "MXFCrossCheckTest.moc"
