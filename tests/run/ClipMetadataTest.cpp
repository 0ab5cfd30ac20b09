#include "run/ClipMetadata.h"

#include <QTest>
#include <QTimeZone>

namespace {

using Entries = QList<std::pair<QString, QString>>;

P2Clip clipNamed(const QString& name)
{
    P2Clip clip;
    clip.videoURL = QStringLiteral("/card/CONTENTS/VIDEO/") + name + QStringLiteral(".MXF");
    return clip;
}

} // namespace

class ClipMetadataTest : public QObject
{
    Q_OBJECT

private slots:
    void everyNoteOfTheClipXmlBecomesAKeyInOrder()
    {
        P2Clip clip = clipNamed(QStringLiteral("0007XY"));
        clip.recordingDateTime = QDateTime(QDate(2026, 7, 1), QTime(22, 30, 5), QTimeZone(-5 * 3600));
        clip.globalClipID =
            QStringLiteral("060A2B340101010501010D4313000000AABBCCDDEEFF00112233445566778899");
        clip.notes.userClipName = QStringLiteral("Interview – Ana");
        clip.notes.manufacturer = QStringLiteral("Panasonic");
        clip.notes.modelName = QStringLiteral("AJ-HPX3100G");
        clip.notes.serialNumber = QStringLiteral("C3TA0012");
        clip.notes.shooter = QStringLiteral("Jo $HOME");
        clip.notes.scene = QStringLiteral("12");
        clip.notes.take = QStringLiteral("3");
        clip.notes.memo = QStringLiteral("Good take");

        const MovieMetadata metadata = ClipMetadata::forClip(clip);

        QCOMPARE(metadata.reelName, QStringLiteral("0007XY"));
        const Entries expected{
            {QStringLiteral("creation_time"), QStringLiteral("2026-07-02T03:30:05Z")},
            {QStringLiteral("com.apple.quicktime.title"), QStringLiteral("Interview – Ana")},
            {QStringLiteral("com.apple.quicktime.make"), QStringLiteral("Panasonic")},
            {QStringLiteral("com.apple.quicktime.model"), QStringLiteral("AJ-HPX3100G")},
            {QStringLiteral("com.tolvane.camera-serial-number"), QStringLiteral("C3TA0012")},
            {QStringLiteral("com.tolvane.shooter"), QStringLiteral("Jo $HOME")},
            {QStringLiteral("com.tolvane.scene"), QStringLiteral("12")},
            {QStringLiteral("com.tolvane.take"), QStringLiteral("3")},
            {QStringLiteral("com.tolvane.memo"), QStringLiteral("Good take")},
            {QStringLiteral("com.tolvane.material-package-umid"),
             QStringLiteral("060A2B340101010501010D4313000000AABBCCDDEEFF00112233445566778899")},
        };
        QCOMPARE(metadata.entries, expected);
    }

    void aClipWithoutNotesGetsItsReelNameAlone()
    {
        const MovieMetadata metadata = ClipMetadata::forClip(clipNamed(QStringLiteral("0001AB")));
        QCOMPARE(metadata.reelName, QStringLiteral("0001AB"));
        QVERIFY(metadata.entries.isEmpty());
        QVERIFY(!metadata.isEmpty());
    }

    void onlyTheNotesTheXmlHasAreWritten()
    {
        P2Clip clip = clipNamed(QStringLiteral("0002AB"));
        clip.notes.scene = QStringLiteral("");
        clip.notes.take = QStringLiteral("7");
        const Entries expected{{QStringLiteral("com.tolvane.scene"), QString()},
                               {QStringLiteral("com.tolvane.take"), QStringLiteral("7")}};
        QCOMPARE(ClipMetadata::forClip(clip).entries, expected);
    }

    void theRecordingInstantIsWrittenInUtc()
    {
        P2Clip clip = clipNamed(QStringLiteral("0003AB"));
        clip.recordingDateTime = QDateTime(QDate(2026, 1, 1), QTime(0, 15, 0), QTimeZone(9 * 3600));
        const Entries expected{{QStringLiteral("creation_time"), QStringLiteral("2025-12-31T15:15:00Z")}};
        QCOMPARE(ClipMetadata::forClip(clip).entries, expected);
    }

    void memosStayApartOnOneLine_data()
    {
        QTest::addColumn<QString>("memos");
        QTest::addColumn<QString>("line");
        QTest::newRow("one") << QStringLiteral("Boom in shot") << QStringLiteral("Boom in shot");
        QTest::newRow("two") << QStringLiteral("Boom in shot\nGood take")
                             << QStringLiteral("Boom in shot — Good take");
        QTest::newRow("blank lines and blanks")
            << QStringLiteral("\n  first  \r\n\n\tsecond\n") << QStringLiteral("first — second");
        QTest::newRow("control characters") << QStringLiteral("a\x01"
                                                              "b\x1b[0m\nc\x7f")
                                            << QStringLiteral("ab[0m — c");
        QTest::newRow("nothing") << QStringLiteral("\n \n") << QString();
    }

    void memosStayApartOnOneLine()
    {
        QFETCH(QString, memos);
        QFETCH(QString, line);
        QCOMPARE(ClipMetadata::memoLine(memos), line);

        P2Clip clip = clipNamed(QStringLiteral("0004AB"));
        clip.notes.memo = memos;
        const Entries expected{{QStringLiteral("com.tolvane.memo"), line}};
        QCOMPARE(ClipMetadata::forClip(clip).entries, expected);
    }
};

QTEST_GUILESS_MAIN(ClipMetadataTest)
#include "ClipMetadataTest.moc"
