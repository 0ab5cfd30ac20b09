#include "media/MXFHeaderReader.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <QByteArray>
#include <QDate>
#include <QFile>
#include <QHash>
#include <QList>

namespace {

using Key = std::array<quint8, 16>;

// The prefix of every partition pack key; byte 13 tells the kind, byte 14 the status.
constexpr std::array<quint8, 13> partitionPackPrefix = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01,
                                                        0x01, 0x0D, 0x01, 0x02, 0x01, 0x01};
constexpr quint8 headerPartitionKind = 0x02;
constexpr quint8 closedCompleteStatus = 0x04;
constexpr Key primerPackKey = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01,
                               0x0D, 0x01, 0x02, 0x01, 0x01, 0x05, 0x01, 0x00};
// KLV fill; its byte 7 (the registry version) differs between writers.
constexpr Key fillKey = {0x06, 0x0E, 0x2B, 0x34, 0x01, 0x01, 0x01, 0x01,
                         0x03, 0x01, 0x02, 0x10, 0x01, 0x00, 0x00, 0x00};
// Local sets of structural metadata: byte 5 0x53 is two-byte tags and lengths;
// bytes 13 and 14 name the set.
constexpr std::array<quint8, 13> localSetPrefix = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x53, 0x01,
                                                   0x01, 0x0D, 0x01, 0x01, 0x01, 0x01};
constexpr std::array<quint8, 13> essenceElementPrefix = {0x06, 0x0E, 0x2B, 0x34, 0x01, 0x02, 0x01,
                                                         0x01, 0x0D, 0x01, 0x03, 0x01, 0x00};
constexpr Key indexSegmentKey = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x53, 0x01, 0x01,
                                 0x0D, 0x01, 0x02, 0x01, 0x01, 0x10, 0x01, 0x00};

enum class SetKind : quint16 {
    preface = 0x012F,
    identification = 0x0130,
    contentStorage = 0x0118,
    materialPackage = 0x0136,
    sourcePackage = 0x0137,
    track = 0x013B,
    sequence = 0x010F,
    sourceClip = 0x0111,
    timecodeComponent = 0x0114,
    genericPictureDescriptor = 0x0127,
    cdciDescriptor = 0x0128,
    rgbaDescriptor = 0x0129,
    mpegVideoDescriptor = 0x0151,
};

constexpr std::array<SetKind, 9> knownSetKinds = {
    SetKind::preface,         SetKind::identification, SetKind::contentStorage,
    SetKind::materialPackage, SetKind::sourcePackage,  SetKind::track,
    SetKind::sequence,        SetKind::sourceClip,     SetKind::timecodeComponent};
// Picture descriptors are read too, but one written to another registry
// version only leaves the picture untold.
constexpr std::array<SetKind, 4> pictureDescriptorKinds = {SetKind::genericPictureDescriptor,
                                                           SetKind::cdciDescriptor, SetKind::rgbaDescriptor,
                                                           SetKind::mpegVideoDescriptor};

// Static local tags (SMPTE 377M), which mean the same in every file.
namespace Tag {
constexpr quint16 instanceUID = 0x3C0A;
constexpr quint16 byteOrder = 0x3B01;
constexpr quint16 modificationDate = 0x3C06;
constexpr quint16 packages = 0x1901;
constexpr quint16 packageUID = 0x4401;
constexpr quint16 tracks = 0x4403;
constexpr quint16 editRate = 0x4B01;
constexpr quint16 origin = 0x4B02;
constexpr quint16 trackSequence = 0x4803;
constexpr quint16 dataDefinition = 0x0201;
constexpr quint16 duration = 0x0202;
constexpr quint16 structuralComponents = 0x1001;
constexpr quint16 startTimecode = 0x1501;
constexpr quint16 roundedTimecodeBase = 0x1502;
constexpr quint16 dropFrame = 0x1503;
constexpr quint16 audioSamplingRate = 0x3D03;
constexpr quint16 sourcePackageID = 0x1101;
constexpr quint16 descriptor = 0x4701;
constexpr quint16 frameLayout = 0x320C;
constexpr quint16 storedHeight = 0x3202;
constexpr quint16 displayHeight = 0x3208;
constexpr quint16 transferCharacteristic = 0x3210;
constexpr quint16 codingEquations = 0x321A;
constexpr quint16 colorPrimaries = 0x3219;
constexpr quint16 pictureEssenceCoding = 0x3201;
} // namespace Tag

// The picture essence coding of the DV family (SMPTE RP 224: DV-DIF,
// DVCPRO, DVCPRO HD), version byte aside; the bytes after it name the variant.
constexpr std::array<quint8, 13> dvCodingPrefix = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01,
                                                   0x00, 0x04, 0x01, 0x02, 0x02, 0x02};

// The data definition of sound tracks (SMPTE RP 224), version byte aside.
constexpr Key soundDataDefinition = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x01,
                                     0x01, 0x03, 0x02, 0x02, 0x02, 0x00, 0x00, 0x00};
constexpr quint16 bigEndianByteOrder = 0x4D4D;

// Holds "cannot tell" from deep inside the walk to the caller.
struct Unexpected
{
};

template <size_t N> bool startsWith(QByteArrayView bytes, const std::array<quint8, N>& prefix)
{
    if (bytes.size() < static_cast<qsizetype>(N))
        return false;
    for (size_t i = 0; i < N; ++i) {
        if (static_cast<quint8>(bytes[static_cast<qsizetype>(i)]) != prefix[i])
            return false;
    }
    return true;
}

// Equal to `key` but for byte 7, the version of the registry the key was taken from.
bool matchesApartFromVersion(QByteArrayView bytes, const Key& key)
{
    if (bytes.size() < 16)
        return false;
    for (qsizetype i = 0; i < 16; ++i) {
        if (i != 7 && static_cast<quint8>(bytes[i]) != key[static_cast<size_t>(i)])
            return false;
    }
    return true;
}

quint64 bigEndian(QByteArrayView bytes)
{
    quint64 value = 0;
    for (const char byte : bytes)
        value = (value << 8) | static_cast<quint8>(byte);
    return value;
}

// Header, body and footer partition packs; the primer pack shares their prefix.
bool isPartitionPack(QByteArrayView key)
{
    const auto kind = static_cast<quint8>(key[13]);
    return startsWith(key, partitionPackPrefix) && kind >= 0x02 && kind <= 0x04;
}

// One key-length-value triplet inside a region of the head.
struct KLV
{
    QByteArrayView key;
    QByteArrayView value;
    qsizetype end = 0; // offset just past the value
};

// The triplet at `offset`, whose value must end by `limit`; nothing otherwise.
std::optional<KLV> klvAt(QByteArrayView bytes, qsizetype offset, qsizetype limit)
{
    if (offset < 0 || limit > bytes.size() || offset + 17 > limit)
        return std::nullopt;
    const QByteArrayView key = bytes.sliced(offset, 16);
    qsizetype position = offset + 16;
    const auto first = static_cast<quint8>(bytes[position++]);
    quint64 length = first;
    if (first & 0x80) {
        const qsizetype lengthBytes = first & 0x7F;
        // BER lengths of more than eight bytes do not occur in MXF.
        if (lengthBytes == 0 || lengthBytes > 8 || position + lengthBytes > limit)
            return std::nullopt;
        length = bigEndian(bytes.sliced(position, lengthBytes));
        position += lengthBytes;
    }
    if (length > static_cast<quint64>(limit - position))
        return std::nullopt;
    const auto size = static_cast<qsizetype>(length);
    return KLV{key, bytes.sliced(position, size), position + size};
}

struct PartitionPack
{
    quint8 status = 0;
    quint64 headerByteCount = 0;
    qsizetype end = 0;
};

// The header partition pack at the very start of `head` (no run-in).
std::optional<PartitionPack> headerPartitionPack(QByteArrayView head)
{
    const std::optional<KLV> pack = klvAt(head, 0, head.size());
    if (!pack || !isPartitionPack(pack->key) || static_cast<quint8>(pack->key[13]) != headerPartitionKind ||
        pack->key[15] != 0)
        return std::nullopt;
    const auto status = static_cast<quint8>(pack->key[14]);
    // Major and minor version, KAG size, this, previous and footer partition,
    // then the header byte count.
    constexpr qsizetype headerByteCountOffset = 2 + 2 + 4 + 8 + 8 + 8;
    if (status < 1 || status > 4 || pack->value.size() < headerByteCountOffset + 8)
        return std::nullopt;
    return PartitionPack{status, bigEndian(pack->value.sliced(headerByteCountOffset, 8)), pack->end};
}

// Where the header metadata begins: the primer pack, after any fill that follows the partition pack.
std::optional<qsizetype> primerPackOffset(QByteArrayView head, qsizetype offset)
{
    while (true) {
        const std::optional<KLV> klv = klvAt(head, offset, head.size());
        if (!klv)
            return std::nullopt;
        if (matchesApartFromVersion(klv->key, fillKey)) {
            offset = klv->end;
            continue;
        }
        if (!startsWith(klv->key, primerPackKey))
            return std::nullopt;
        return offset;
    }
}

struct Set
{
    SetKind kind{};
    QHash<quint16, QByteArrayView> items;

    bool has(quint16 tag) const { return items.contains(tag); }

    QByteArrayView item(quint16 tag, qsizetype size) const
    {
        const auto found = items.constFind(tag);
        if (found == items.constEnd() || found->size() != size)
            throw Unexpected{};
        return *found;
    }

    quint64 number(quint16 tag, qsizetype size) const { return bigEndian(item(tag, size)); }

    // An item of `size` bytes; nothing when it is absent or of another size.
    std::optional<QByteArrayView> optionalItem(quint16 tag, qsizetype size) const
    {
        const auto found = items.constFind(tag);
        if (found == items.constEnd() || found->size() != size)
            return std::nullopt;
        return *found;
    }

    qint64 signedNumber(quint16 tag) const { return static_cast<qint64>(number(tag, 8)); }

    // A batch or array of 16-byte references: count, item size, items.
    QList<QByteArrayView> references(quint16 tag) const
    {
        const auto found = items.constFind(tag);
        if (found == items.constEnd() || found->size() < 8)
            throw Unexpected{};
        const quint64 count = bigEndian(found->sliced(0, 4));
        const quint64 size = bigEndian(found->sliced(4, 4));
        if (size != 16 || count != static_cast<quint64>(found->size() - 8) / 16 ||
            (found->size() - 8) % 16 != 0)
            throw Unexpected{};
        QList<QByteArrayView> references;
        for (qsizetype i = 0; i < static_cast<qsizetype>(count); ++i)
            references.append(found->sliced(8 + 16 * i, 16));
        return references;
    }
};

struct Rational
{
    qint64 numerator = 0;
    qint64 denominator = 0;
};

// The sets of the header metadata, resolved by instance UID.
class Metadata
{
public:
    void add(Set set)
    {
        const QByteArray uid = set.item(Tag::instanceUID, 16).toByteArray();
        if (sets_.contains(uid))
            throw Unexpected{};
        order_.append(uid);
        sets_.insert(uid, std::move(set));
    }

    // The set `reference` names, which must be of `kind`.
    const Set& resolve(QByteArrayView reference, SetKind kind) const
    {
        const Set* set = find(reference);
        if (!set || set->kind != kind)
            throw Unexpected{};
        return *set;
    }

    const Set* find(QByteArrayView reference) const
    {
        const auto found = sets_.constFind(reference.toByteArray());
        return found == sets_.constEnd() ? nullptr : &*found;
    }

    QList<const Set*> ofKind(SetKind kind) const
    {
        QList<const Set*> found;
        for (const QByteArray& uid : order_) {
            const Set& set = *sets_.constFind(uid);
            if (set.kind == kind)
                found.append(&set);
        }
        return found;
    }

    // Every sampling rate a sound descriptor states, whatever its kind of set.
    QList<QByteArrayView> samplingRates() const
    {
        QList<QByteArrayView> rates;
        for (const QByteArray& uid : order_) {
            const QHash<quint16, QByteArrayView>& items = sets_.constFind(uid)->items;
            const auto found = items.constFind(Tag::audioSamplingRate);
            if (found != items.constEnd())
                rates.append(*found);
        }
        return rates;
    }

private:
    QHash<QByteArray, Set> sets_;
    QList<QByteArray> order_;
};

Set localSet(quint16 kind, QByteArrayView value)
{
    Set set;
    set.kind = static_cast<SetKind>(kind);
    qsizetype position = 0;
    while (position < value.size()) {
        if (value.size() - position < 4)
            throw Unexpected{};
        const auto tag = static_cast<quint16>(bigEndian(value.sliced(position, 2)));
        const auto length = static_cast<qsizetype>(bigEndian(value.sliced(position + 2, 2)));
        position += 4;
        if (length > value.size() - position || set.items.contains(tag))
            throw Unexpected{};
        set.items.insert(tag, value.sliced(position, length));
        position += length;
    }
    return set;
}

// The kind of the local set `key` names, for any set of structural metadata.
// A key that names one of the sets read here with another encoding or
// version is from a writer not known here.
std::optional<quint16> localSetKind(QByteArrayView key)
{
    for (qsizetype i = 0; i < 13; ++i) {
        if (i != 5 && i != 7 && static_cast<quint8>(key[i]) != localSetPrefix[static_cast<size_t>(i)])
            return std::nullopt;
    }
    const auto kind =
        static_cast<quint16>((static_cast<quint8>(key[13]) << 8) | static_cast<quint8>(key[14]));
    const bool read = std::find(knownSetKinds.begin(), knownSetKinds.end(), static_cast<SetKind>(kind)) !=
                      knownSetKinds.end();
    const bool picture = std::find(pictureDescriptorKinds.begin(), pictureDescriptorKinds.end(),
                                   static_cast<SetKind>(kind)) != pictureDescriptorKinds.end();
    if (picture)
        return key[5] == 0x53 && key[15] == 0 ? std::optional(kind) : std::nullopt;
    if (!startsWith(key, localSetPrefix) || key[15] != 0) {
        if (read)
            throw Unexpected{};
        return std::nullopt;
    }
    return kind;
}

// The local sets between the primer pack and the end of the header metadata.
// The header byte count is read as counted from the primer pack; a writer
// that counts from the end of the partition pack ends earlier, at the next
// partition, index segment or essence element, where the walk stops too.
Metadata collectSets(QByteArrayView head, qsizetype primer, qsizetype end)
{
    Metadata metadata;
    qsizetype offset = primer;
    bool primerSeen = false;
    while (offset < end) {
        if (offset + 16 <= end) {
            const QByteArrayView key = head.sliced(offset, 16);
            if (isPartitionPack(key) || startsWith(key, essenceElementPrefix) ||
                matchesApartFromVersion(key, indexSegmentKey))
                break;
        }
        const std::optional<KLV> klv = klvAt(head, offset, end);
        if (!klv)
            throw Unexpected{};
        if (!primerSeen) {
            // A primer of 18-byte entries: a local tag and the UL it stands for.
            const QByteArrayView primerValue = klv->value;
            if (primerValue.size() < 8 || bigEndian(primerValue.sliced(4, 4)) != 18 ||
                bigEndian(primerValue.sliced(0, 4)) * 18 != static_cast<quint64>(primerValue.size() - 8))
                throw Unexpected{};
            primerSeen = true;
        } else if (const std::optional<quint16> kind = localSetKind(klv->key)) {
            metadata.add(localSet(*kind, klv->value));
        }
        offset = klv->end;
    }
    return metadata;
}

// The one material package, which the content storage must list.
const Set& materialPackage(const Metadata& metadata)
{
    const QList<const Set*> packages = metadata.ofKind(SetKind::materialPackage);
    const QList<const Set*> storages = metadata.ofKind(SetKind::contentStorage);
    if (packages.size() != 1 || storages.size() != 1)
        throw Unexpected{};
    for (const QByteArrayView reference : storages.first()->references(Tag::packages)) {
        if (metadata.find(reference) == packages.first())
            return *packages.first();
    }
    throw Unexpected{};
}

QString hexadecimal(QByteArrayView bytes)
{
    return QString::fromLatin1(bytes.toByteArray().toHex().toUpper());
}

Rational editRate(const Set& track)
{
    const QByteArrayView rate = track.item(Tag::editRate, 8);
    return {static_cast<qint32>(bigEndian(rate.sliced(0, 4))),
            static_cast<qint32>(bigEndian(rate.sliced(4, 4)))};
}

// The material tracks' timecode components: a track's sequence may be one
// itself, or a sequence holding one (the first such counts).
QList<const Set*> timecodeComponents(const Metadata& metadata, const QList<const Set*>& tracks)
{
    QList<const Set*> components;
    for (const Set* track : tracks) {
        const Set* sequence = metadata.find(track->item(Tag::trackSequence, 16));
        if (sequence->kind == SetKind::timecodeComponent) {
            components.append(sequence);
            continue;
        }
        if (sequence->kind != SetKind::sequence)
            throw Unexpected{};
        for (const QByteArrayView reference : sequence->references(Tag::structuralComponents)) {
            const Set* component = metadata.find(reference);
            if (component && component->kind == SetKind::timecodeComponent) {
                components.append(component);
                break;
            }
        }
    }
    return components;
}

// ffprobe's rendering of a timecode (frame count adjusted for drop frame).
std::optional<QString> timecodeText(qint64 startFrame, qint64 rate, bool dropFrame)
{
    if (rate < 1 || rate > 999 || (dropFrame && rate % 30 != 0) || startFrame < 0 ||
        startFrame >= rate * 24 * 3600)
        return std::nullopt;
    qint64 frame = startFrame;
    if (dropFrame) {
        const qint64 dropped = rate / 30 * 2;
        const qint64 framesPerTenMinutes = rate / 30 * 17982;
        const qint64 tens = frame / framesPerTenMinutes;
        const qint64 rest = frame % framesPerTenMinutes;
        frame += 9 * dropped * tens + dropped * ((rest - dropped) / (framesPerTenMinutes / 10));
    }
    const int digits = rate > 100 ? 3 : rate > 10 ? 2 : 1;
    return QString::asprintf("%02lld:%02lld:%02lld%c%0*lld", frame / (rate * 3600), frame / (rate * 60) % 60,
                             frame / rate % 60, dropFrame ? ';' : ':', digits, frame % rate);
}

void readTimecode(const Metadata& metadata, const QList<const Set*>& tracks, MXFHeaderFacts& facts)
{
    const QList<const Set*> components = timecodeComponents(metadata, tracks);
    if (components.size() != 1)
        return;
    const Set& component = *components.first();
    if (!component.has(Tag::startTimecode) || !component.has(Tag::roundedTimecodeBase))
        return;
    const auto rate = static_cast<qint64>(component.number(Tag::roundedTimecodeBase, 2));
    const bool dropFrame = component.has(Tag::dropFrame) && component.number(Tag::dropFrame, 1) == 1;
    const std::optional<QString> text =
        timecodeText(component.signedNumber(Tag::startTimecode), rate, dropFrame);
    if (!text)
        return;
    facts.timecode = text;
    facts.timecodeRate = static_cast<int>(rate);
}

// Microseconds of `units` at `rate`, rounded to the nearest as ffprobe does.
std::optional<qint64> microseconds(qint64 units, Rational rate)
{
    if (units < 0 || units > std::numeric_limits<qint32>::max() || rate.numerator <= 0 ||
        rate.denominator <= 0)
        return std::nullopt;
    // units · denominator = whole · numerator + rest, so no product overflows.
    const qint64 scaled = units * rate.denominator;
    const qint64 whole = scaled / rate.numerator;
    const qint64 rest = scaled % rate.numerator;
    if (whole > std::numeric_limits<qint64>::max() / 1'000'000 - 1)
        return std::nullopt;
    return whole * 1'000'000 + (rest * 1'000'000 + rate.numerator / 2) / rate.numerator;
}

// What one track's sequence says about its essence.
struct TrackEssence
{
    bool timecodeOnly = false;
    // The packages its source clips refer to.
    QList<QByteArray> sourcePackages;
    // Its length, where it is certain.
    std::optional<qint64> microseconds;
};

// A track's sequence must be of source clips alone for its length to count;
// a timecode track carries no essence, and a sound track whose edit rate is
// not its sampling rate is left to ffprobe.
TrackEssence trackEssence(const Metadata& metadata, const Set& track)
{
    TrackEssence essence;
    const Set* sequence = metadata.find(track.item(Tag::trackSequence, 16));
    if (sequence->kind != SetKind::sequence) {
        essence.timecodeOnly = true; // a bare component: timecode, or nothing read here
        return essence;
    }
    const QList<QByteArrayView> references = sequence->references(Tag::structuralComponents);
    qsizetype clips = 0;
    qsizetype timecodes = 0;
    for (const QByteArrayView reference : references) {
        const Set* component = metadata.find(reference);
        if (!component)
            return essence;
        timecodes += component->kind == SetKind::timecodeComponent;
        if (component->kind != SetKind::sourceClip)
            continue;
        ++clips;
        if (const std::optional<QByteArrayView> package = component->optionalItem(Tag::sourcePackageID, 32))
            essence.sourcePackages.append(package->toByteArray());
    }
    if (timecodes == references.size() && !references.isEmpty()) {
        essence.timecodeOnly = true;
        return essence;
    }
    if (clips != references.size() || references.isEmpty() || !sequence->has(Tag::duration))
        return essence;
    if (track.has(Tag::origin) && track.signedNumber(Tag::origin) != 0)
        return essence;
    const Rational rate = editRate(track);
    if (matchesApartFromVersion(sequence->item(Tag::dataDefinition, 16), soundDataDefinition)) {
        if (rate.denominator != 1)
            return essence;
        for (const QByteArrayView samplingRate : metadata.samplingRates()) {
            if (samplingRate.size() != 8 || bigEndian(samplingRate.sliced(0, 4)) != quint64(rate.numerator) ||
                bigEndian(samplingRate.sliced(4, 4)) != 1)
                return essence;
        }
    }
    essence.microseconds = microseconds(sequence->signedNumber(Tag::duration), rate);
    return essence;
}

// The file package: the one source package that describes essence in this file.
const Set* filePackage(const Metadata& metadata)
{
    const Set* found = nullptr;
    for (const Set* package : metadata.ofKind(SetKind::sourcePackage)) {
        if (!package->has(Tag::descriptor))
            continue;
        if (found)
            return nullptr;
        found = package;
    }
    return found;
}

// The essence tracks among `tracks`; those whose source clips refer to
// `package` alone when it is given.
QList<TrackEssence> essenceTracks(const Metadata& metadata, const QList<const Set*>& tracks,
                                  const std::optional<QByteArray>& package)
{
    QList<TrackEssence> found;
    for (const Set* track : tracks) {
        TrackEssence essence = trackEssence(metadata, *track);
        if (essence.timecodeOnly || (package && !essence.sourcePackages.contains(*package)))
            continue;
        found.append(std::move(essence));
    }
    return found;
}

// This file's own essence track: a camera's material package lists every
// track of the clip, each referring to the file package of its own file, so
// a sibling's length never counts. Where the material package names none of
// this file's essence, the file package's one essence track does.
void readDuration(const Metadata& metadata, const QList<const Set*>& tracks, MXFHeaderFacts& facts)
{
    const Set* package = filePackage(metadata);
    if (!package)
        return;
    const QByteArray packageUID = package->item(Tag::packageUID, 32).toByteArray();
    QList<TrackEssence> own = essenceTracks(metadata, tracks, packageUID);
    if (own.isEmpty()) {
        QList<const Set*> packageTracks;
        for (const QByteArrayView reference : package->references(Tag::tracks)) {
            const Set* track = metadata.find(reference);
            if (!track || track->kind != SetKind::track ||
                !metadata.find(track->item(Tag::trackSequence, 16)))
                return;
            packageTracks.append(track);
        }
        own = essenceTracks(metadata, packageTracks, std::nullopt);
    }
    if (own.size() != 1)
        return;
    const std::optional<qint64> length = own.first().microseconds;
    if (length && *length > 0)
        facts.durationSeconds = static_cast<double>(*length) / 1e6;
}

// The file package's picture descriptor, read where it codes DV and states
// its frame layout and height and no colour. Fields stored apart and segmented frames
// count their lines per field, as ffmpeg reads them.
void readPicture(const Metadata& metadata, MXFHeaderFacts& facts)
{
    const Set* package = filePackage(metadata);
    if (!package)
        return;
    const std::optional<QByteArrayView> reference = package->optionalItem(Tag::descriptor, 16);
    const Set* descriptor = reference ? metadata.find(*reference) : nullptr;
    if (!descriptor || std::find(pictureDescriptorKinds.begin(), pictureDescriptorKinds.end(),
                                 descriptor->kind) == pictureDescriptorKinds.end())
        return;
    if (descriptor->has(Tag::transferCharacteristic) || descriptor->has(Tag::codingEquations) ||
        descriptor->has(Tag::colorPrimaries))
        return;
    // DV has no colour description of its own, so its descriptor tells all; an
    // H.264 stream (AVC-Intra) may state one the descriptor does not repeat.
    const std::optional<QByteArrayView> coding = descriptor->optionalItem(Tag::pictureEssenceCoding, 16);
    if (!coding)
        return;
    for (size_t i = 0; i < dvCodingPrefix.size(); ++i) {
        if (i != 7 && static_cast<quint8>((*coding)[static_cast<qsizetype>(i)]) != dvCodingPrefix[i])
            return;
    }
    std::optional<QByteArrayView> height = descriptor->optionalItem(Tag::displayHeight, 4);
    if (!height)
        height = descriptor->optionalItem(Tag::storedHeight, 4);
    const std::optional<QByteArrayView> layout = descriptor->optionalItem(Tag::frameLayout, 1);
    if (!height || !layout)
        return;
    const quint64 lines = bigEndian(*height);
    enum : quint64 { fullFrame = 0, separateFields = 1, mixedFields = 3, segmentedFrame = 4 };
    const quint64 frameLayout = bigEndian(*layout);
    if (lines == 0 || lines > 16384 ||
        (frameLayout != fullFrame && frameLayout != separateFields && frameLayout != mixedFields &&
         frameLayout != segmentedFrame))
        return;
    const bool perField = frameLayout == separateFields || frameLayout == segmentedFrame;
    facts.picture = MXFPictureFacts{static_cast<int>(perField ? lines * 2 : lines),
                                    frameLayout == separateFields || frameLayout == mixedFields};
}

// An MXF timestamp: year (2 bytes), month, day, hour, minute, second, quarter milliseconds.
std::optional<QString> timestampText(quint64 timestamp)
{
    const auto year = static_cast<int>(timestamp >> 48);
    const auto field = [timestamp](int shift) { return static_cast<int>((timestamp >> shift) & 0xFF); };
    const int month = field(40), day = field(32), hour = field(24), minute = field(16), second = field(8);
    const int quarterMilliseconds = field(0);
    if (year < 1970 || year > 9999 || !QDate(year, month, day).isValid() || hour > 23 || minute > 59 ||
        second > 59 || quarterMilliseconds > 249)
        return std::nullopt;
    return QString::asprintf("%04d-%02d-%02dT%02d:%02d:%02d.%06dZ", year, month, day, hour, minute, second,
                             quarterMilliseconds * 4000);
}

// Every identification must state the same valid date; a file rewritten by
// several tools would otherwise leave it to the reader which one counts.
void readModificationDate(const Metadata& metadata, MXFHeaderFacts& facts)
{
    std::optional<quint64> date;
    for (const Set* identification : metadata.ofKind(SetKind::identification)) {
        if (!identification->has(Tag::modificationDate))
            return;
        const quint64 value = identification->number(Tag::modificationDate, 8);
        if (date && *date != value)
            return;
        date = value;
    }
    if (date)
        facts.modificationDate = timestampText(*date);
}

MXFHeaderFacts facts(QByteArrayView head)
{
    const std::optional<PartitionPack> pack = headerPartitionPack(head);
    if (!pack)
        throw Unexpected{};
    const std::optional<qsizetype> primer = primerPackOffset(head, pack->end);
    if (!primer || pack->headerByteCount == 0 ||
        pack->headerByteCount > static_cast<quint64>(head.size() - *primer))
        throw Unexpected{};
    const Metadata metadata =
        collectSets(head, *primer, *primer + static_cast<qsizetype>(pack->headerByteCount));

    for (const Set* preface : metadata.ofKind(SetKind::preface)) {
        if (preface->has(Tag::byteOrder) && preface->number(Tag::byteOrder, 2) != bigEndianByteOrder)
            throw Unexpected{};
    }
    const Set& package = materialPackage(metadata);
    MXFHeaderFacts facts;
    facts.materialPackageUMID = hexadecimal(package.item(Tag::packageUID, 32));

    QList<const Set*> tracks;
    for (const QByteArrayView reference : package.references(Tag::tracks)) {
        const Set& track = metadata.resolve(reference, SetKind::track);
        if (!metadata.find(track.item(Tag::trackSequence, 16)))
            throw Unexpected{};
        tracks.append(&track);
    }

    // Values in a header that is still open or incomplete may change before the file is finished.
    if (pack->status != closedCompleteStatus)
        return facts;
    readTimecode(metadata, tracks, facts);
    readDuration(metadata, tracks, facts);
    readPicture(metadata, facts);
    readModificationDate(metadata, facts);
    return facts;
}

} // namespace

namespace MXFHeaderReader {

std::optional<MXFHeaderFacts> parse(QByteArrayView head)
{
    try {
        return facts(head);
    } catch (const Unexpected&) {
        return std::nullopt;
    }
}

std::optional<qint64> headerPartitionEnd(QByteArrayView head)
{
    const std::optional<PartitionPack> pack = headerPartitionPack(head);
    if (!pack)
        return std::nullopt;
    const std::optional<qsizetype> primer = primerPackOffset(head, pack->end);
    if (!primer || pack->headerByteCount > static_cast<quint64>(std::numeric_limits<qint64>::max() - *primer))
        return std::nullopt;
    return *primer + static_cast<qint64>(pack->headerByteCount);
}

std::optional<MXFHeaderFacts> read(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return std::nullopt;
    QByteArray head = file.read(std::min<qint64>(file.size(), firstReadSize));
    const std::optional<qint64> end = headerPartitionEnd(head);
    if (!end || *end > readBound || *end > file.size())
        return std::nullopt;
    if (*end > head.size())
        head.append(file.read(*end - head.size()));
    return parse(head);
}

} // namespace MXFHeaderReader
