#pragma once

#include <optional>
#include <QByteArray>
#include <QList>

// MXF header partitions written byte by byte, shaped like the OP-Atom files
// cameras and ffmpeg write, so the header reader can be tried on every kind of
// damage without a tool.
namespace MXFHeaderBytes {

// Set kinds: bytes 13 and 14 of a local set's key.
namespace Kind {
constexpr quint16 preface = 0x012F;
constexpr quint16 identification = 0x0130;
constexpr quint16 contentStorage = 0x0118;
constexpr quint16 materialPackage = 0x0136;
constexpr quint16 sourcePackage = 0x0137;
constexpr quint16 track = 0x013B;
constexpr quint16 sequence = 0x010F;
constexpr quint16 sourceClip = 0x0111;
constexpr quint16 timecodeComponent = 0x0114;
constexpr quint16 soundDescriptor = 0x0148;
constexpr quint16 cdciDescriptor = 0x0128;
} // namespace Kind

struct Item
{
    quint16 tag = 0;
    QByteArray value;
};

struct Set
{
    quint16 kind = 0;
    QList<Item> items;
};

struct Track
{
    enum class Type { timecode, picture, sound } type = Type::picture;
    qint32 rateNumerator = 30000;
    qint32 rateDenominator = 1001;
    qint64 duration = 3;
    // Timecode tracks only.
    qint64 startFrame = 0;
    quint16 roundedBase = 30;
    bool dropFrame = false;
    // Essence tracks only: the source clip refers to a sibling file's package, as
    // the material package of a camera's file does for the clip's other tracks.
    bool sibling = false;
};

struct Plan
{
    // 32 bytes.
    QByteArray umid;
    // Status of the header partition pack: 1 open incomplete … 4 closed complete.
    quint8 status = 0x04;
    QList<Track> tracks;
    // One identification per date; raw MXF timestamps.
    QList<quint64> modificationDates;
    std::optional<quint16> byteOrder;
    // A sound descriptor with this sampling rate (per second).
    std::optional<qint32> samplingRate;
    // The file package's own tracks.
    QList<Track> fileTracks;
    // Items of a picture descriptor the file package refers to; none: it refers to a descriptor not written.
    QList<Item> pictureDescriptor;
};

// A 16-byte instance UID or reference, distinct for each n.
QByteArray uid(int n);
// The 32-byte UMID the tests use, distinct for each n.
QByteArray umid(int n);
// An MXF timestamp.
quint64 timestamp(int year, int month, int day, int hour, int minute, int second,
                  int quarterMilliseconds = 0);

Item number(quint16 tag, quint64 value, int bytes);
Item rational(quint16 tag, qint32 numerator, qint32 denominator);
Item references(quint16 tag, const QList<QByteArray>& uids);

// The sets of a file made to `plan`: preface, identifications, content storage,
// the material package with its tracks, a file package.
QList<Set> sets(const Plan& plan);
// A standard plan: a drop-frame timecode at 01:00:00;00 and 3 frames of picture at 29.97.
Plan videoPlan();

QByteArray klv(const QByteArray& key, const QByteArray& value);
QByteArray localSetKey(quint16 kind);
QByteArray encode(const Set& set);
// The header partition pack (with the header byte count of `metadata`, counted
// from the primer pack), fill, the primer, the sets, and a body partition pack
// with some essence after it.
QByteArray file(const QList<Set>& sets, quint8 status = 0x04);
QByteArray file(const Plan& plan);

} // namespace MXFHeaderBytes
