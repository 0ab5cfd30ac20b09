#include "card/P2MetadataParser.h"
#include "card/P2Scanner.h"
#include "CardTests.h"
#include "CardTree.h"

#include <functional>
#include <QTemporaryDir>
#include <QTest>
#include <SyntheticCard.h>

using P2MetadataParser::ClipMetadata;

namespace {

QStringList sortedByName(QStringList paths)
{
    std::sort(paths.begin(), paths.end(), [](const QString& a, const QString& b) {
        return QStringView(a).mid(a.lastIndexOf(QLatin1Char('/')) + 1) <
               QStringView(b).mid(b.lastIndexOf(QLatin1Char('/')) + 1);
    });
    return paths;
}

// One small clip; the card tests need real files, not long ones.
SyntheticCard::ClipSpec smallClip(int n, int audioCount = 2)
{
    SyntheticCard::ClipSpec clip = SyntheticCard::clip(n, audioCount);
    clip.frames = 1;
    return clip;
}

ClipMetadata parseClipXml(const SyntheticCard::ClipSpec& clip, const QString& path)
{
    CardTree::writeFile(path, SyntheticCard::clipXml(clip).toUtf8());
    return P2MetadataParser::parse(path);
}

} // namespace

class SyntheticCardScanTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    int m_card = 0;

    // Writes the card into a fresh folder; the tests below fail when the builder does.
    std::optional<SyntheticCard::WrittenCard> write(SyntheticCard::CardSpec plan)
    {
        plan.verification = SyntheticCard::Verification::VideoAndFirstAudio;
        try {
            return SyntheticCard::write(plan, m_dir.filePath(QStringLiteral("card %1").arg(++m_card)));
        } catch (const SyntheticCard::Error& error) {
            qWarning("Could not write the synthetic card: %s", error.what());
            return std::nullopt;
        }
    }

    static QStringList videoPaths(const SyntheticCard::WrittenCard& card)
    {
        QStringList paths;
        for (const auto& clip : card.clips)
            paths.append(clip.videoPath);
        return sortedByName(paths);
    }

    static QStringList audioPaths(const SyntheticCard::WrittenCard& card)
    {
        QStringList paths = card.orphanAudioPaths;
        for (const auto& clip : card.clips)
            paths.append(clip.audioPaths);
        return sortedByName(paths);
    }

    static QStringList xmlPaths(const SyntheticCard::WrittenCard& card)
    {
        QStringList paths;
        for (const auto& clip : card.clips) {
            if (!clip.xmlPath.isEmpty())
                paths.append(clip.xmlPath);
        }
        return sortedByName(paths);
    }

    // The scan lists exactly the files the builder wrote, in the card's own folders.
    static void verifyScan(const QString& chosen, const SyntheticCard::WrittenCard& card,
                           const SyntheticCard::CardSpec& plan)
    {
        const P2CardStructure structure = P2Scanner::scan(chosen);
        QCOMPARE(structure.rootURL, chosen);
        QCOMPARE(structure.videoFolder, card.contentsPath + "/" + plan.videoFolderName);
        QCOMPARE(structure.audioFolder, card.contentsPath + "/" + plan.audioFolderName);
        QCOMPARE(structure.clipFolder, card.contentsPath + "/" + plan.clipFolderName);
        QCOMPARE(structure.videoFiles, videoPaths(card));
        QCOMPARE(structure.audioFiles, audioPaths(card));
        QCOMPARE(structure.clipXMLFiles, xmlPaths(card));
    }

private slots:
    void cardLayouts_data()
    {
        QTest::addColumn<std::function<void(SyntheticCard::CardSpec&)>>("knob");
        using Plan = SyntheticCard::CardSpec;
        QTest::newRow("camera card") << std::function([](Plan&) {});
        QTest::newRow("only CONTENTS copied")
            << std::function([](Plan& plan) { plan.withContentsFolder = false; });
        QTest::newRow("lower-case folder names") << std::function([](Plan& plan) {
            plan.contentsFolderName = QStringLiteral("contents");
            plan.videoFolderName = QStringLiteral("video");
            plan.audioFolderName = QStringLiteral("Audio");
            plan.clipFolderName = QStringLiteral("clip");
        });
        QTest::newRow("clips in nested sub-folders") << std::function([](Plan& plan) {
            plan.clips[0].subfolder = QStringLiteral("day 2/card B");
            plan.clips[1].subfolder = QStringLiteral("day 1");
        });
        QTest::newRow("lower-case extensions and odd XML name") << std::function([](Plan& plan) {
            plan.clips[0].essenceExtension = QStringLiteral("mxf");
            plan.clips[1].xmlFileName = QStringLiteral("renamed clip.xml");
        });
        QTest::newRow("clip without XML")
            << std::function([](Plan& plan) { plan.clips[1].writeXml = false; });
        QTest::newRow("clip without audio")
            << std::function([](Plan& plan) { plan.clips[0].audioCount = 0; });
        QTest::newRow("orphan audio") << std::function([](Plan& plan) {
            plan.orphanAudio.push_back({QStringLiteral("0099ZZ00.MXF"), SyntheticCard::umidFor(99)});
        });
    }

    void cardLayouts()
    {
        QFETCH(std::function<void(SyntheticCard::CardSpec&)>, knob);
        SyntheticCard::CardSpec plan;
        plan.clips = {smallClip(10), smallClip(2)};
        knob(plan);
        const auto card = write(plan);
        QVERIFY(card);
        verifyScan(card->rootPath, *card, plan);
        verifyScan(card->contentsPath, *card, plan);
    }

    void extraFoldersAreLocated()
    {
        SyntheticCard::CardSpec plan;
        plan.clips = {smallClip(1, 0)};
        plan.extraFolders = {QStringLiteral("ICON"), QStringLiteral("proxy"), QStringLiteral("Voice")};
        const auto card = write(plan);
        QVERIFY(card);
        const P2CardStructure structure = P2Scanner::scan(card->rootPath);
        QCOMPARE(structure.iconFolder, card->contentsPath + "/ICON");
        QCOMPARE(structure.proxyFolder, card->contentsPath + "/proxy");
        QCOMPARE(structure.voiceFolder, card->contentsPath + "/Voice");
    }

    void looseEssenceIsAllVideo()
    {
        SyntheticCard::CardSpec plan;
        plan.clips = {smallClip(1), smallClip(2)};
        plan.loose = true;
        const auto card = write(plan);
        QVERIFY(card);
        const P2CardStructure structure = P2Scanner::scan(card->rootPath);
        QVERIFY(structure.isEmpty());
        QCOMPARE(structure.videoFiles, sortedByName(videoPaths(*card) + audioPaths(*card)));
        QVERIFY(structure.audioFiles.isEmpty());
        QVERIFY(structure.clipXMLFiles.isEmpty());
    }

    void clipXmlKnobs_data()
    {
        using Clip = SyntheticCard::ClipSpec;
        QTest::addColumn<std::function<void(Clip&)>>("knob");
        QTest::addColumn<std::function<void(ClipMetadata&, const Clip&)>>("expect");

        QTest::newRow("camera clip") << std::function([](Clip&) {})
                                     << std::function([](ClipMetadata&, const Clip&) {});
        QTest::newRow("lower-case id") << std::function([](Clip& clip) {
            clip.idForm = SyntheticCard::IdForm::LowerCase;
        }) << std::function([](ClipMetadata& m, const Clip&) { m.globalClipID = m.globalClipID->toLower(); });
        QTest::newRow("0x-prefixed id")
            << std::function([](Clip& clip) { clip.idForm = SyntheticCard::IdForm::HexPrefix; })
            << std::function([](ClipMetadata& m, const Clip&) { m.globalClipID = "0x" + *m.globalClipID; });
        QTest::newRow("no id") << std::function([](Clip& clip) { clip.xmlHasGlobalClipID = false; })
                               << std::function([](ClipMetadata& m, const Clip&) { m.globalClipID.reset(); });
        QTest::newRow("declares fewer audio files")
            << std::function([](Clip& clip) { clip.declaredAudioCount = 2; })
            << std::function([](ClipMetadata& m, const Clip&) { m.audioChannelCount = 2; });
        QTest::newRow("no audio") << std::function([](Clip& clip) {
            clip.audioCount = 0;
        }) << std::function([](ClipMetadata& m, const Clip&) { m.audioChannelCount = 0; });
        QTest::newRow("25p, DVCPRO HD") << std::function([](Clip& clip) {
            clip.frameRate = QStringLiteral("25p");
            clip.codec = SyntheticCard::VideoCodec::DVCProHD1080;
        }) << std::function([](ClipMetadata& m, const Clip&) {
            m.frameRate = 25.0;
            m.videoCodec = QStringLiteral("DV100_1080/25p");
        });
        QTest::newRow("drop frame") << std::function([](Clip& clip) {
            clip.dropFrame = true;
            clip.frameRate = QStringLiteral("59.94i");
        }) << std::function([](ClipMetadata& m, const Clip&) { m.frameRate = 59.94; });
        QTest::newRow("no start timecode")
            << std::function([](Clip& clip) { clip.xmlStartTimecode.reset(); })
            << std::function([](ClipMetadata& m, const Clip&) { m.startTimecode.reset(); });
        QTest::newRow("shoot start only") << std::function([](Clip& clip) {
            clip.creationDate.reset();
            clip.shootStartDate = QStringLiteral("2026-07-01T09:30:00+00:00");
        }) << std::function([](ClipMetadata& m, const Clip& clip) {
            m.recordingDateTimeRaw = clip.shootStartDate;
        });
        QTest::newRow("no recording date") << std::function([](Clip& clip) {
            clip.creationDate.reset();
            clip.shootStartDate.reset();
        }) << std::function([](ClipMetadata& m, const Clip&) { m.recordingDateTimeRaw.reset(); });
        QTest::newRow("operator's notes") << std::function([](Clip& clip) {
            clip.userClipName = QStringLiteral("Interview & B-roll <2>");
            clip.serialNumber = QStringLiteral("G8TA00123");
            clip.shooter = QStringLiteral("Sam Ørn");
            clip.scene = QStringLiteral("4A");
            clip.take = QStringLiteral("2");
            clip.memo = QStringLiteral("Boom in shot");
        }) << std::function([](ClipMetadata& m, const Clip&) {
            m.notes.userClipName = QStringLiteral("Interview & B-roll <2>");
            m.notes.serialNumber = QStringLiteral("G8TA00123");
            m.notes.shooter = QStringLiteral("Sam Ørn");
            m.notes.scene = QStringLiteral("4A");
            m.notes.take = QStringLiteral("2");
            m.notes.memo = QStringLiteral("Boom in shot");
        });
        QTest::newRow("DVCPRO HD 1080i")
            << std::function([](Clip& clip) { clip.codec = SyntheticCard::VideoCodec::DVCProHD1080i; })
            << std::function([](ClipMetadata& m, const Clip&) {
                   m.frameRate = 59.94;
                   m.videoCodec = QStringLiteral("DV100_1080/59.94i");
               });
        QTest::newRow("AVC-Intra 100 1080i")
            << std::function([](Clip& clip) { clip.codec = SyntheticCard::VideoCodec::AVCIntra100_1080i; })
            << std::function([](ClipMetadata& m, const Clip&) {
                   m.frameRate = 59.94;
                   m.videoCodec = QStringLiteral("AVC-I_1080/59.94i");
               });
        QTest::newRow("AVC-Intra 50 720p")
            << std::function([](Clip& clip) { clip.codec = SyntheticCard::VideoCodec::AVCIntra50_720p; })
            << std::function([](ClipMetadata& m, const Clip&) {
                   m.frameRate = 59.94;
                   m.videoCodec = QStringLiteral("AVC-I_720/59.94p");
               });
        QTest::newRow("spanned shot") << std::function([](Clip& clip) {
            clip.top = SyntheticCard::Connection{QStringLiteral("0001AB"), SyntheticCard::umidFor(1)};
            clip.previous = clip.top;
            clip.next = SyntheticCard::Connection{QStringLiteral("0003AB"), SyntheticCard::umidFor(3)};
            clip.userClipName = QStringLiteral("Interview & B-roll <2>");
        }) << std::function([](ClipMetadata& m, const Clip&) {
            m.notes.userClipName = QStringLiteral("Interview & B-roll <2>");
            m.relation = ShotRelation{std::nullopt, std::nullopt,
                                      ShotConnection{QStringLiteral("0001AB"), SyntheticCard::umidFor(1)},
                                      ShotConnection{QStringLiteral("0001AB"), SyntheticCard::umidFor(1)},
                                      ShotConnection{QStringLiteral("0003AB"), SyntheticCard::umidFor(3)}};
        });
    }

    void clipXmlKnobs()
    {
        using Clip = SyntheticCard::ClipSpec;
        QFETCH(std::function<void(Clip&)>, knob);
        QFETCH(std::function<void(ClipMetadata&, const Clip&)>, expect);
        Clip clip = SyntheticCard::clip(2, 4);
        knob(clip);

        const QString path = m_dir.filePath(QStringLiteral("%1.XML").arg(QTest::currentDataTag()));
        ClipMetadata expected;
        expected.xmlURL = path;
        expected.clipName = clip.clipName;
        expected.globalClipID = SyntheticCard::umidFor(2);
        expected.frameRate = 29.97;
        expected.startTimecode = clip.xmlStartTimecode;
        expected.audioChannelCount = clip.audioCount;
        expected.recordingDateTimeRaw = clip.creationDate;
        expected.durationFrames = clip.frames;
        expected.videoCodec = QStringLiteral("DV25_411");
        expected.notes.userClipName = clip.clipName;
        expected.notes.manufacturer = QStringLiteral("Panasonic");
        expected.notes.modelName = clip.modelName;
        expect(expected, clip);
        QCOMPARE(parseClipXml(clip, path), expected);
    }

    void cardIsOnlyRead()
    {
        SyntheticCard::CardSpec plan;
        plan.clips = {smallClip(1), smallClip(2)};
        plan.extraFolders = {QStringLiteral("ICON")};
        const auto card = write(plan);
        QVERIFY(card);
        QVERIFY(CardTree::grantReadToEveryone(m_dir.path()));
        QVERIFY(CardTree::setWritable(card->rootPath, false));
        const QStringList before = CardTree::fingerprint(card->rootPath);

        P2CardStructure structure;
        std::vector<ClipMetadata> metadata;
        {
            // As an ordinary user where possible, so the read-only bits hold even for root.
            const CardTree::UnprivilegedFileAccess access;
            structure = P2Scanner::scan(card->rootPath);
            for (const QString& xml : std::as_const(structure.clipXMLFiles))
                metadata.push_back(P2MetadataParser::parse(xml));
        }

        const QStringList after = CardTree::fingerprint(card->rootPath);
        QVERIFY(CardTree::setWritable(card->rootPath, true));
        QCOMPARE(after, before);
        QCOMPARE(structure.videoFiles, videoPaths(*card));
        QCOMPARE(structure.audioFiles, audioPaths(*card));
        QCOMPARE(structure.clipXMLFiles, xmlPaths(*card));
        QCOMPARE(metadata.size(), size_t(2));
        for (size_t i = 0; i < metadata.size(); ++i) {
            QCOMPARE(metadata[i].globalClipID, card->clips[i].umid);
            QCOMPARE(metadata[i].parseWarnings, QStringList());
        }
        QCOMPARE(before.size(), 13);
    }
};

int runSyntheticCardScanTests(int argc, char** argv)
{
    SyntheticCardScanTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "SyntheticCardScanTest.moc"
