#include "MXFHeaderBytes.h"

namespace MXFHeaderBytes {

namespace {

const QByteArray partitionPrefix = QByteArray::fromHex("060e2b34020501010d01020101");
const QByteArray primerKey = QByteArray::fromHex("060e2b34020501010d01020101050100");
const QByteArray fillKey = QByteArray::fromHex("060e2b34010101020301021001000000");
const QByteArray pictureDefinition = QByteArray::fromHex("060e2b34040101010103020201000000");
const QByteArray soundDefinition = QByteArray::fromHex("060e2b34040101010103020202000000");
const QByteArray timecodeDefinition = QByteArray::fromHex("060e2b34040101010103020101000000");

QByteArray bigEndian(quint64 value, int bytes)
{
    QByteArray out(bytes, '\0');
    for (int i = bytes - 1; i >= 0; --i, value >>= 8)
        out[i] = static_cast<char>(value & 0xFF);
    return out;
}

QByteArray partitionPack(quint8 kind, quint8 status, quint64 headerByteCount)
{
    QByteArray value;
    value += bigEndian(1, 2) + bigEndian(3, 2) + bigEndian(512, 4);   // version, KAG
    value += bigEndian(0, 8) + bigEndian(0, 8) + bigEndian(0, 8);     // this, previous, footer
    value += bigEndian(headerByteCount, 8) + bigEndian(0, 8);         // header and index byte counts
    value += bigEndian(0, 4) + bigEndian(0, 8) + bigEndian(1, 4);     // index SID, body offset, body SID
    value += QByteArray::fromHex("060e2b34040101020d01020110030000"); // OP-Atom
    value += bigEndian(0, 4) + bigEndian(16, 4);                      // no essence containers
    return klv(partitionPrefix + QByteArray(1, char(kind)) + QByteArray(1, char(status)) +
                   QByteArray(1, '\0'),
               value);
}

} // namespace

QByteArray uid(int n)
{
    return QByteArray::fromHex("adab44242f254dc792ff") + bigEndian(static_cast<quint64>(n), 6);
}

QByteArray umid(int n)
{
    return QByteArray::fromHex("060a2b340101010501010d4313000000") + bigEndian(0x5A5A5A5A00000000ULL + n, 8) +
           bigEndian(0x1234567800000000ULL + n, 8);
}

quint64 timestamp(int year, int month, int day, int hour, int minute, int second, int quarterMilliseconds)
{
    return (quint64(year) << 48) | (quint64(month) << 40) | (quint64(day) << 32) | (quint64(hour) << 24) |
           (quint64(minute) << 16) | (quint64(second) << 8) | quint64(quarterMilliseconds);
}

Item number(quint16 tag, quint64 value, int bytes)
{
    return {tag, bigEndian(value, bytes)};
}

Item rational(quint16 tag, qint32 numerator, qint32 denominator)
{
    return {tag,
            bigEndian(static_cast<quint32>(numerator), 4) + bigEndian(static_cast<quint32>(denominator), 4)};
}

Item references(quint16 tag, const QList<QByteArray>& uids)
{
    QByteArray value = bigEndian(static_cast<quint64>(uids.size()), 4) + bigEndian(16, 4);
    for (const QByteArray& reference : uids)
        value += reference;
    return {tag, value};
}

QList<Set> sets(const Plan& plan)
{
    int next = 100;
    QList<Set> out;
    Set preface{Kind::preface, {{0x3C0A, uid(1)}, {0x3B03, uid(2)}}};
    if (plan.byteOrder)
        preface.items.append(number(0x3B01, *plan.byteOrder, 2));
    out.append(preface);
    for (const quint64 date : plan.modificationDates)
        out.append({Kind::identification, {{0x3C0A, uid(next++)}, number(0x3C06, date, 8)}});
    out.append({Kind::contentStorage, {{0x3C0A, uid(2)}, references(0x1901, {uid(3), uid(4)})}});

    QList<Set> trackSets;
    const auto addTracks = [&](const QList<Track>& tracks) {
        QList<QByteArray> trackUids;
        for (const Track& track : tracks) {
            const QByteArray trackUid = uid(next++), sequenceUid = uid(next++), componentUid = uid(next++);
            trackUids.append(trackUid);
            const QByteArray& definition = track.type == Track::Type::timecode ? timecodeDefinition
                                           : track.type == Track::Type::sound  ? soundDefinition
                                                                               : pictureDefinition;
            trackSets.append({Kind::track,
                              {{0x3C0A, trackUid},
                               number(0x4801, static_cast<quint64>(trackUids.size()), 4),
                               rational(0x4B01, track.rateNumerator, track.rateDenominator),
                               number(0x4B02, 0, 8),
                               {0x4803, sequenceUid}}});
            trackSets.append({Kind::sequence,
                              {{0x3C0A, sequenceUid},
                               {0x0201, definition},
                               number(0x0202, static_cast<quint64>(track.duration), 8),
                               references(0x1001, {componentUid})}});
            if (track.type == Track::Type::timecode)
                trackSets.append({Kind::timecodeComponent,
                                  {{0x3C0A, componentUid},
                                   {0x0201, definition},
                                   number(0x0202, static_cast<quint64>(track.duration), 8),
                                   number(0x1501, static_cast<quint64>(track.startFrame), 8),
                                   number(0x1502, track.roundedBase, 2),
                                   number(0x1503, track.dropFrame ? 1 : 0, 1)}});
            else
                trackSets.append({Kind::sourceClip,
                                  {{0x3C0A, componentUid},
                                   {0x0201, definition},
                                   number(0x0202, static_cast<quint64>(track.duration), 8),
                                   number(0x1201, 0, 8),
                                   {0x1101, umid(track.sibling ? 998 : 999)},
                                   number(0x1102, 1, 4)}});
        }
        return trackUids;
    };
    const QList<QByteArray> materialTracks = addTracks(plan.tracks);
    const QList<QByteArray> fileTracks = addTracks(plan.fileTracks);
    out.append(
        {Kind::materialPackage, {{0x3C0A, uid(3)}, {0x4401, plan.umid}, references(0x4403, materialTracks)}});
    out += trackSets;
    out.append({Kind::sourcePackage,
                {{0x3C0A, uid(4)}, {0x4401, umid(999)}, references(0x4403, fileTracks), {0x4701, uid(5)}}});
    if (!plan.pictureDescriptor.isEmpty())
        out.append({Kind::cdciDescriptor, QList<Item>{{0x3C0A, uid(5)}} + plan.pictureDescriptor});
    if (plan.samplingRate)
        out.append({Kind::soundDescriptor, {{0x3C0A, uid(next++)}, rational(0x3D03, *plan.samplingRate, 1)}});
    return out;
}

Plan videoPlan()
{
    Plan plan;
    plan.umid = umid(1);
    Track timecode;
    timecode.type = Track::Type::timecode;
    timecode.startFrame = 107892; // 01:00:00;00 in drop frame
    timecode.dropFrame = true;
    plan.tracks = {timecode, Track{}};
    plan.modificationDates = {timestamp(2026, 7, 1, 15, 0, 0)};
    return plan;
}

QByteArray klv(const QByteArray& key, const QByteArray& value)
{
    return key + QByteArray(1, char(0x83)) + bigEndian(static_cast<quint64>(value.size()), 3) + value;
}

QByteArray localSetKey(quint16 kind)
{
    return QByteArray::fromHex("060e2b34025301010d01010101") + bigEndian(kind, 2) + QByteArray(1, '\0');
}

QByteArray encode(const Set& set)
{
    QByteArray value;
    for (const Item& item : set.items)
        value += bigEndian(item.tag, 2) + bigEndian(static_cast<quint64>(item.value.size()), 2) + item.value;
    return klv(localSetKey(set.kind), value);
}

QByteArray file(const QList<Set>& sets, quint8 status)
{
    QByteArray metadata = klv(primerKey, bigEndian(0, 4) + bigEndian(18, 4));
    for (const Set& set : sets)
        metadata += encode(set);
    QByteArray bytes = partitionPack(0x02, status, static_cast<quint64>(metadata.size()));
    bytes += klv(fillKey, QByteArray(40, '\0'));
    bytes += metadata;
    bytes += partitionPack(0x03, 0x04, 0);
    bytes += klv(QByteArray::fromHex("060e2b34010201010d01030118010100"), QByteArray(64, '\x55'));
    return bytes;
}

QByteArray file(const Plan& plan)
{
    return file(sets(plan), plan.status);
}

} // namespace MXFHeaderBytes
