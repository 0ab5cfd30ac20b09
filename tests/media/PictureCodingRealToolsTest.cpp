#include "media/ToolText.h"
#include "MediaTests.h"
#include "MediaTestSupport.h"
#include "SyntheticCard.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

namespace {

using SyntheticCard::VideoCodec;

// What ffprobe says of the first video stream's fields and colour, and of each of its frames.
struct PictureProbe
{
    QString fieldOrder;
    QString pixelFormat;
    QStringList colour;                // primaries, transfer, matrix
    QList<std::pair<int, int>> fields; // per frame: interlaced_frame, top_field_first
    QList<QStringList> frameColours;
};

PictureProbe probePicture(const QString& program, const QString& path)
{
    QProcess process;
    process.start(program, {"-v", "error", "-select_streams", "v:0", "-show_entries",
                            "stream=field_order,pix_fmt,color_primaries,color_transfer,color_space:frame="
                            "interlaced_frame,top_field_first,color_primaries,color_transfer,color_space",
                            "-of", "json", path});
    process.waitForFinished(-1);
    const QJsonObject json = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
    // ffprobe's JSON leaves out a colour that is not stated.
    const auto colourOf = [](const QJsonObject& object) {
        return QStringList{object["color_primaries"].toString("unknown"),
                           object["color_transfer"].toString("unknown"),
                           object["color_space"].toString("unknown")};
    };
    PictureProbe probe;
    const QJsonObject stream = json["streams"].toArray().first().toObject();
    probe.fieldOrder = stream["field_order"].toString();
    probe.pixelFormat = stream["pix_fmt"].toString();
    probe.colour = colourOf(stream);
    for (const QJsonValue frame : json["frames"].toArray()) {
        probe.fields.append({frame["interlaced_frame"].toInt(-1), frame["top_field_first"].toInt(-1)});
        probe.frameColours.append(colourOf(frame.toObject()));
    }
    return probe;
}

struct Kind
{
    VideoCodec codec;
    int frames;
    QString statedColour;
};

} // namespace

Q_DECLARE_METATYPE(Kind)

// Every kind of clip the card builder makes, converted by the real ffmpeg: the
// movie's frames keep the source's fields and their order, its field atom
// says the same, and it states the source's colour or its format's.
class PictureCodingRealToolsTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<ToolFolder> tools_;
    QTemporaryDir work_;

private slots:
    void initTestCase()
    {
        tools_ = std::make_unique<ToolFolder>();
        TOLVANE_REQUIRE_REAL_TOOLS(*tools_);
    }

    void cleanupTestCase() { tools_.reset(); }

    void movieKeepsFieldsAndStatesColour_data()
    {
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<bool>("interlaced");
        QTest::addColumn<QString>("colour");
        QTest::newRow("DV 480i") << Kind{VideoCodec::DV25, 3, {}} << true << "smpte170m";
        QTest::newRow("DV 576i") << Kind{VideoCodec::DV25_576i, 2, {}} << true << "bt470bg";
        QTest::newRow("DVCPRO HD 1080i") << Kind{VideoCodec::DVCProHD1080i, 2, {}} << true << "bt709";
        QTest::newRow("DVCPRO HD 720p") << Kind{VideoCodec::DVCProHD720p, 3, {}} << false << "bt709";
        QTest::newRow("AVC-Intra 100 1080i") << Kind{VideoCodec::AVCIntra100_1080i, 3, {}} << true << "bt709";
        QTest::newRow("AVC-Intra 50 720p") << Kind{VideoCodec::AVCIntra50_720p, 3, {}} << false << "bt709";
        // What the source states is kept, even where its format would say otherwise.
        QTest::newRow("AVC-Intra 50 720p stating SMPTE 170M")
            << Kind{VideoCodec::AVCIntra50_720p, 2, QStringLiteral("smpte170m")} << false << "smpte170m";
        QTest::newRow("AVC-Intra 100 1080i stating SMPTE 240M")
            << Kind{VideoCodec::AVCIntra100_1080i, 2, QStringLiteral("smpte240m")} << true << "smpte240m";
    }

    void movieKeepsFieldsAndStatesColour()
    {
        QFETCH(Kind, kind);
        QFETCH(bool, interlaced);
        QFETCH(QString, colour);
        SyntheticCard::CardSpec plan;
        SyntheticCard::ClipSpec clip = SyntheticCard::clip(1, 1);
        clip.codec = kind.codec;
        clip.frames = kind.frames;
        clip.statedColour = kind.statedColour;
        plan.clips = {clip};
        const QString folder = work_.filePath(QString::fromLatin1(QTest::currentDataTag()));
        SyntheticCard::WrittenCard card;
        try {
            card = SyntheticCard::write(plan, folder + QStringLiteral("/card"));
        } catch (const SyntheticCard::Error& error) {
            QFAIL(error.what());
        }
        const SyntheticCard::WrittenClip& files = card.clips.front();

        const QString output = folder + QStringLiteral("/out/1.mov");
        FFmpegService service;
        const ConvertOutcome outcome =
            convertAndWait(service, {files.videoPath, files.audioPaths, 0, ProResProfile::hq, output});
        QVERIFY2(outcome.succeeded, qPrintable(outcome.message));

        // The whole command: a progressive source's differs from before only
        // where the colour is stated, an interlaced one's by coding fields.
        QStringList expected{"-hide_banner",           "-y",   "-nostdin", "-i",   files.videoPath, "-i",
                             files.audioPaths.first(), "-map", "0:v:0",    "-map", "1:a:0"};
        if (kind.statedColour.isEmpty())
            expected << "-vf"
                     << QStringLiteral("setparams=color_primaries=%1:color_trc=%1:colorspace=%1").arg(colour);
        expected << "-c:v"
                 << "prores_ks"
                 << "-profile:v"
                 << "3"
                 << "-pix_fmt"
                 << "yuv422p10le"
                 << "-vendor"
                 << "apl0";
        if (interlaced)
            expected << "-flags"
                     << "+ildct";
        expected << "-c:a"
                 << "pcm_s24le"
                 << "-timecode" << clip.startTimecode << "-progress"
                 << "pipe:1"
                 << "-nostats"
                 << "-f"
                 << "mov" << ToolText::toolPath(FFmpegService::temporaryPath(output));
        QCOMPARE(outcome.commands,
                 QStringList{FFmpegService::commandLineString(tools_->toolPath("ffmpeg"), expected)});

        const QString ffprobe = tools_->toolPath("ffprobe");
        const PictureProbe source = probePicture(ffprobe, files.videoPath);
        const PictureProbe movie = probePicture(ffprobe, output);
        QCOMPARE(source.fields.size(), kind.frames);
        QCOMPARE(movie.fields, source.fields);
        for (const auto& [interlacedFrame, topFieldFirst] : std::as_const(source.fields))
            QCOMPARE(interlacedFrame, interlaced ? 1 : 0);
        // ffmpeg names a movie's fields by the one coded first in each frame
        // ("tb": the top field, "bt": the bottom field).
        const bool topFirst = source.fields.first().second == 1;
        QCOMPARE(movie.fieldOrder, !interlaced ? QStringLiteral("progressive")
                                   : topFirst  ? QStringLiteral("tb")
                                               : QStringLiteral("bt"));
        QCOMPARE(source.fieldOrder == QLatin1String("progressive"), !interlaced);

        const QStringList stated{colour, colour, colour};
        const QStringList unknown{"unknown", "unknown", "unknown"};
        QCOMPARE(source.colour, kind.statedColour.isEmpty() ? unknown : stated);
        QCOMPARE(movie.colour, stated);
        QCOMPARE(movie.frameColours, QList<QStringList>(kind.frames, stated));
        QCOMPARE(movie.pixelFormat, QStringLiteral("yuv422p10le"));
    }
};

int runPictureCodingRealToolsTests(int argc, char** argv)
{
    PictureCodingRealToolsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "PictureCodingRealToolsTest.moc"
