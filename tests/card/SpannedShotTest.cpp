#include "card/SpannedShot.h"

#include "card/P2MetadataParser.h"
#include "card/Pairing.h"
#include "CardTests.h"
#include "SyntheticCard.h"
#include "TestFiles.h"

#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr qint64 pieceFrames = 9000;

QString umidOf(const QString& name)
{
    return QStringLiteral("060A2B340101010501010D4313000000") +
           QString::fromLatin1(name.toLatin1().toHex()).toUpper().leftJustified(32, QLatin1Char('0'));
}

ShotConnection connectionTo(const QString& name, bool withID = true)
{
    ShotConnection connection;
    connection.clipName = name;
    if (withID)
        connection.globalClipID = umidOf(name);
    return connection;
}

// A verified DVCPRO HD clip with four audio files, as pairing makes it from its XML.
P2Clip verifiedClip(const QString& name)
{
    P2Clip clip;
    clip.videoURL = QStringLiteral("/card/CONTENTS/VIDEO/%1.MXF").arg(name);
    for (int i = 0; i < 4; ++i)
        clip.audioURLs.append(
            QStringLiteral("/card/CONTENTS/AUDIO/%1%2.MXF").arg(name).arg(i, 2, 10, QLatin1Char('0')));
    clip.xmlURL = QStringLiteral("/card/CONTENTS/CLIP/%1.XML").arg(name);
    clip.pairingMethod = P2Clip::PairingMethod::xmlVerified;
    clip.frameRate = 29.97;
    clip.width = 1280;
    clip.height = 1080;
    clip.videoCodec = QStringLiteral("DV100_1080/59.94i");
    clip.xmlClipName = name;
    clip.globalClipID = umidOf(name);
    clip.durationFrames = pieceFrames;
    clip.declaredAudioCount = 4;
    return clip;
}

// The pieces of one shot, chained as a camera writes them.
QList<P2Clip> chain(const QStringList& names)
{
    QList<P2Clip> pieces;
    for (qsizetype i = 0; i < names.size(); ++i) {
        P2Clip piece = verifiedClip(names[i]);
        ShotRelation relation;
        relation.offsetInShot = i * pieceFrames;
        relation.globalShotID = umidOf(QStringLiteral("shot ") + names.first());
        relation.top = connectionTo(names.first());
        if (i > 0)
            relation.previous = connectionTo(names[i - 1]);
        if (i + 1 < names.size())
            relation.next = connectionTo(names[i + 1]);
        piece.relation = relation;
        pieces.append(piece);
    }
    return pieces;
}

QStringList pieceNames(const SpannedShot& shot)
{
    QStringList names;
    for (const P2Clip& piece : shot.pieces)
        names.append(piece.videoName());
    return names;
}

const QStringList fourNames{QStringLiteral("0158Q5"), QStringLiteral("0159E2"), QStringLiteral("0161VE"),
                            QStringLiteral("0163K1")};

QString notJoined(const QString& shot, const QString& reason)
{
    return QStringLiteral("Spanned shot %1 not joined — %2; its pieces convert as separate movies.")
        .arg(shot, reason);
}

} // namespace

class SpannedShotTest : public QObject
{
    Q_OBJECT

private slots:
    void theParserReadsTheRelationOfTheNeighboursApartFromTheClipsOwn_data()
    {
        QTest::addColumn<bool>("relationFirst");
        QTest::newRow("after the essence list") << false;
        QTest::newRow("before the essence list") << true;
    }

    void theParserReadsTheRelationOfTheNeighboursApartFromTheClipsOwn()
    {
        QFETCH(bool, relationFirst);
        std::vector<SyntheticCard::ClipSpec> pieces = SyntheticCard::spannedShot(
            3, {QStringLiteral("0158Q5"), QStringLiteral("0159E2"), QStringLiteral("0161VE")}, 30);
        SyntheticCard::ClipSpec middle = pieces[1];
        middle.relationFirst = relationFirst;
        middle.next->globalClipID.clear();

        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("0159E2.XML"));
        writeFile(path, SyntheticCard::clipXml(middle).toUtf8());
        const P2MetadataParser::ClipMetadata metadata = P2MetadataParser::parse(path);

        QCOMPARE(metadata.clipName, QStringLiteral("0159E2"));
        QCOMPARE(metadata.globalClipID, SyntheticCard::umidFor(4));
        QCOMPARE(metadata.durationFrames, qint64(30));
        QCOMPARE(metadata.videoCodec, QStringLiteral("DV25_411"));
        QVERIFY(metadata.relation);
        QCOMPARE(metadata.relation->offsetInShot, qint64(30));
        QCOMPARE(metadata.relation->globalShotID, pieces[0].globalShotID);
        QCOMPARE(metadata.relation->top,
                 (ShotConnection{QStringLiteral("0158Q5"), SyntheticCard::umidFor(3)}));
        QCOMPARE(metadata.relation->previous,
                 (ShotConnection{QStringLiteral("0158Q5"), SyntheticCard::umidFor(3)}));
        QCOMPARE(metadata.relation->next, (ShotConnection{QStringLiteral("0161VE"), std::nullopt}));
        QVERIFY(metadata.relation->isSpanned());
        QCOMPARE(metadata.parseWarnings, QStringList());
    }

    void aClipWithoutRelationHasNone()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("0001AB.XML"));
        writeFile(path, SyntheticCard::clipXml(SyntheticCard::clip(1)).toUtf8());
        QVERIFY(!P2MetadataParser::parse(path).relation);
    }

    void chainsOfTwoAndFourAreJoinedInChainOrder_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::newRow("two") << fourNames.mid(0, 2);
        QTest::newRow("four") << fourNames;
    }

    void chainsOfTwoAndFourAreJoinedInChainOrder()
    {
        QFETCH(QStringList, names);
        const SpannedShots::Grouping grouping = SpannedShots::group(chain(names));
        QCOMPARE(grouping.joined.size(), 1);
        QCOMPARE(pieceNames(grouping.joined.first()), names);
        QCOMPARE(grouping.joined.first().name(), names.join(QStringLiteral(" + ")));
        QCOMPARE(grouping.summaryLines, QStringList{QStringLiteral("Spanned shot joined into one movie: %1.")
                                                        .arg(names.join(QStringLiteral(" + ")))});
    }

    void connectionsNamingTheClipAloneMatchByName()
    {
        QList<P2Clip> pieces = chain(fourNames);
        pieces[1].relation->top = connectionTo(fourNames[0], false);
        pieces[2].relation->previous = connectionTo(fourNames[1], false);
        pieces[2].relation->next = connectionTo(fourNames[3].toLower(), false);
        pieces[3].relation->top->globalClipID.reset();
        const SpannedShots::Grouping grouping = SpannedShots::group(pieces);
        QCOMPARE(grouping.joined.size(), 1);
        QCOMPARE(pieceNames(grouping.joined.first()), fourNames);
    }

    void aConnectionWithAnIdentifierMatchesByItAlone()
    {
        // The name is the Top's, but the identifier names no clip on the card.
        QList<P2Clip> pieces = chain(fourNames.mid(0, 2));
        pieces[0].relation->next->globalClipID = umidOf(QStringLiteral("elsewhere"));
        QCOMPARE(SpannedShots::group(pieces).summaryLines,
                 QStringList{notJoined(QStringLiteral("0158Q5 + 0159E2"),
                                       QStringLiteral("piece 0159E2 (Next of 0158Q5) is missing"))});
    }

    void theFirstPieceMayNameNoTopAndTheOthersMayFollowPrevious()
    {
        QList<P2Clip> pieces = chain(fourNames.mid(0, 3));
        for (P2Clip& piece : pieces)
            piece.relation->top.reset();
        QCOMPARE(SpannedShots::group(pieces).joined.size(), 1);
    }

    void theChainDecidesTheOrderOfThePieces()
    {
        QList<P2Clip> pieces = chain(fourNames);
        std::swap(pieces[1], pieces[3]);
        const SpannedShots::Grouping grouping = SpannedShots::group(pieces);
        QCOMPARE(grouping.joined.size(), 1);
        QCOMPARE(pieceNames(grouping.joined.first()), fourNames);
    }

    void videoOnlyPiecesJoin()
    {
        QList<P2Clip> pieces = chain(fourNames.mid(0, 2));
        for (P2Clip& piece : pieces) {
            piece.audioURLs.clear();
            piece.declaredAudioCount = 0;
            piece.pairingMethod = P2Clip::PairingMethod::xmlNoAudioInClip;
        }
        QCOMPARE(SpannedShots::group(pieces).joined.size(), 1);
    }

    void clipsOfNoSpannedShotGiveNoLine()
    {
        P2Clip single = verifiedClip(QStringLiteral("0001AB"));
        P2Clip alone = verifiedClip(QStringLiteral("0002AB"));
        // A Relation naming no neighbour: a shot of one clip.
        alone.relation = ShotRelation{0, umidOf(QStringLiteral("shot")),
                                      connectionTo(QStringLiteral("0002AB")), std::nullopt, std::nullopt};
        const SpannedShots::Grouping grouping = SpannedShots::group({single, alone});
        QCOMPARE(grouping.joined.size(), 0);
        QCOMPARE(grouping.summaryLines, QStringList());
    }

    void shotsThatCannotBeJoinedSayWhy_data()
    {
        QTest::addColumn<QList<P2Clip>>("clips");
        QTest::addColumn<QString>("line");

        QList<P2Clip> missingMiddle = chain(fourNames.mid(0, 3));
        missingMiddle.removeAt(1);
        QTest::newRow("missing middle piece")
            << missingMiddle
            << notJoined(QStringLiteral("0158Q5 + 0161VE"),
                         QStringLiteral("piece 0159E2 (Next of 0158Q5) is missing"));

        const QList<P2Clip> missingTop = chain(fourNames.mid(0, 3)).mid(1);
        QTest::newRow("missing first piece")
            << missingTop
            << notJoined(QStringLiteral("0159E2 + 0161VE"),
                         QStringLiteral("its first piece 0158Q5 is missing"));

        QList<P2Clip> frameSize = chain(fourNames.mid(0, 2));
        frameSize[1].width = 960;
        frameSize[1].height = 720;
        QTest::newRow("frame size")
            << frameSize
            << notJoined(
                   QStringLiteral("0158Q5 + 0159E2"),
                   QStringLiteral("the pieces differ in frame size (0158Q5 1280x1080, 0159E2 960x720)"));

        QList<P2Clip> broken = chain(fourNames.mid(0, 3));
        broken[2].relation->previous = connectionTo(fourNames[0]);
        QTest::newRow("broken chain")
            << broken
            << notJoined(QStringLiteral("0158Q5 + 0159E2 + 0161VE"),
                         QStringLiteral("0159E2 names 0161VE as Next, but 0161VE names 0158Q5 as Previous"));

        QList<P2Clip> audioMismatch = chain(fourNames.mid(0, 2));
        audioMismatch[1].audioURLs.removeAt(1);
        QTest::newRow("second piece's audio UMID does not match")
            << audioMismatch
            << notJoined(
                   QStringLiteral("0158Q5 + 0159E2"),
                   QStringLiteral("only 3 of the 4 audio files that 0159E2's XML declares carry its UMID"));

        QList<P2Clip> cycle = chain(fourNames.mid(0, 3));
        cycle[2].relation->next = connectionTo(fourNames[1]);
        QTest::newRow("cycle") << cycle
                               << notJoined(QStringLiteral("0158Q5 + 0159E2 + 0161VE"),
                                            QStringLiteral("the chain runs back to 0159E2"));

        QList<P2Clip> twice = chain(fourNames.mid(0, 2));
        P2Clip intruder = verifiedClip(QStringLiteral("0160XX"));
        intruder.relation = twice[1].relation;
        twice.append(intruder);
        QTest::newRow("a place claimed twice")
            << twice
            << notJoined(QStringLiteral("0158Q5 + 0159E2 + 0160XX"),
                         QStringLiteral("0160XX claims a place in the shot that another piece holds"));

        QList<P2Clip> gap = chain(fourNames.mid(0, 3));
        gap[2].relation->offsetInShot = 2 * pieceFrames + 1;
        QTest::newRow("gap in the shot")
            << gap
            << notJoined(QStringLiteral("0158Q5 + 0159E2 + 0161VE"),
                         QStringLiteral("0161VE starts at frame 18001 of the shot, but the pieces before it "
                                        "end at frame 18000"));

        QList<P2Clip> noDuration = chain(fourNames.mid(0, 2));
        noDuration[0].durationFrames.reset();
        QTest::newRow("no duration to check against")
            << noDuration
            << notJoined(QStringLiteral("0158Q5 + 0159E2"),
                         QStringLiteral(
                             "where 0159E2 starts cannot be checked: the piece before it has no Duration"));

        QList<P2Clip> unverified = chain(fourNames.mid(0, 2));
        unverified[1].pairingMethod = P2Clip::PairingMethod::filenamePrefixUnsafe;
        QTest::newRow("unverified piece")
            << unverified
            << notJoined(QStringLiteral("0158Q5 + 0159E2"),
                         QStringLiteral("0159E2 is not verified by its XML and UMID"));

        QList<P2Clip> codec = chain(fourNames.mid(0, 2));
        codec[1].videoCodec = QStringLiteral("AVC-I_1080/59.94i");
        QTest::newRow("codec") << codec
                               << notJoined(QStringLiteral("0158Q5 + 0159E2"),
                                            QStringLiteral(
                                                "the pieces differ in video codec (0158Q5 DV100_1080/59.94i, "
                                                "0159E2 AVC-I_1080/59.94i)"));

        QList<P2Clip> rate = chain(fourNames.mid(0, 2));
        rate[0].frameRate.reset();
        QTest::newRow("frame rate")
            << rate
            << notJoined(QStringLiteral("0158Q5 + 0159E2"),
                         QStringLiteral("the pieces differ in frame rate (0158Q5 unknown, 0159E2 29.97)"));

        QList<P2Clip> tracks = chain(fourNames.mid(0, 2));
        tracks[1].audioURLs.removeLast();
        tracks[1].declaredAudioCount = 3;
        QTest::newRow("audio file count")
            << tracks
            << notJoined(QStringLiteral("0158Q5 + 0159E2"),
                         QStringLiteral("the pieces differ in number of audio files (0158Q5 4, 0159E2 3)"));

        QList<P2Clip> shots = chain(fourNames.mid(0, 2));
        shots[1].relation->globalShotID = umidOf(QStringLiteral("another shot"));
        QTest::newRow("shot identifiers")
            << shots
            << notJoined(
                   QStringLiteral("0158Q5 + 0159E2"),
                   QStringLiteral("the pieces differ in GlobalShotID (0158Q5 %1, 0159E2 %2)")
                       .arg(umidOf(QStringLiteral("shot 0158Q5")), umidOf(QStringLiteral("another shot"))));

        QList<P2Clip> headWithPrevious = chain(fourNames.mid(0, 2));
        headWithPrevious[0].relation->previous = connectionTo(QStringLiteral("0100ZZ"));
        QTest::newRow("first piece names a previous one")
            << headWithPrevious
            << notJoined(QStringLiteral("0158Q5 + 0159E2"),
                         QStringLiteral("its first piece 0158Q5 names a Previous piece"));
    }

    void shotsThatCannotBeJoinedSayWhy()
    {
        QFETCH(QList<P2Clip>, clips);
        QFETCH(QString, line);
        const SpannedShots::Grouping grouping = SpannedShots::group(clips);
        QCOMPARE(grouping.joined.size(), 0);
        QCOMPARE(grouping.summaryLines, QStringList{line});
    }

    void oneLinePerShotInShootOrder()
    {
        QList<P2Clip> clips = chain({QStringLiteral("0001AA"), QStringLiteral("0002AA")});
        QList<P2Clip> broken = chain({QStringLiteral("0003BB"), QStringLiteral("0004BB")});
        broken[1].width = 720;
        clips.append(broken);
        clips.append(chain({QStringLiteral("0005CC"), QStringLiteral("0006CC"), QStringLiteral("0007CC")}));
        const SpannedShots::Grouping grouping = SpannedShots::group(clips);
        QCOMPARE(grouping.joined.size(), 2);
        QCOMPARE(grouping.summaryLines,
                 (QStringList{
                     QStringLiteral("Spanned shot joined into one movie: 0001AA + 0002AA."),
                     notJoined(QStringLiteral("0003BB + 0004BB"),
                               QStringLiteral(
                                   "the pieces differ in frame size (0003BB 1280x1080, 0004BB 720x1080)")),
                     QStringLiteral("Spanned shot joined into one movie: 0005CC + 0006CC + 0007CC.")}));
    }

    void pairingKeepsItsLinesAndAddsTheShotsAfterThem()
    {
        P2MetadataParser::PairingResult pairing;
        pairing.clips = chain(fourNames.mid(0, 2));
        pairing.summaryLines = {QStringLiteral(
            "0001AB: CLIP XML declares 4 audio essence(s); found 2 UMID-matching AUDIO file(s).")};
        const P2MetadataParser::PairingResult joined = P2MetadataParser::withJoinedShots(pairing);
        QCOMPARE(joined.clips, pairing.clips);
        QCOMPARE(joined.entries, pairing.entries);
        QCOMPARE(joined.summaryLines,
                 (QStringList{pairing.summaryLines.first(),
                              QStringLiteral("Spanned shot joined into one movie: 0158Q5 + 0159E2.")}));
        QCOMPARE(joined.joinedShots.size(), 1);
    }
};

int runSpannedShotTests(int argc, char** argv)
{
    SpannedShotTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "SpannedShotTest.moc"
