#include "card/ClipSortKey.h"
#include "card/P2Clip.h"
#include "CardTests.h"

#include <QTest>

using PairingMethod = P2Clip::PairingMethod;
Q_DECLARE_METATYPE(PairingMethod)
Q_DECLARE_METATYPE(ClipSortKey::Source)
Q_DECLARE_METATYPE(std::optional<int>)

namespace {

P2Clip sampleClip()
{
    P2Clip clip;
    clip.videoURL = QStringLiteral("/card/CONTENTS/VIDEO/0001AB.MXF");
    clip.audioURLs = {QStringLiteral("/card/CONTENTS/AUDIO/0001AB00.MXF"),
                      QStringLiteral("/card/CONTENTS/AUDIO/0001AB01.MXF")};
    clip.xmlURL = QStringLiteral("/card/CONTENTS/CLIP/0001AB.XML");
    clip.pairingMethod = PairingMethod::xmlVerified;
    clip.startTimecode = QStringLiteral("01:02:03:04");
    clip.frameRate = 29.97;
    clip.width = 1280;
    clip.height = 720;
    clip.recordingDateTime = QDateTime(QDate(2026, 7, 1), QTime(15, 0), Qt::UTC);
    clip.sortKey = ClipSortKey{*clip.recordingDateTime, ClipSortKey::Source::xmlRecordingDateTime,
                               QStringLiteral("2026-07-01 15:00:00")};
    clip.exportOrderNumber = 3;
    return clip;
}

} // namespace

class ClipModelTest : public QObject
{
    Q_OBJECT

private slots:
    void pairingMethodLabels_data()
    {
        QTest::addColumn<PairingMethod>("method");
        QTest::addColumn<QString>("label");
        QTest::addColumn<bool>("verified");
        QTest::newRow("xmlVerified") << PairingMethod::xmlVerified << "XML metadata (UMID-verified)" << true;
        QTest::newRow("xmlNoAudioInClip")
            << PairingMethod::xmlNoAudioInClip << "XML metadata (video-only — clip has no audio)" << true;
        QTest::newRow("filenamePrefixUnsafe")
            << PairingMethod::filenamePrefixUnsafe << "Filename match (UNSAFE — not verified by XML/UMID)"
            << false;
        QTest::newRow("sortedOrderUnsafe") << PairingMethod::sortedOrderUnsafe
                                           << "Sorted order (UNSAFE — not verified by XML/UMID)" << false;
        QTest::newRow("unverifiedVideoOnlyUnsafe")
            << PairingMethod::unverifiedVideoOnlyUnsafe
            << "Video only (UNVERIFIED — no XML match, no audio found)" << false;
    }

    void pairingMethodLabels()
    {
        QFETCH(PairingMethod, method);
        QFETCH(QString, label);
        QFETCH(bool, verified);
        QCOMPARE(::label(method), label);
        QCOMPARE(isVerified(method), verified);
        QCOMPARE(pairingMethodFromLabel(label), method);
    }

    void unknownLabelGivesNoMethod_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << "";
        QTest::newRow("other text") << "XML metadata";
        QTest::newRow("other case") << "xml metadata (umid-verified)";
        QTest::newRow("hyphen for em dash") << "Sorted order (UNSAFE - not verified by XML/UMID)";
        QTest::newRow("trailing space") << "XML metadata (UMID-verified) ";
        QTest::newRow("case name") << "xmlVerified";
    }

    void unknownLabelGivesNoMethod()
    {
        QFETCH(QString, text);
        QCOMPARE(pairingMethodFromLabel(text), std::nullopt);
    }

    void sortKeySourceLabels_data()
    {
        QTest::addColumn<ClipSortKey::Source>("source");
        QTest::addColumn<QString>("label");
        QTest::newRow("xml") << ClipSortKey::Source::xmlRecordingDateTime << "XML recording date/time";
        QTest::newRow("timecode") << ClipSortKey::Source::clipTimecode
                                  << "Clip start timecode (XML has no recording date/time)";
        QTest::newRow("mxf") << ClipSortKey::Source::mxfCreationDate
                             << "MXF embedded creation date (ffprobe)";
        QTest::newRow("file system") << ClipSortKey::Source::fileSystemDate
                                     << "File system date (last-resort fallback)";
    }

    void sortKeySourceLabels()
    {
        QFETCH(ClipSortKey::Source, source);
        QFETCH(QString, label);
        QCOMPARE(::label(source), label);
    }

    void sortKeyEqualityCoversEveryField()
    {
        const ClipSortKey key = *sampleClip().sortKey;
        QCOMPARE(key, *sampleClip().sortKey);
        ClipSortKey other = key;
        other.display = QStringLiteral("other");
        QVERIFY(other != key);
        other = key;
        other.source = ClipSortKey::Source::clipTimecode;
        QVERIFY(other != key);
        other = key;
        other.date = key.date.addSecs(1);
        QVERIFY(other != key);
    }

    void clipsDifferingOnlyInIdAreUnequal()
    {
        const P2Clip clip = sampleClip();
        P2Clip twin = sampleClip();
        QVERIFY(twin.id != clip.id);
        QVERIFY(twin != clip);
        twin.id = clip.id;
        QCOMPARE(twin, clip);
        QCOMPARE(qHash(twin), qHash(clip));
    }

    void equalityComparesEveryField()
    {
        const P2Clip clip = sampleClip();
        P2Clip changed = clip;
        changed.audioURLs.removeLast();
        QVERIFY(changed != clip);
        changed = clip;
        changed.exportOrderNumber.reset();
        QVERIFY(changed != clip);
        changed = clip;
        changed.pairingMethod = PairingMethod::sortedOrderUnsafe;
        QVERIFY(changed != clip);
        changed = clip;
        changed.frameRate = 25.0;
        QVERIFY(changed != clip);
        // Hashing follows identity alone.
        QCOMPARE(qHash(changed), qHash(clip));
    }

    void outputFilename_data()
    {
        QTest::addColumn<QString>("videoURL");
        QTest::addColumn<std::optional<int>>("orderNumber");
        QTest::addColumn<bool>("prefix");
        QTest::addColumn<QString>("expected");
        QTest::newRow("ordered") << "/c/VIDEO/0001AB.MXF" << std::optional<int>(7) << true << "007.mov";
        QTest::newRow("option off") << "/c/VIDEO/0001AB.MXF" << std::optional<int>(7) << false
                                    << "0001AB.mov";
        QTest::newRow("no order number")
            << "/c/VIDEO/0001AB.MXF" << std::optional<int>() << true << "0001AB.mov";
        QTest::newRow("no number, option off")
            << "/c/VIDEO/0002AB.mxf" << std::optional<int>() << false << "0002AB.mov";
        QTest::newRow("only the last extension goes")
            << "/c/VIDEO/take.one.MXF" << std::optional<int>() << false << "take.one.mov";
        QTest::newRow("no extension") << "/c/VIDEO/0001AB" << std::optional<int>() << false << "0001AB.mov";
        QTest::newRow("over 999") << "/c/VIDEO/0001AB.MXF" << std::optional<int>(1000) << true << "1000.mov";
    }

    void outputFilename()
    {
        QFETCH(QString, videoURL);
        QFETCH(std::optional<int>, orderNumber);
        QFETCH(bool, prefix);
        QFETCH(QString, expected);
        P2Clip clip;
        clip.videoURL = videoURL;
        clip.exportOrderNumber = orderNumber;
        QCOMPARE(clip.outputFilename(prefix), expected);
    }

    void videoName_data()
    {
        QTest::addColumn<QString>("videoURL");
        QTest::addColumn<QString>("expected");
        QTest::newRow("camera name") << "/c/VIDEO/0001AB.MXF"
                                     << "0001AB";
        QTest::newRow("only the last extension goes") << "/c/VIDEO/take.one.MXF"
                                                      << "take.one";
        QTest::newRow("no extension") << "/c/VIDEO/0001AB"
                                      << "0001AB";
    }

    void videoName()
    {
        QFETCH(QString, videoURL);
        QFETCH(QString, expected);
        P2Clip clip;
        clip.videoURL = videoURL;
        QCOMPARE(clip.videoName(), expected);
    }

    void orderedBasename_data()
    {
        QTest::addColumn<int>("orderNumber");
        QTest::addColumn<QString>("expected");
        QTest::newRow("1") << 1 << "001.mov";
        QTest::newRow("42") << 42 << "042.mov";
        QTest::newRow("999") << 999 << "999.mov";
        QTest::newRow("1000") << 1000 << "1000.mov";
        QTest::newRow("123456") << 123456 << "123456.mov";
    }

    void orderedBasename()
    {
        QFETCH(int, orderNumber);
        QFETCH(QString, expected);
        QCOMPARE(ExportFilename::orderedBasename(orderNumber), expected);
    }
};

int runClipModelTests(int argc, char** argv)
{
    ClipModelTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ClipModelTest.moc"
