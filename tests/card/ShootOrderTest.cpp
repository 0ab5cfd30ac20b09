#include "card/ShootOrder.h"

#include "PairingTests.h"
#include "PairingTestSupport.h"

#include <cmath>
#include <QFileInfo>
#include <QTest>
#include <QTimeZone>

using namespace P2MetadataParser;
using PairingTestSupport::shortClip;

namespace {

QDateTime utc(int year, int month, int day, int hour, int minute, int second, int millisecond = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, millisecond), QTimeZone::utc());
}

P2Clip clipWith(std::optional<QDateTime> recorded, std::optional<QString> timecode,
                std::optional<double> frameRate = 29.97)
{
    P2Clip clip;
    clip.videoURL = QStringLiteral("/nonexistent/VIDEO/%1.MXF").arg(clip.id.toString(QUuid::WithoutBraces));
    clip.recordingDateTime = recorded;
    clip.startTimecode = timecode;
    clip.frameRate = frameRate;
    return clip;
}

} // namespace

class ShootOrderTest : public QObject
{
    Q_OBJECT

private slots:
    void internetDateTimes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected");
        QTest::newRow("zone offset") << "2026-07-01T10:00:00-05:00" << utc(2026, 7, 1, 15, 0, 0);
        QTest::newRow("Z") << "2026-07-01T15:00:00Z" << utc(2026, 7, 1, 15, 0, 0);
        QTest::newRow("positive offset") << "2022-04-19T22:47:20+02:30" << utc(2022, 4, 19, 20, 17, 20);
        QTest::newRow("zero offset") << "2022-04-19T22:47:20+00:00" << utc(2022, 4, 19, 22, 47, 20);
        QTest::newRow("fraction") << "2026-07-01T15:00:00.25Z" << utc(2026, 7, 1, 15, 0, 0, 250);
        QTest::newRow("microseconds as ffprobe writes them")
            << "2026-07-01T15:00:00.123456Z" << utc(2026, 7, 1, 15, 0, 0, 123);
        QTest::newRow("day changes with the zone")
            << "2026-07-01T22:30:00-05:00" << utc(2026, 7, 2, 3, 30, 0);
        const QDateTime none;
        QTest::newRow("no zone") << "2026-07-01T10:00:00" << none;
        QTest::newRow("no zone, fraction") << "2026-07-01T10:00:00.5" << none;
        QTest::newRow("space for T") << "2026-07-01 10:00:00Z" << none;
        QTest::newRow("offset without colon") << "2026-07-01T10:00:00-0500" << none;
        QTest::newRow("no seconds") << "2026-07-01T10:00Z" << none;
        QTest::newRow("date only") << "2026-07-01" << none;
        QTest::newRow("basic format") << "20260701T100000Z" << none;
        QTest::newRow("month 13") << "2026-13-01T10:00:00Z" << none;
        QTest::newRow("hour 24") << "2026-07-01T24:00:00Z" << none;
        QTest::newRow("offset hour 24") << "2026-07-01T10:00:00+24:00" << none;
        QTest::newRow("empty fraction") << "2026-07-01T10:00:00.Z" << none;
        QTest::newRow("trailing text") << "2026-07-01T10:00:00Z " << none;
        QTest::newRow("non-ASCII digits") << "２０２６-07-01T10:00:00Z" << none;
        QTest::newRow("empty") << "" << none;
    }

    void internetDateTimes()
    {
        QFETCH(QString, text);
        QFETCH(QDateTime, expected);
        const std::optional<QDateTime> parsed = parseInternetDateTime(text);
        QCOMPARE(parsed.has_value(), expected.isValid());
        if (parsed) {
            QCOMPARE(*parsed, expected);
            QCOMPARE(parsed->timeSpec(), Qt::UTC);
        }
    }

    void instantsAreShownInUTCWithWholeSeconds()
    {
        QCOMPARE(formatInternetDateTime(*parseInternetDateTime(u"2026-07-01T10:00:00.750-05:00")),
                 QStringLiteral("2026-07-01T15:00:00Z"));
        QCOMPARE(formatInternetDateTime(QDateTime(QDate(1, 1, 1), QTime(0, 0), QTimeZone::utc())),
                 QStringLiteral("0001-01-01T00:00:00Z"));
    }

    void timecodes_data()
    {
        QTest::addColumn<std::optional<QString>>("timecode");
        QTest::addColumn<std::optional<double>>("frameRate");
        QTest::addColumn<std::optional<double>>("expected");
        using Text = std::optional<QString>;
        using Number = std::optional<double>;
        const Number none;
        QTest::newRow("drop frame at 29.97")
            << Text(u"01:00:00;15"_qs) << Number(29.97) << Number(3600 + 15 / 29.97);
        QTest::newRow("no frame rate counts 30") << Text(u"01:00:00;15"_qs) << none << Number(3600.5);
        QTest::newRow("all colons") << Text(u"10:20:30:12"_qs) << Number(25.0) << Number(37230.48);
        QTest::newRow("all semicolons") << Text(u"00;00;01;15"_qs) << Number(30.0) << Number(1.5);
        QTest::newRow("empty pieces dropped") << Text(u"01::00:00:15:"_qs) << Number(30.0) << Number(3600.5);
        QTest::newRow("zero rate leaves frames out") << Text(u"00:00:02:15"_qs) << Number(0.0) << Number(2.0);
        QTest::newRow("negative rate leaves frames out")
            << Text(u"00:00:02:15"_qs) << Number(-25.0) << Number(2.0);
        QTest::newRow("signed pieces") << Text(u"+01:00:00:00"_qs) << Number(30.0) << Number(3600.0);
        QTest::newRow("absent") << Text() << Number(30.0) << none;
        QTest::newRow("three fields") << Text(u"01:00:00"_qs) << Number(30.0) << none;
        QTest::newRow("five fields") << Text(u"01:00:00:00:00"_qs) << Number(30.0) << none;
        QTest::newRow("non-numeric field") << Text(u"01:AA:00:00"_qs) << Number(30.0) << none;
        QTest::newRow("fractional field") << Text(u"01:00:00.5:00"_qs) << Number(30.0) << none;
        QTest::newRow("spaces") << Text(u"01: 00:00:00"_qs) << Number(30.0) << none;
        QTest::newRow("hours overflow") << Text(u"9223372036854775807:00:00:00"_qs) << Number(30.0) << none;
        QTest::newRow("piece beyond 64 bits")
            << Text(u"99999999999999999999:00:00:00"_qs) << Number(30.0) << none;
    }

    void timecodes()
    {
        QFETCH(std::optional<QString>, timecode);
        QFETCH(std::optional<double>, frameRate);
        QFETCH(std::optional<double>, expected);
        const std::optional<double> seconds = timecodeToSecondsOfDay(timecode, frameRate);
        QCOMPARE(seconds.has_value(), expected.has_value());
        if (seconds)
            QVERIFY2(std::abs(*seconds - *expected) < 1e-9, qPrintable(QString::number(*seconds, 'g', 17)));
    }

    void timecodeClipIsPlacedOnTheEarliestRecordingDay()
    {
        const P2Clip late = clipWith(utc(2026, 7, 2, 9, 0, 0), u"09:00:00:00"_qs);
        const P2Clip early = clipWith(utc(2026, 7, 1, 23, 30, 0), u"23:30:00:00"_qs);
        const P2Clip timecodeOnly = clipWith(std::nullopt, u"12:00:00:15"_qs, 30.0);
        const QHash<QUuid, ClipSortKey> keys = QCoro::waitFor(resolveShootOrder({late, early, timecodeOnly}));
        QCOMPARE(keys.size(), 3);
        QCOMPARE(keys.value(late.id),
                 (ClipSortKey{utc(2026, 7, 2, 9, 0, 0), ClipSortKey::Source::xmlRecordingDateTime,
                              u"2026-07-02T09:00:00Z"_qs}));
        QCOMPARE(keys.value(early.id).source, ClipSortKey::Source::xmlRecordingDateTime);
        QCOMPARE(keys.value(timecodeOnly.id),
                 (ClipSortKey{utc(2026, 7, 1, 12, 0, 0, 500), ClipSortKey::Source::clipTimecode,
                              u"12:00:00:15"_qs}));

        QList<P2Clip> clips{late, early, timecodeOnly};
        applyShootOrder(clips, keys);
        QCOMPARE(clips.at(0).id, timecodeOnly.id);
        QCOMPARE(clips.at(1).id, early.id);
        QCOMPARE(clips.at(2).id, late.id);
        QCOMPARE(clips.at(0).sortKey, keys.value(timecodeOnly.id));
    }

    void withoutRecordingDatesTimecodesArePlacedOn1970()
    {
        const P2Clip second = clipWith(std::nullopt, u"02:00:00:00"_qs);
        const P2Clip first = clipWith(std::nullopt, u"01:00:00;15"_qs);
        const QHash<QUuid, ClipSortKey> keys = QCoro::waitFor(resolveShootOrder({second, first}));
        QCOMPARE(keys.value(second.id).date, utc(1970, 1, 1, 2, 0, 0));
        QCOMPARE(keys.value(first.id).date.toMSecsSinceEpoch(), std::llround((3600 + 15 / 29.97) * 1000));
        QCOMPARE(keys.value(first.id).display, u"01:00:00;15"_qs);

        QList<P2Clip> clips{second, first};
        applyShootOrder(clips, keys);
        QCOMPARE(clips.at(0).id, first.id);
        QCOMPARE(clips.at(0).exportOrderNumber, 1);
        QCOMPARE(clips.at(1).id, second.id);
        QCOMPARE(clips.at(1).exportOrderNumber, 2);
    }

    void absurdTimecodesStillOrderLast()
    {
        const P2Clip absurd = clipWith(std::nullopt, u"2000000000000000:00:00:00"_qs);
        const P2Clip normal = clipWith(std::nullopt, u"23:59:59:29"_qs);
        const QHash<QUuid, ClipSortKey> keys = QCoro::waitFor(resolveShootOrder({absurd, normal}));
        QVERIFY(keys.value(absurd.id).date.isValid());
        QCOMPARE(keys.value(absurd.id).source, ClipSortKey::Source::clipTimecode);
        QVERIFY(keys.value(normal.id).date < keys.value(absurd.id).date);
    }

    void equalDatesKeepPairingOrder()
    {
        QList<P2Clip> clips;
        QHash<QUuid, ClipSortKey> keys;
        for (int i = 0; i < 5; ++i) {
            clips.append(clipWith(std::nullopt, std::nullopt));
            // The third clip is earlier than the rest, which all share one date.
            keys.insert(clips.last().id, ClipSortKey{utc(2026, 7, 1, i == 2 ? 9 : 10, 0, 0),
                                                     ClipSortKey::Source::xmlRecordingDateTime, QString()});
        }
        const QList<P2Clip> made = clips;
        applyShootOrder(clips, keys);
        const QList<QUuid> order{clips.at(0).id, clips.at(1).id, clips.at(2).id, clips.at(3).id,
                                 clips.at(4).id};
        QCOMPARE(order, (QList<QUuid>{made[2].id, made[0].id, made[1].id, made[3].id, made[4].id}));
        for (int i = 0; i < 5; ++i)
            QCOMPARE(clips.at(i).exportOrderNumber, i + 1);
    }

    void clipsWithoutKeyComeLast()
    {
        QList<P2Clip> clips{clipWith(std::nullopt, std::nullopt), clipWith(std::nullopt, std::nullopt)};
        const QUuid unkeyed = clips.at(0).id;
        QHash<QUuid, ClipSortKey> keys;
        keys.insert(clips.at(1).id,
                    ClipSortKey{utc(9999, 1, 1, 0, 0, 0), ClipSortKey::Source::fileSystemDate, {}});
        applyShootOrder(clips, keys);
        QCOMPARE(clips.at(1).id, unkeyed);
        QCOMPARE(clips.at(1).sortKey, std::nullopt);
        QCOMPARE(clips.at(1).exportOrderNumber, 2);
    }

    // Malformed timecodes fall through to the date the MXF carries; with no
    // date there either, the file system's date decides.
    void malformedTimecodesFallThroughToTheMXFDate()
    {
        REQUIRE_REAL_FFPROBE();
        PairingTestSupport::ToolFolder tools(PairingTestSupport::realFFprobe());
        QVERIFY(tools.ready());
        SyntheticCard::CardSpec plan;
        const std::vector<std::pair<QString, std::optional<QString>>> variants{
            {u"01:00:00"_qs, u"2026-07-01T16:00:00Z"_qs},    // three fields
            {u"01:AA:00:00"_qs, u"2026-07-01T15:00:00Z"_qs}, // non-numeric field
            {u"01:00:00"_qs, std::nullopt},                  // no MXF date either
        };
        int n = 0;
        for (const auto& [timecode, mxfDate] : variants) {
            SyntheticCard::ClipSpec clip = shortClip(++n, 1);
            clip.xmlStartTimecode = timecode;
            clip.creationDate.reset();
            clip.shootStartDate.reset();
            clip.mxfCreationTime = mxfDate;
            plan.clips.push_back(clip);
        }
        PairingTestSupport::CardWriter writer;
        const auto card = writer.write(plan);
        QVERIFY(card);

        const PairingResult result = PairingTestSupport::scanAndPair(card->rootPath, false);
        QCOMPARE(result.clips.size(), 3);
        QHash<QString, P2Clip> byVideo;
        for (const P2Clip& clip : result.clips)
            byVideo.insert(clip.videoURL, clip);
        QCOMPARE(byVideo.value(card->clips[0].videoPath).sortKey,
                 (ClipSortKey{utc(2026, 7, 1, 16, 0, 0), ClipSortKey::Source::mxfCreationDate,
                              u"2026-07-01T16:00:00Z"_qs}));
        QCOMPARE(byVideo.value(card->clips[1].videoPath).sortKey,
                 (ClipSortKey{utc(2026, 7, 1, 15, 0, 0), ClipSortKey::Source::mxfCreationDate,
                              u"2026-07-01T15:00:00Z"_qs}));
        const QFileInfo video(card->clips[2].videoPath);
        const QDateTime fileDate =
            (video.birthTime().isValid() ? video.birthTime() : video.lastModified()).toUTC();
        QCOMPARE(
            byVideo.value(card->clips[2].videoPath).sortKey,
            (ClipSortKey{fileDate, ClipSortKey::Source::fileSystemDate, formatInternetDateTime(fileDate)}));

        // Sources mix: the order follows the instants alone.
        for (qsizetype i = 1; i < result.clips.size(); ++i)
            QVERIFY(result.clips.at(i - 1).sortKey->date <= result.clips.at(i).sortKey->date);
        for (const PairingReportEntry& entry : result.entries) {
            const P2Clip& clip = byVideo.value(card->contentsPath + u"/VIDEO/"_qs + *entry.videoFile);
            QCOMPARE(entry.sortKeySource, label(clip.sortKey->source));
            QCOMPARE(entry.exportOrderNumber, clip.exportOrderNumber);
        }
    }

    void missingVideoFileGetsTheDistantPast()
    {
        PairingTestSupport::ToolFolder noTools{QString()};
        QVERIFY(noTools.ready());
        const P2Clip clip = clipWith(std::nullopt, std::nullopt);
        const QHash<QUuid, ClipSortKey> keys = QCoro::waitFor(resolveShootOrder({clip}));
        QCOMPARE(keys.value(clip.id), (ClipSortKey{utc(1, 1, 1, 0, 0, 0), ClipSortKey::Source::fileSystemDate,
                                                   u"0001-01-01T00:00:00Z"_qs}));
    }
};

int runShootOrderTests(int argc, char** argv)
{
    ShootOrderTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ShootOrderTest.moc"
