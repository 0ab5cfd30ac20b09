#include "media/MXFHeaderReader.h"

#include "MediaTests.h"
#include "MXFHeaderBytes.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace MXFHeaderBytes;

namespace {

const QString umidText = QString::fromLatin1(umid(1).toHex().toUpper());

Track timecodeTrack(qint64 startFrame, quint16 base, bool dropFrame)
{
    Track track;
    track.type = Track::Type::timecode;
    track.startFrame = startFrame;
    track.roundedBase = base;
    track.dropFrame = dropFrame;
    return track;
}

Track soundTrack(qint32 rate, qint64 samples)
{
    Track track;
    track.type = Track::Type::sound;
    track.rateNumerator = rate;
    track.rateDenominator = 1;
    track.duration = samples;
    return track;
}

QList<Set> without(QList<Set> sets, quint16 kind)
{
    sets.removeIf([kind](const Set& set) { return set.kind == kind; });
    return sets;
}

Set& first(QList<Set>& sets, quint16 kind)
{
    for (Set& set : sets) {
        if (set.kind == kind)
            return set;
    }
    qFatal("no set of kind %x", kind);
}

std::optional<MXFHeaderFacts> parsePlan(const Plan& plan)
{
    return MXFHeaderReader::parse(file(plan));
}

// The file is read, and its duration left to ffprobe.
void verifyDurationUntold(const Plan& plan)
{
    const std::optional<MXFHeaderFacts> facts = parsePlan(plan);
    QVERIFY(facts);
    QCOMPARE(facts->materialPackageUMID, umidText);
    QCOMPARE(facts->durationSeconds, std::nullopt);
}

} // namespace

class MXFHeaderReaderTest : public QObject
{
    Q_OBJECT

private slots:
    void readsEveryFactOfACompleteHeader()
    {
        const std::optional<MXFHeaderFacts> facts = parsePlan(videoPlan());
        QVERIFY(facts);
        QCOMPARE(facts->materialPackageUMID, umidText);
        QCOMPARE(facts->timecode, QStringLiteral("01:00:00;00"));
        QCOMPARE(facts->timecodeRate, 30);
        QCOMPARE(facts->durationSeconds, 0.1001);
        QCOMPARE(facts->modificationDate, QStringLiteral("2026-07-01T15:00:00.000000Z"));
    }

    void timecodeIsWrittenAsFfprobeDoes_data()
    {
        QTest::addColumn<qint64>("startFrame");
        QTest::addColumn<int>("base");
        QTest::addColumn<bool>("dropFrame");
        QTest::addColumn<QString>("expected");
        QTest::newRow("non-drop 30") << qint64(108000) << 30 << false << "01:00:00:00";
        QTest::newRow("drop 30, minute 1 skips frames 0 and 1")
            << qint64(1800) << 30 << true << "00:01:00;02";
        QTest::newRow("drop 30, tenth minute keeps them") << qint64(17982) << 30 << true << "00:10:00;00";
        QTest::newRow("drop 60 drops four") << qint64(3600) << 60 << true << "00:01:00;04";
        QTest::newRow("25 fps") << qint64(90000 + 24) << 25 << false << "01:00:00:24";
        QTest::newRow("single-digit frames below 11 fps") << qint64(25) << 10 << false << "00:00:02:5";
        QTest::newRow("last frame of the day") << qint64(24 * 3600 * 24 - 1) << 24 << false << "23:59:59:23";
    }

    void timecodeIsWrittenAsFfprobeDoes()
    {
        QFETCH(qint64, startFrame);
        QFETCH(int, base);
        QFETCH(bool, dropFrame);
        QFETCH(QString, expected);
        Plan plan = videoPlan();
        plan.tracks[0] = timecodeTrack(startFrame, static_cast<quint16>(base), dropFrame);
        const std::optional<MXFHeaderFacts> facts = parsePlan(plan);
        QVERIFY(facts);
        QCOMPARE(facts->timecode, expected);
        QCOMPARE(facts->timecodeRate, base);
    }

    // A timecode ffprobe would not print, or would print one of two ways, is left to it.
    void doubtfulTimecodeIsLeftOut_data()
    {
        QTest::addColumn<QList<Track>>("tracks");
        QTest::newRow("zero base") << QList<Track>{timecodeTrack(0, 0, false), Track{}};
        QTest::newRow("drop frame at 25") << QList<Track>{timecodeTrack(0, 25, true), Track{}};
        QTest::newRow("negative start") << QList<Track>{timecodeTrack(-1, 30, false), Track{}};
        QTest::newRow("past a day") << QList<Track>{timecodeTrack(30 * 86400, 30, false), Track{}};
        QTest::newRow("two timecode tracks")
            << QList<Track>{timecodeTrack(0, 30, false), timecodeTrack(30, 30, false), Track{}};
        QTest::newRow("none") << QList<Track>{Track{}};
    }

    void doubtfulTimecodeIsLeftOut()
    {
        QFETCH(QList<Track>, tracks);
        Plan plan = videoPlan();
        plan.tracks = tracks;
        const std::optional<MXFHeaderFacts> facts = parsePlan(plan);
        QVERIFY(facts);
        QCOMPARE(facts->materialPackageUMID, umidText);
        QCOMPARE(facts->timecode, std::nullopt);
        QCOMPARE(facts->timecodeRate, std::nullopt);
    }

    void durationIsTheFilesOwnTrackToTheMicrosecond()
    {
        Plan plan;
        plan.umid = umid(1);
        // 4805 samples at 48 kHz are 0.1001041… s.
        plan.tracks = {timecodeTrack(0, 30, false), soundTrack(48000, 4805)};
        plan.samplingRate = 48000;
        const std::optional<MXFHeaderFacts> facts = parsePlan(plan);
        QVERIFY(facts);
        QCOMPARE(facts->durationSeconds, 0.100104);
    }

    // A camera's material package lists the clip's every track; the sound
    // tracks of the sibling files may run frames past the picture or stop short.
    void siblingTracksNeverGiveTheDuration_data()
    {
        QTest::addColumn<qint64>("siblingSamples");
        QTest::newRow("sound two frames longer") << qint64(8008);
        QTest::newRow("sound a frame shorter") << qint64(3203);
        QTest::newRow("sound as long") << qint64(4805);
    }

    void siblingTracksNeverGiveTheDuration()
    {
        QFETCH(qint64, siblingSamples);
        Plan plan = videoPlan();
        for (int i = 0; i < 4; ++i) {
            Track sound = soundTrack(48000, siblingSamples);
            sound.sibling = true;
            plan.tracks.append(sound);
        }
        const std::optional<MXFHeaderFacts> facts = parsePlan(plan);
        QVERIFY(facts);
        QCOMPARE(facts->durationSeconds, 0.1001);
    }

    void withoutItsOwnMaterialTrackTheFilePackagesTrackCounts()
    {
        Plan plan = videoPlan();
        plan.tracks[1].sibling = true;
        plan.tracks[1].duration = 9;
        Track own;
        own.duration = 2;
        plan.fileTracks = {timecodeTrack(0, 30, false), own};
        const std::optional<MXFHeaderFacts> facts = parsePlan(plan);
        QVERIFY(facts);
        QCOMPARE(facts->durationSeconds, 0.066733);
    }

    void anUncertainOwnTrackCannotTell_data()
    {
        QTest::addColumn<QList<Track>>("tracks");
        QTest::addColumn<QList<Track>>("fileTracks");
        Track sibling;
        sibling.sibling = true;
        QTest::newRow("two own tracks") << QList<Track>{Track{}, Track{}} << QList<Track>{};
        QTest::newRow("siblings only, no file track") << QList<Track>{sibling} << QList<Track>{};
        QTest::newRow("siblings only, two file tracks")
            << QList<Track>{sibling} << QList<Track>{Track{}, Track{}};
    }

    void anUncertainOwnTrackCannotTell()
    {
        QFETCH(QList<Track>, tracks);
        QFETCH(QList<Track>, fileTracks);
        Plan plan = videoPlan();
        plan.tracks = tracks;
        plan.fileTracks = fileTracks;
        verifyDurationUntold(plan);
    }

    void pictureIsReadFromTheDescriptor_data()
    {
        QTest::addColumn<QList<Item>>("descriptor");
        QTest::addColumn<std::optional<MXFPictureFacts>>("expected");
        const auto layout = [](int value) { return number(0x320C, static_cast<quint64>(value), 1); };
        const auto displayHeight = [](int value) { return number(0x3208, static_cast<quint64>(value), 4); };
        const auto storedHeight = [](int value) { return number(0x3202, static_cast<quint64>(value), 4); };
        const auto coding = [](const char* hex) { return Item{0x3201, QByteArray::fromHex(hex)}; };
        // DVCPRO HD 1080i as ffmpeg writes it, and DV as another writer might, of another version.
        const Item dvcproHD = coding("060e2b34040101010401020202020100");
        const Item dv = coding("060e2b34040101020401020202010200");
        using Facts = std::optional<MXFPictureFacts>;
        QTest::newRow("separate fields")
            << QList<Item>{dvcproHD, storedHeight(544), displayHeight(540), layout(1)}
            << Facts(MXFPictureFacts{1080, true});
        QTest::newRow("full frame") << QList<Item>{dvcproHD, displayHeight(720), layout(0)}
                                    << Facts(MXFPictureFacts{720, false});
        QTest::newRow("mixed fields")
            << QList<Item>{dv, storedHeight(576), layout(3)} << Facts(MXFPictureFacts{576, true});
        QTest::newRow("segmented frame")
            << QList<Item>{dv, displayHeight(540), layout(4)} << Facts(MXFPictureFacts{1080, false});
        QTest::newRow("one field") << QList<Item>{dv, displayHeight(240), layout(2)} << Facts();
        QTest::newRow("no layout") << QList<Item>{dv, displayHeight(1080)} << Facts();
        QTest::newRow("no height") << QList<Item>{dv, layout(0)} << Facts();
        QTest::newRow("colour stated")
            << QList<Item>{dvcproHD,
                           displayHeight(1080),
                           layout(0),
                           {0x321A, QByteArray::fromHex("060e2b34040101010401010102020000")}}
            << Facts();
        // An H.264 stream may state a colour its descriptor does not: ffprobe is asked.
        QTest::newRow("AVC-Intra") << QList<Item>{coding("060e2b340401010a0401020201323101"),
                                                  storedHeight(540), displayHeight(540), layout(1)}
                                   << Facts();
        QTest::newRow("no coding") << QList<Item>{storedHeight(544), displayHeight(540), layout(1)}
                                   << Facts();
        QTest::newRow("no descriptor") << QList<Item>{} << Facts();
    }

    void pictureIsReadFromTheDescriptor()
    {
        QFETCH(QList<Item>, descriptor);
        QFETCH(std::optional<MXFPictureFacts>, expected);
        Plan plan = videoPlan();
        plan.pictureDescriptor = descriptor;
        const std::optional<MXFHeaderFacts> facts = parsePlan(plan);
        QVERIFY(facts);
        QCOMPARE(facts->picture, expected);
        QCOMPARE(facts->durationSeconds, 0.1001);
    }

    void doubtfulDurationIsLeftOut_data()
    {
        QTest::addColumn<QList<Track>>("tracks");
        QTest::addColumn<std::optional<qint32>>("samplingRate");
        Track unknown;
        unknown.duration = -1;
        Track zeroRate;
        zeroRate.rateNumerator = 0;
        Track sound = soundTrack(48000, 4805);
        Track soundInFrames = sound;
        soundInFrames.rateNumerator = 30000;
        soundInFrames.rateDenominator = 1001;
        soundInFrames.duration = 3;
        QTest::newRow("unknown length") << QList<Track>{unknown} << std::optional<qint32>();
        QTest::newRow("zero edit rate") << QList<Track>{zeroRate} << std::optional<qint32>();
        QTest::newRow("sound counted in frames")
            << QList<Track>{soundInFrames} << std::optional<qint32>(48000);
        QTest::newRow("sampling rate not the edit rate")
            << QList<Track>{sound} << std::optional<qint32>(44100);
        QTest::newRow("only timecode")
            << QList<Track>{timecodeTrack(0, 30, false)} << std::optional<qint32>();
    }

    void doubtfulDurationIsLeftOut()
    {
        QFETCH(QList<Track>, tracks);
        QFETCH(std::optional<qint32>, samplingRate);
        Plan plan = videoPlan();
        plan.tracks = tracks;
        plan.samplingRate = samplingRate;
        verifyDurationUntold(plan);
    }

    void modificationDate_data()
    {
        QTest::addColumn<QList<quint64>>("dates");
        QTest::addColumn<std::optional<QString>>("expected");
        const quint64 date = timestamp(2026, 7, 1, 15, 0, 0);
        QTest::newRow("quarter milliseconds") << QList<quint64>{timestamp(2026, 2, 28, 23, 59, 58, 249)}
                                              << std::optional<QString>("2026-02-28T23:59:58.996000Z");
        QTest::newRow("two identifications agreeing")
            << QList<quint64>{date, date} << std::optional<QString>("2026-07-01T15:00:00.000000Z");
        QTest::newRow("two identifications differing")
            << QList<quint64>{date, timestamp(2026, 7, 2, 15, 0, 0)} << std::optional<QString>();
        QTest::newRow("zero") << QList<quint64>{0} << std::optional<QString>();
        QTest::newRow("30 February") << QList<quint64>{timestamp(2026, 2, 30, 0, 0, 0)}
                                     << std::optional<QString>();
        QTest::newRow("hour 24") << QList<quint64>{timestamp(2026, 2, 3, 24, 0, 0)}
                                 << std::optional<QString>();
        QTest::newRow("before 1970") << QList<quint64>{timestamp(1969, 12, 31, 0, 0, 0)}
                                     << std::optional<QString>();
        QTest::newRow("no identification") << QList<quint64>{} << std::optional<QString>();
    }

    void modificationDate()
    {
        QFETCH(QList<quint64>, dates);
        QFETCH(std::optional<QString>, expected);
        Plan plan = videoPlan();
        plan.modificationDates = dates;
        const std::optional<MXFHeaderFacts> facts = parsePlan(plan);
        QVERIFY(facts);
        QCOMPARE(facts->modificationDate, expected);
    }

    // Values of a header that may still change are left to ffprobe; the UMID never changes.
    void anOpenOrIncompleteHeaderGivesTheUMIDAlone_data()
    {
        QTest::addColumn<int>("status");
        QTest::newRow("open incomplete") << 1;
        QTest::newRow("closed incomplete") << 2;
        QTest::newRow("open complete") << 3;
    }

    void anOpenOrIncompleteHeaderGivesTheUMIDAlone()
    {
        QFETCH(int, status);
        Plan plan = videoPlan();
        plan.status = static_cast<quint8>(status);
        MXFHeaderFacts expected;
        expected.materialPackageUMID = umidText;
        QCOMPARE(parsePlan(plan), expected);
    }

    void unexpectedHeadersCannotTell_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const QList<Set> good = sets(videoPlan());
        const QByteArray goodFile = file(good);

        QTest::newRow("empty") << QByteArray();
        QTest::newRow("not MXF") << QByteArray("RIFF....WAVEfmt ").repeated(8);
        QTest::newRow("run-in before the header") << QByteArray(16, '\0') + goodFile;
        QTest::newRow("body partition first")
            << goodFile.mid(goodFile.indexOf(QByteArray::fromHex("060e2b34020501010d0102010103")));
        QTest::newRow("status 5") << file(good, 5);
        QTest::newRow("cut inside the metadata") << goodFile.left(goodFile.size() / 2);
        QTest::newRow("no material package") << file(without(good, Kind::materialPackage));
        QTest::newRow("no content storage") << file(without(good, Kind::contentStorage));

        QList<Set> two = good;
        Set second = first(two, Kind::materialPackage);
        second.items[0].value = uid(77);
        second.items[1].value = umid(2);
        two.append(second);
        QTest::newRow("two material packages") << file(two);

        QList<Set> unlisted = good;
        first(unlisted, Kind::contentStorage).items[1] = references(0x1901, {uid(4)});
        QTest::newRow("material package not in the content storage") << file(unlisted);

        QList<Set> dangling = good;
        first(dangling, Kind::materialPackage).items[2] = references(0x4403, {uid(5000)});
        QTest::newRow("track reference to nothing") << file(dangling);

        QList<Set> danglingSequence = good;
        first(danglingSequence, Kind::track).items[4].value = uid(5001);
        QTest::newRow("sequence reference to nothing") << file(danglingSequence);

        QList<Set> wrongKind = good;
        first(wrongKind, Kind::materialPackage).items[2] = references(0x4403, {uid(4)});
        QTest::newRow("track reference to a package") << file(wrongKind);

        QList<Set> twins = good;
        first(twins, Kind::sourcePackage).items[0].value = uid(3);
        QTest::newRow("two sets with one instance UID") << file(twins);

        QList<Set> shortUmid = good;
        first(shortUmid, Kind::materialPackage).items[1].value.chop(1);
        QTest::newRow("UMID of 31 bytes") << file(shortUmid);

        QList<Set> badBatch = good;
        first(badBatch, Kind::materialPackage).items[2].value[7] = 15;
        QTest::newRow("batch of 15-byte items") << file(badBatch);

        QList<Set> noUid = good;
        first(noUid, Kind::identification).items.removeFirst();
        QTest::newRow("set without instance UID") << file(noUid);

        Plan littleEndian = videoPlan();
        littleEndian.byteOrder = 0x4949;
        QTest::newRow("little-endian byte order") << file(littleEndian);

        QList<Set> repeatedTag = good;
        first(repeatedTag, Kind::materialPackage).items.append({0x4401, umid(3)});
        QTest::newRow("tag given twice") << file(repeatedTag);

        // A local item whose length runs past its set.
        QByteArray itemPastSet = goodFile;
        const qsizetype package = itemPastSet.indexOf(localSetKey(Kind::materialPackage));
        const qsizetype umidItem = itemPastSet.indexOf(QByteArray::fromHex("44010020"), package);
        itemPastSet[umidItem + 2] = char(0x7F);
        QTest::newRow("item length past its set") << itemPastSet;

        // A set whose BER length runs past the header metadata.
        QByteArray setPastHeader = goodFile;
        setPastHeader[package + 17] = char(0x7F);
        QTest::newRow("set length past the header") << setPastHeader;

        QByteArray nineByteLength = goodFile;
        nineByteLength[package + 16] = char(0x89);
        QTest::newRow("nine-byte BER length") << nineByteLength;

        // The header byte count reaching past the end of the bytes.
        QByteArray countPastEnd = goodFile;
        const qsizetype count = 16 + 4 + 2 + 2 + 4 + 8 + 8 + 8;
        countPastEnd.replace(count, 8, QByteArray::fromHex("00000000ffffffff"));
        QTest::newRow("header byte count past the end") << countPastEnd;

        QByteArray otherVersion = goodFile;
        otherVersion[package + 7] = 0x02;
        QTest::newRow("material package key of another version") << otherVersion;

        QByteArray otherEncoding = goodFile;
        otherEncoding[package + 5] = 0x13;
        QTest::newRow("material package with BER-coded tags") << otherEncoding;
    }

    void unexpectedHeadersCannotTell()
    {
        QFETCH(QByteArray, bytes);
        QCOMPARE(MXFHeaderReader::parse(bytes), std::nullopt);
    }

    void fillAndSetsOfOtherKindsAreSkipped()
    {
        QList<Set> sets = MXFHeaderBytes::sets(videoPlan());
        sets.insert(2, Set{0x0142, {{0x3C0A, uid(900)}, {0xFFF0, QByteArray("dark")}}});
        QByteArray bytes = file(sets);
        const qsizetype storage = bytes.indexOf(localSetKey(Kind::contentStorage));
        const QByteArray fill =
            klv(QByteArray::fromHex("060e2b34010101010301021001000000"), QByteArray(7, '\0'));
        bytes.insert(storage, fill);
        // The header byte count grows by the fill.
        const qsizetype countAt = 16 + 4 + 2 + 2 + 4 + 8 + 8 + 8;
        const QByteArray count = bytes.mid(countAt, 8);
        bytes.replace(
            countAt, 8,
            QByteArray::fromHex(QByteArray::number(count.toHex().toULongLong(nullptr, 16) + fill.size(), 16)
                                    .rightJustified(16, '0')));
        const std::optional<MXFHeaderFacts> facts = MXFHeaderReader::parse(bytes);
        QVERIFY(facts);
        QCOMPARE(facts, parsePlan(videoPlan()));
    }

    // Some writers count the header bytes from the end of the partition pack, fill included.
    void aHeaderCountIncludingTheLeadingFillEndsAtTheNextPartition()
    {
        QByteArray bytes = file(videoPlan());
        const qsizetype countAt = 16 + 4 + 2 + 2 + 4 + 8 + 8 + 8;
        const quint64 count = bytes.mid(countAt, 8).toHex().toULongLong(nullptr, 16) + 60;
        bytes.replace(countAt, 8, QByteArray::fromHex(QByteArray::number(count, 16).rightJustified(16, '0')));
        QCOMPARE(MXFHeaderReader::parse(bytes), parsePlan(videoPlan()));
    }

    void headerPartitionEndTellsHowMuchToRead()
    {
        const QByteArray bytes = file(videoPlan());
        const std::optional<qint64> end = MXFHeaderReader::headerPartitionEnd(bytes.left(400));
        QVERIFY(end);
        QCOMPARE(bytes.mid(*end, 14), QByteArray::fromHex("060e2b34020501010d0102010103"));
        QCOMPARE(MXFHeaderReader::parse(bytes.left(*end)), parsePlan(videoPlan()));
        QCOMPARE(MXFHeaderReader::parse(bytes.left(*end - 1)), std::nullopt);
    }

    void readsFilesWithinItsBound()
    {
        QTemporaryDir folder;
        const auto write = [&folder](const QString& name, const QByteArray& bytes) {
            QFile out(folder.filePath(name));
            QVERIFY(out.open(QIODevice::WriteOnly));
            out.write(bytes);
        };
        write("plain.mxf", file(videoPlan()));
        QCOMPARE(MXFHeaderReader::read(folder.filePath("plain.mxf")), parsePlan(videoPlan()));

        // Metadata longer than the first read is read on to its end.
        QList<Set> big = sets(videoPlan());
        big.append(Set{0x0142, {{0x3C0A, uid(901)}, {0xFFF0, QByteArray(40000, 'x')}}});
        write("big.mxf", file(big));
        QCOMPARE(MXFHeaderReader::read(folder.filePath("big.mxf")), parsePlan(videoPlan()));

        // Past the bound: not read at all.
        QList<Set> huge = sets(videoPlan());
        for (int i = 0; i < 17; ++i)
            huge.append(Set{0x0142, {{0x3C0A, uid(910 + i)}, {0xFFF0, QByteArray(65000, 'x')}}});
        write("huge.mxf", file(huge));
        QCOMPARE(MXFHeaderReader::read(folder.filePath("huge.mxf")), std::nullopt);

        // The header says more than the file holds.
        const QByteArray cut = file(big);
        write("cut.mxf", cut.left(20000));
        QCOMPARE(MXFHeaderReader::read(folder.filePath("cut.mxf")), std::nullopt);

        QCOMPARE(MXFHeaderReader::read(folder.filePath("missing.mxf")), std::nullopt);
        write("empty.mxf", QByteArray());
        QCOMPARE(MXFHeaderReader::read(folder.filePath("empty.mxf")), std::nullopt);
    }
};

int runMXFHeaderReaderTests(int argc, char** argv)
{
    MXFHeaderReaderTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "MXFHeaderReaderTest.moc"
