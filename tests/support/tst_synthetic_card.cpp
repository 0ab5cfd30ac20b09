#include "SyntheticCard.h"

#include <cmath>
#include <functional>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QtConcurrent>
#include <QTemporaryDir>
#include <QtTest>
#include <QXmlStreamReader>

using namespace SyntheticCard;

namespace {

// What ffprobe reads from one essence file.
struct Probe
{
    QJsonObject tags;
    QJsonObject stream;

    QString tag(const QString& name) const { return tags.value(name).toString(); }
    QString field(const QString& name) const { return stream.value(name).toVariant().toString(); }
};

Probe probe(const QString& path)
{
    QProcess process;
    process.start(ffprobePath(),
                  {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
                   QStringLiteral("format_tags=material_package_umid,timecode,modification_date:"
                                  "stream=codec_type,codec_name,width,height,channels,sample_rate,"
                                  "bits_per_sample,duration_ts"),
                   QStringLiteral("-of"), QStringLiteral("json"), path});
    process.waitForFinished(-1);
    const QJsonObject root = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
    // A camera-style header lists the clip's other tracks too; ffprobe shows
    // them as data streams, and the file's own essence is the one that is not.
    QJsonObject essence;
    for (const QJsonValue stream : root.value(QStringLiteral("streams")).toArray())
        if (stream.toObject().value(QStringLiteral("codec_type")) != QLatin1String("data") &&
            essence.isEmpty())
            essence = stream.toObject();
    return {root.value(QStringLiteral("format")).toObject().value(QStringLiteral("tags")).toObject(),
            essence};
}

QList<Probe> probeAll(const QStringList& paths)
{
    return QtConcurrent::blockingMapped<QList<Probe>>(paths, probe);
}

QString probedUmid(const QString& path)
{
    return probe(path).tag(QStringLiteral("material_package_umid"));
}

// The elements of an XML file in document order, as slash-joined paths with their text;
// attributes appear as "path@name".
struct XmlFacts
{
    QString error;
    QString rootNamespace;
    QList<std::pair<QString, QString>> entries;

    QStringList values(const QString& path) const
    {
        QStringList found;
        for (const auto& [key, value] : entries)
            if (key == path)
                found.append(value);
        return found;
    }
    QString value(const QString& path) const { return values(path).value(0); }
    bool has(const QString& path) const { return !values(path).isEmpty(); }
    QStringList childrenOf(const QString& path) const
    {
        QStringList names;
        for (const auto& [key, value] : entries)
            if (key.startsWith(path + QLatin1Char('/')) && !key.contains(QLatin1Char('@')) &&
                !key.mid(path.size() + 1).contains(QLatin1Char('/')))
                names.append(key.mid(path.size() + 1));
        return names;
    }
};

XmlFacts parseXml(const QByteArray& text)
{
    XmlFacts facts;
    QXmlStreamReader reader(text);
    QStringList stack;
    QList<qsizetype> open;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartElement:
            if (stack.isEmpty())
                facts.rootNamespace = reader.namespaceUri().toString();
            stack.append(reader.name().toString());
            open.append(facts.entries.size());
            facts.entries.append({stack.join(QLatin1Char('/')), QString()});
            for (const QXmlStreamAttribute& attribute : reader.attributes())
                facts.entries.append(
                    {stack.join(QLatin1Char('/')) + QLatin1Char('@') + attribute.name().toString(),
                     attribute.value().toString()});
            break;
        case QXmlStreamReader::Characters:
            facts.entries[open.last()].second += reader.text().toString().trimmed();
            break;
        case QXmlStreamReader::EndElement:
            stack.removeLast();
            open.removeLast();
            break;
        default:
            break;
        }
    }
    if (reader.hasError())
        facts.error = reader.errorString();
    return facts;
}

XmlFacts readXml(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {QStringLiteral("cannot open ") + path, {}, {}};
    return parseXml(file.readAll());
}

const QString clipContent = QStringLiteral("P2Main/ClipContent");
const QString videoElement = QStringLiteral("P2Main/ClipContent/EssenceList/Video");

QStringList filesBelow(const QString& folder)
{
    QStringList found;
    QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        found.append(QDir(folder).relativeFilePath(it.next()));
    found.sort();
    return found;
}

QStringList entriesOf(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);
}

// The peak level in dBFS, or NaN when ffmpeg reports none.
double maxVolume(const QString& path)
{
    QProcess process;
    process.start(ffmpegPath(), {QStringLiteral("-nostdin"), QStringLiteral("-i"), path,
                                 QStringLiteral("-af"), QStringLiteral("volumedetect"), QStringLiteral("-f"),
                                 QStringLiteral("null"), QStringLiteral("-")});
    process.waitForFinished(-1);
    const auto match = QRegularExpression(QStringLiteral("max_volume: (-?[0-9.]+) dB"))
                           .match(QString::fromUtf8(process.readAllStandardError()));
    return match.hasMatch() ? match.captured(1).toDouble() : std::nan("");
}

// One irregularity: how to ask for it, and how to see it on the written card.
struct Knob
{
    std::function<void(CardSpec&)> arrange;
    std::function<void(const WrittenCard&)> check;
};

} // namespace

Q_DECLARE_METATYPE(Knob)

class SyntheticCardTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void umidsLookRealAndDiffer();
    void clipSpecsFollowTheirIndex();
    void tenClipCardReadsBack();
    void audioTracksDifferInLevel();
    void clipXmlHoldsTheFieldsInOrder();
    void clipXmlEscapesValues();
    void knobs_data();
    void knobs();
    void specialCharactersInNames();
    void badInputIsRefused();

private:
    std::unique_ptr<QTemporaryDir> dir_;
    QString root() const { return dir_->filePath(QStringLiteral("card")); }
};

void SyntheticCardTest::initTestCase()
{
    if (ffmpegPath().isEmpty() || ffprobePath().isEmpty()) {
        if (qEnvironmentVariable("CI") == QLatin1String("true"))
            QFAIL("ffmpeg and ffprobe must be installed on CI");
        QSKIP("ffmpeg or ffprobe is not installed");
    }
}

void SyntheticCardTest::init()
{
    dir_ = std::make_unique<QTemporaryDir>();
    QVERIFY(dir_->isValid());
}

void SyntheticCardTest::umidsLookRealAndDiffer()
{
    const QRegularExpression form(QStringLiteral("^060A2B340101010501010D4313000000[0-9A-F]{32}$"));
    QSet<QString> seen;
    for (int n = 1; n <= 300; ++n) {
        QVERIFY2(form.match(umidFor(n)).hasMatch(), qPrintable(umidFor(n)));
        seen.insert(umidFor(n));
    }
    QCOMPARE(seen.size(), 300);
    QCOMPARE(umidFor(7), umidFor(7));
    QCOMPARE(clip(7).umid, umidFor(7));
}

void SyntheticCardTest::clipSpecsFollowTheirIndex()
{
    const ClipSpec first = clip(1);
    QCOMPARE(first.clipName, QStringLiteral("0001AB"));
    QCOMPARE(first.startTimecode, QStringLiteral("01:00:00:00"));
    QCOMPARE(first.creationDate.value(), QStringLiteral("2026-07-01T10:00:00-05:00"));

    const ClipSpec twelfth = clip(12, 2);
    QCOMPARE(twelfth.clipName, QStringLiteral("0012AB"));
    QCOMPARE(twelfth.audioCount, 2);
    QCOMPARE(twelfth.startTimecode, QStringLiteral("01:01:50:00"));
    QCOMPARE(twelfth.xmlStartTimecode.value(), QStringLiteral("01:01:50:00"));
    QCOMPARE(twelfth.creationDate.value(), QStringLiteral("2026-07-01T10:11:00-05:00"));
    QCOMPARE(twelfth.shootStartDate.value(), QStringLiteral("2026-07-01T10:11:00-05:00"));
    QCOMPARE(twelfth.lastUpdateDate.value(), QStringLiteral("2026-07-01T10:16:00-05:00"));
    QCOMPARE(twelfth.mxfCreationTime.value(), QStringLiteral("2026-07-01T15:11:00Z"));
}

void SyntheticCardTest::tenClipCardReadsBack()
{
    CardSpec plan;
    for (int n = 1; n <= 10; ++n)
        plan.clips.push_back(clip(n, 4));

    QElapsedTimer timer;
    timer.start();
    const WrittenCard card = write(plan, root());
    qInfo("10-clip card with 4 audio files per clip written and verified in %lld ms", timer.elapsed());

    QCOMPARE(card.rootPath, root());
    QCOMPARE(card.contentsPath, root() + QStringLiteral("/CONTENTS"));
    QCOMPARE(entriesOf(card.contentsPath), (QStringList{"AUDIO", "CLIP", "VIDEO"}));
    QCOMPARE(entriesOf(card.contentsPath + QStringLiteral("/VIDEO")).size(), 10);
    QCOMPARE(entriesOf(card.contentsPath + QStringLiteral("/AUDIO")).size(), 40);
    QCOMPARE(entriesOf(card.contentsPath + QStringLiteral("/CLIP")).size(), 10);
    QCOMPARE(card.clips.size(), size_t(10));

    QStringList essence;
    for (const WrittenClip& clip : card.clips)
        essence << clip.videoPath << clip.audioPaths;
    const QList<Probe> probes = probeAll(essence);
    for (int n = 1; n <= 10; ++n) {
        const ClipSpec& want = plan.clips[n - 1];
        const WrittenClip& got = card.clips[n - 1];
        QCOMPARE(got.umid, umidFor(n));
        QCOMPARE(got.videoPath, QStringLiteral("%1/VIDEO/%2.MXF").arg(card.contentsPath, want.clipName));
        QCOMPARE(got.xmlPath, QStringLiteral("%1/CLIP/%2.XML").arg(card.contentsPath, want.clipName));
        QCOMPARE(got.audioPaths.size(), 4);
        for (int i = 0; i < 4; ++i)
            QCOMPARE(got.audioPaths[i], QStringLiteral("%1/AUDIO/%2%3.MXF")
                                            .arg(card.contentsPath, want.clipName)
                                            .arg(i, 2, 10, QChar('0')));
        for (int file = 0; file < 5; ++file) {
            const Probe& read = probes[(n - 1) * 5 + file];
            QCOMPARE(read.tag(QStringLiteral("material_package_umid")), QStringLiteral("0x") + umidFor(n));
            QCOMPARE(read.tag(QStringLiteral("timecode")), want.startTimecode);
            QCOMPARE(read.tag(QStringLiteral("modification_date")),
                     want.mxfCreationTime->chopped(1) + QStringLiteral(".000000Z"));
            if (file == 0) {
                QCOMPARE(read.field(QStringLiteral("codec_name")), QStringLiteral("dvvideo"));
                QCOMPARE(read.field(QStringLiteral("width")), QStringLiteral("720"));
                QCOMPARE(read.field(QStringLiteral("height")), QStringLiteral("480"));
            } else {
                QCOMPARE(read.field(QStringLiteral("codec_name")), QStringLiteral("pcm_s16le"));
                QCOMPARE(read.field(QStringLiteral("channels")), QStringLiteral("1"));
                QCOMPARE(read.field(QStringLiteral("sample_rate")), QStringLiteral("48000"));
                // Three frames at 30000/1001 fps.
                QCOMPARE(read.field(QStringLiteral("duration_ts")), QStringLiteral("4805"));
            }
        }
        const XmlFacts xml = readXml(got.xmlPath);
        QVERIFY2(xml.error.isEmpty(), qPrintable(xml.error));
        QCOMPARE(xml.value(clipContent + QStringLiteral("/GlobalClipID")), umidFor(n));
    }
}

void SyntheticCardTest::audioTracksDifferInLevel()
{
    CardSpec plan;
    plan.clips.push_back(clip(1, 3));
    const WrittenCard card = write(plan, root());
    QCOMPARE(maxVolume(card.clips[0].audioPaths[0]), -6.0);
    QCOMPARE(maxVolume(card.clips[0].audioPaths[1]), -9.0);
    QCOMPARE(maxVolume(card.clips[0].audioPaths[2]), -12.0);
}

void SyntheticCardTest::clipXmlHoldsTheFieldsInOrder()
{
    ClipSpec plan = clip(3);
    plan.userClipName = QStringLiteral("Interview");
    plan.next = Connection{QStringLiteral("0004AB"), umidFor(4)};
    const XmlFacts xml = parseXml(clipXml(plan).toUtf8());
    QVERIFY2(xml.error.isEmpty(), qPrintable(xml.error));
    QCOMPARE(xml.rootNamespace, QStringLiteral("urn:schemas-Professional-Plug-in:P2:ClipMetadata:v3.1"));
    QCOMPARE(xml.childrenOf(clipContent), (QStringList{"ClipName", "GlobalClipID", "Duration", "EditUnit",
                                                       "EssenceList", "Relation", "ClipMetadata"}));
    QCOMPARE(xml.value(clipContent + "/ClipName"), QStringLiteral("0003AB"));
    QCOMPARE(xml.value(clipContent + "/GlobalClipID"), umidFor(3));
    QCOMPARE(xml.value(clipContent + "/Duration"), QStringLiteral("3"));
    QCOMPARE(xml.value(clipContent + "/EditUnit"), QStringLiteral("1001/30000"));
    QCOMPARE(xml.value(videoElement + "/Codec"), QStringLiteral("DV25_411"));
    QCOMPARE(xml.value(videoElement + "/FrameRate"), QStringLiteral("29.97p"));
    QCOMPARE(xml.value(videoElement + "/FrameRate@DropFrameFlag"), QStringLiteral("false"));
    QCOMPARE(xml.value(videoElement + "/StartTimecode"), QStringLiteral("01:00:20:00"));
    QCOMPARE(xml.values(clipContent + "/EssenceList/Audio").size(), 4);
    QCOMPARE(xml.values(clipContent + "/EssenceList/Audio/SamplingRate"),
             QStringList(4, QStringLiteral("48000")));
    QCOMPARE(xml.values(clipContent + "/EssenceList/Audio/BitsPerSample"),
             QStringList(4, QStringLiteral("16")));
    QCOMPARE(xml.value(clipContent + "/Relation/Connection/Next/ClipName"), QStringLiteral("0004AB"));
    QCOMPARE(xml.value(clipContent + "/Relation/Connection/Next/GlobalClipID"), umidFor(4));
    QVERIFY(!xml.has(clipContent + "/Relation/Connection/Top"));
    const QString metadata = clipContent + QStringLiteral("/ClipMetadata");
    QCOMPARE(xml.value(metadata + "/UserClipName"), QStringLiteral("Interview"));
    QCOMPARE(xml.value(metadata + "/Access/CreationDate"), QStringLiteral("2026-07-01T10:02:00-05:00"));
    QCOMPARE(xml.value(metadata + "/Access/LastUpdateDate"), QStringLiteral("2026-07-01T10:07:00-05:00"));
    QCOMPARE(xml.value(metadata + "/Device/ModelName"), QStringLiteral("AJ-HPX3100G"));
    QCOMPARE(xml.value(metadata + "/Shoot/StartDate"), QStringLiteral("2026-07-01T10:02:00-05:00"));
}

void SyntheticCardTest::clipXmlEscapesValues()
{
    ClipSpec plan = clip(1);
    plan.clipName = QStringLiteral("A&B <\"1\">");
    plan.userClipName = QStringLiteral("Tom's <take> & \"more\" ñ");
    plan.frameRate = QStringLiteral("29.97p&");
    const XmlFacts xml = parseXml(clipXml(plan).toUtf8());
    QVERIFY2(xml.error.isEmpty(), qPrintable(xml.error));
    QCOMPARE(xml.value(clipContent + "/ClipName"), plan.clipName);
    QCOMPARE(xml.value(clipContent + "/ClipMetadata/UserClipName"), plan.userClipName);
    QCOMPARE(xml.value(videoElement + "/FrameRate"), plan.frameRate);
}

void SyntheticCardTest::knobs_data()
{
    QTest::addColumn<Knob>("knob");
    const auto xmlOf = [](const WrittenCard& card, int clip) { return readXml(card.clips[clip].xmlPath); };

    QTest::newRow("no XML") << Knob{[](CardSpec& plan) { plan.clips[0].writeXml = false; },
                                    [](const WrittenCard& card) {
                                        QVERIFY(card.clips[0].xmlPath.isEmpty());
                                        QCOMPARE(entriesOf(card.contentsPath + "/CLIP"),
                                                 QStringList{"0002AB.XML"});
                                    }};
    QTest::newRow("XML without GlobalClipID")
        << Knob{[](CardSpec& plan) { plan.clips[0].xmlHasGlobalClipID = false; },
                [=](const WrittenCard& card) {
                    const XmlFacts xml = xmlOf(card, 0);
                    QVERIFY(!xml.has(clipContent + "/GlobalClipID"));
                    QCOMPARE(xml.value(clipContent + "/ClipName"), QStringLiteral("0001AB"));
                    QCOMPARE(probedUmid(card.clips[0].videoPath), "0x" + umidFor(1));
                }};
    QTest::newRow("ID in lower case")
        << Knob{[](CardSpec& plan) { plan.clips[0].idForm = IdForm::LowerCase; },
                [=](const WrittenCard& card) {
                    QCOMPARE(xmlOf(card, 0).value(clipContent + "/GlobalClipID"), umidFor(1).toLower());
                }};
    QTest::newRow("ID with 0x prefix")
        << Knob{[](CardSpec& plan) { plan.clips[0].idForm = IdForm::HexPrefix; },
                [=](const WrittenCard& card) {
                    QCOMPARE(xmlOf(card, 0).value(clipContent + "/GlobalClipID"), "0x" + umidFor(1));
                }};
    QTest::newRow("two videos share one UMID")
        << Knob{[](CardSpec& plan) { plan.clips[1].umid = umidFor(1); },
                [=](const WrittenCard& card) {
                    QCOMPARE(card.clips[1].umid, umidFor(1));
                    QCOMPARE(probedUmid(card.clips[0].videoPath), "0x" + umidFor(1));
                    QCOMPARE(probedUmid(card.clips[1].videoPath), "0x" + umidFor(1));
                    QCOMPARE(xmlOf(card, 1).value(clipContent + "/GlobalClipID"), umidFor(1));
                }};
    QTest::newRow("audio with no owner")
        << Knob{[](CardSpec& plan) {
                    plan.orphanAudio.push_back({QStringLiteral("0099ZZ00.MXF"), umidFor(99)});
                },
                [](const WrittenCard& card) {
                    QCOMPARE(card.orphanAudioPaths, QStringList{card.contentsPath + "/AUDIO/0099ZZ00.MXF"});
                    QCOMPARE(probedUmid(card.orphanAudioPaths[0]), "0x" + umidFor(99));
                    QCOMPARE(entriesOf(card.contentsPath + "/AUDIO").size(), 5);
                }};
    QTest::newRow("audio file with a foreign UMID")
        << Knob{[](CardSpec& plan) {
                    plan.clips[0].audioUmidOverrides = {{1, umidFor(50)}};
                },
                [](const WrittenCard& card) {
                    QCOMPARE(probedUmid(card.clips[0].audioPaths[0]), "0x" + umidFor(1));
                    QCOMPARE(probedUmid(card.clips[0].audioPaths[1]), "0x" + umidFor(50));
                }};
    QTest::newRow("declared audio count differs")
        << Knob{[](CardSpec& plan) { plan.clips[0].declaredAudioCount = 4; },
                [=](const WrittenCard& card) {
                    QCOMPARE(xmlOf(card, 0).values(clipContent + "/EssenceList/Audio").size(), 4);
                    QCOMPARE(xmlOf(card, 1).values(clipContent + "/EssenceList/Audio").size(), 2);
                    QCOMPARE(card.clips[0].audioPaths.size(), 2);
                    QCOMPARE(entriesOf(card.contentsPath + "/AUDIO").size(), 4);
                }};
    QTest::newRow("no recording date") << Knob{[](CardSpec& plan) {
                                                   plan.clips[0].creationDate.reset();
                                                   plan.clips[0].shootStartDate.reset();
                                               },
                                               [=](const WrittenCard& card) {
                                                   const XmlFacts xml = xmlOf(card, 0);
                                                   const QString metadata = clipContent + "/ClipMetadata";
                                                   QVERIFY(!xml.has(metadata + "/Access/CreationDate"));
                                                   QVERIFY(!xml.has(metadata + "/Shoot/StartDate"));
                                                   QVERIFY(xml.has(metadata + "/Access/LastUpdateDate"));
                                               }};
    QTest::newRow("no timecode in XML")
        << Knob{[](CardSpec& plan) { plan.clips[0].xmlStartTimecode.reset(); },
                [=](const WrittenCard& card) {
                    QVERIFY(!xmlOf(card, 0).has(videoElement + "/StartTimecode"));
                    QVERIFY(xmlOf(card, 1).has(videoElement + "/StartTimecode"));
                }};
    QTest::newRow("folder names in other case")
        << Knob{[](CardSpec& plan) {
                    plan.contentsFolderName = QStringLiteral("contents");
                    plan.videoFolderName = QStringLiteral("video");
                    plan.audioFolderName = QStringLiteral("Audio");
                    plan.clipFolderName = QStringLiteral("clip");
                },
                [](const WrittenCard& card) {
                    QCOMPARE(entriesOf(card.rootPath), QStringList{"contents"});
                    QCOMPARE(entriesOf(card.contentsPath), (QStringList{"Audio", "clip", "video"}));
                    QVERIFY(QFile::exists(card.clips[0].videoPath));
                }};
    QTest::newRow("card without CONTENTS")
        << Knob{[](CardSpec& plan) { plan.withContentsFolder = false; },
                [](const WrittenCard& card) {
                    QCOMPARE(card.contentsPath, card.rootPath);
                    QCOMPARE(entriesOf(card.rootPath), (QStringList{"AUDIO", "CLIP", "VIDEO"}));
                    QCOMPARE(card.clips[1].videoPath, card.rootPath + "/VIDEO/0002AB.MXF");
                }};
    QTest::newRow("extra card folders")
        << Knob{[](CardSpec& plan) {
                    plan.extraFolders = {"ICON", "PROXY", "VOICE"};
                },
                [](const WrittenCard& card) {
                    QCOMPARE(entriesOf(card.contentsPath),
                             (QStringList{"AUDIO", "CLIP", "ICON", "PROXY", "VIDEO", "VOICE"}));
                }};
    QTest::newRow("nested sub-folders") << Knob{
        [](CardSpec& plan) { plan.clips[0].subfolder = QStringLiteral("day 1/card A"); },
        [](const WrittenCard& card) {
            QCOMPARE(filesBelow(card.contentsPath),
                     (QStringList{"AUDIO/0002AB00.MXF", "AUDIO/0002AB01.MXF",
                                  "AUDIO/day 1/card A/0001AB00.MXF", "AUDIO/day 1/card A/0001AB01.MXF",
                                  "CLIP/0002AB.XML", "CLIP/day 1/card A/0001AB.XML", "VIDEO/0002AB.MXF",
                                  "VIDEO/day 1/card A/0001AB.MXF"}));
            QCOMPARE(probedUmid(card.clips[0].audioPaths[1]), "0x" + umidFor(1));
        }};
    QTest::newRow("loose files") << Knob{
        [](CardSpec& plan) { plan.loose = true; },
        [](const WrittenCard& card) {
            QCOMPARE(entriesOf(card.rootPath), (QStringList{"0001AB.MXF", "0001AB00.MXF", "0001AB01.MXF",
                                                            "0002AB.MXF", "0002AB00.MXF", "0002AB01.MXF"}));
            QVERIFY(card.clips[0].xmlPath.isEmpty());
            QCOMPARE(probedUmid(card.clips[1].videoPath), "0x" + umidFor(2));
        }};
    QTest::newRow("loose files in sub-folders")
        << Knob{[](CardSpec& plan) {
                    plan.loose = true;
                    plan.clips[1].subfolder = QStringLiteral("a/b");
                },
                [](const WrittenCard& card) {
                    QCOMPARE(filesBelow(card.rootPath),
                             (QStringList{"0001AB.MXF", "0001AB00.MXF", "0001AB01.MXF", "a/b/0002AB.MXF",
                                          "a/b/0002AB00.MXF", "a/b/0002AB01.MXF"}));
                }};
    QTest::newRow("spanned shot") << Knob{
        [](CardSpec& plan) {
            plan.clips[0].next = Connection{"0002AB", umidFor(2)};
            plan.clips[1].top = Connection{"0001AB", umidFor(1)};
            plan.clips[1].previous = Connection{"0001AB", umidFor(1)};
            plan.clips[1].idForm = IdForm::LowerCase;
        },
        [=](const WrittenCard& card) {
            const QString connection = clipContent + "/Relation/Connection";
            const XmlFacts first = xmlOf(card, 0);
            QCOMPARE(first.childrenOf(connection), QStringList{"Next"});
            QCOMPARE(first.value(connection + "/Next/GlobalClipID"), umidFor(2));
            const XmlFacts second = xmlOf(card, 1);
            QCOMPARE(second.childrenOf(connection), (QStringList{"Top", "Previous"}));
            QCOMPARE(second.value(connection + "/Top/ClipName"), "0001AB");
            QCOMPARE(second.value(connection + "/Previous/GlobalClipID"), umidFor(1).toLower());
        }};
    QTest::newRow("drop frame") << Knob{
        [](CardSpec& plan) {
            plan.clips[0].dropFrame = true;
            plan.clips[0].frameRate = QStringLiteral("59.94i");
            plan.clips[0].startTimecode = QStringLiteral("02:00:00:02");
            plan.clips[0].xmlStartTimecode = QStringLiteral("02:00:00:02");
        },
        [=](const WrittenCard& card) {
            const XmlFacts xml = xmlOf(card, 0);
            QCOMPARE(xml.value(videoElement + "/FrameRate"), "59.94i");
            QCOMPARE(xml.value(videoElement + "/FrameRate@DropFrameFlag"), "true");
            QCOMPARE(xml.value(videoElement + "/StartTimecode"), "02:00:00:02");
            QCOMPARE(probe(card.clips[0].videoPath).tag("timecode"), "02:00:00;02");
            QCOMPARE(probe(card.clips[0].audioPaths[0]).tag("timecode"), "02:00:00;02");
        }};
    QTest::newRow("DVCPRO HD") << Knob{[](CardSpec& plan) {
                                           plan.clips[0].codec = VideoCodec::DVCProHD1080;
                                           plan.clips[0].frameRate = QStringLiteral("59.94i");
                                           plan.clips[0].frames = 2;
                                       },
                                       [=](const WrittenCard& card) {
                                           const Probe video = probe(card.clips[0].videoPath);
                                           QCOMPARE(video.field("codec_name"), "dvvideo");
                                           QCOMPARE(video.field("width"), "1280");
                                           QCOMPARE(video.field("height"), "1080");
                                           QCOMPARE(video.tag("material_package_umid"), "0x" + umidFor(1));
                                           QCOMPARE(probe(card.clips[0].audioPaths[0]).field("duration_ts"),
                                                    "3203");
                                           const XmlFacts xml = xmlOf(card, 0);
                                           QCOMPARE(xml.value(videoElement + "/Codec"), "DV100_1080/59.94i");
                                           QCOMPARE(xml.value(clipContent + "/Duration"), "2");
                                       }};
    QTest::newRow("24-bit audio") << Knob{
        [](CardSpec& plan) { plan.clips[0].bitsPerSample = 24; },
        [=](const WrittenCard& card) {
            const Probe audio = probe(card.clips[0].audioPaths[1]);
            QCOMPARE(audio.field("codec_name"), "pcm_s24le");
            QCOMPARE(audio.tag("material_package_umid"), "0x" + umidFor(1));
            QCOMPARE(xmlOf(card, 0).values(clipContent + "/EssenceList/Audio/BitsPerSample"),
                     (QStringList{"24", "24"}));
        }};
    QTest::newRow("no MXF creation time")
        << Knob{[](CardSpec& plan) { plan.clips[0].mxfCreationTime.reset(); },
                [](const WrittenCard& card) {
                    QVERIFY(!probe(card.clips[0].videoPath).tags.contains("modification_date"));
                    QVERIFY(probe(card.clips[1].videoPath).tags.contains("modification_date"));
                }};
    QTest::newRow("lower-case file names") << Knob{
        [](CardSpec& plan) {
            plan.clips[0].essenceExtension = QStringLiteral("mxf");
            plan.clips[0].xmlFileName = QStringLiteral("0001ab.xml");
        },
        [](const WrittenCard& card) {
            QCOMPARE(entriesOf(card.contentsPath + "/CLIP"), (QStringList{"0001ab.xml", "0002AB.XML"}));
            QCOMPARE(entriesOf(card.contentsPath + "/VIDEO"), (QStringList{"0001AB.mxf", "0002AB.MXF"}));
        }};
    QTest::newRow("every file verified")
        << Knob{[](CardSpec& plan) { plan.verification = Verification::EveryFile; },
                [](const WrittenCard& card) {
                    QCOMPARE(probedUmid(card.clips[1].audioPaths[1]), "0x" + umidFor(2));
                }};
    QTest::newRow("first clip verified")
        << Knob{[](CardSpec& plan) { plan.verification = Verification::FirstClip; },
                [](const WrittenCard& card) {
                    QCOMPARE(probedUmid(card.clips[1].audioPaths[1]), "0x" + umidFor(2));
                }};
}

void SyntheticCardTest::knobs()
{
    QFETCH(Knob, knob);
    CardSpec plan;
    plan.clips = {clip(1, 2), clip(2, 2)};
    knob.arrange(plan);
    knob.check(write(plan, root()));
}

void SyntheticCardTest::specialCharactersInNames()
{
    const QString rootPath = dir_->filePath(QStringLiteral("-card \"A\" $HOME; ñandú"));
    CardSpec plan;
    ClipSpec odd = clip(1, 2);
    odd.clipName = QStringLiteral("-0001 \"q\" $x; ü");
    plan.clips = {odd, clip(2, 1)};
    plan.clips[1].subfolder = QStringLiteral("-sub $1; \"é\"");
    const WrittenCard card = write(plan, rootPath);

    QCOMPARE(card.rootPath, rootPath);
    QCOMPARE(card.clips[0].videoPath, rootPath + QStringLiteral("/CONTENTS/VIDEO/-0001 \"q\" $x; ü.MXF"));
    QCOMPARE(card.clips[0].audioPaths[1],
             rootPath + QStringLiteral("/CONTENTS/AUDIO/-0001 \"q\" $x; ü01.MXF"));
    QCOMPARE(card.clips[1].xmlPath, rootPath + QStringLiteral("/CONTENTS/CLIP/-sub $1; \"é\"/0002AB.XML"));
    for (const QString& path :
         {card.clips[0].videoPath, card.clips[0].audioPaths[1], card.clips[1].audioPaths[0]})
        QVERIFY2(QFile::exists(path), qPrintable(path));
    QCOMPARE(probedUmid(card.clips[0].audioPaths[1]), "0x" + umidFor(1));
    QCOMPARE(probedUmid(card.clips[1].videoPath), "0x" + umidFor(2));
    QCOMPARE(readXml(card.clips[0].xmlPath).value(clipContent + "/ClipName"), odd.clipName);
}

void SyntheticCardTest::badInputIsRefused()
{
    CardSpec plan;
    plan.clips = {clip(1)};
    plan.clips[0].umid = QStringLiteral("060A2B34");
    QVERIFY_THROWS_EXCEPTION(Error, write(plan, root()));
    plan.clips[0].umid = umidFor(1);
    plan.clips[0].audioCount = 17;
    QVERIFY_THROWS_EXCEPTION(Error, write(plan, root()));
    plan.clips[0].audioCount = 2;
    plan.clips[0].audioUmidOverrides = {{0, QStringLiteral("zz") + umidFor(1).mid(2)}};
    QVERIFY_THROWS_EXCEPTION(Error, write(plan, root()));
}

QTEST_GUILESS_MAIN(SyntheticCardTest)
#include "tst_synthetic_card.moc"
