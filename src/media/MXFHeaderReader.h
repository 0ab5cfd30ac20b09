#pragma once

#include <optional>
#include <QByteArrayView>
#include <QString>

// The picture a video file's descriptor states: its lines (both fields) and
// whether its frames are interlaced (their fields stored apart or mixed).
struct MXFPictureFacts
{
    int lines = 0;
    bool interlaced = false;

    bool operator==(const MXFPictureFacts&) const = default;
};

// The facts of one MXF file that its header metadata states, each given only
// where the header states it beyond doubt, in the form ffprobe prints it.
struct MXFHeaderFacts
{
    // The material package's PackageUID: 64 upper-case hexadecimal digits, no "0X".
    QString materialPackageUMID;
    // The start of the material package's one timecode component, as
    // HH:MM:SS:FF, or HH:MM:SS;FF for drop frame.
    std::optional<QString> timecode;
    // That component's rounded timecode base (frames per second).
    std::optional<int> timecodeRate;
    // The length of this file's own essence, in seconds, to the microsecond:
    // the material track whose source clip refers to the file's file package
    // (a camera's material package also lists the sibling files' tracks), or,
    // where no material track does, the file package's own essence track.
    std::optional<double> durationSeconds;
    // Given only where the file package's picture descriptor codes DV (which
    // has no colour description in its stream) and states none either, so
    // the picture's colour is what its format defines.
    std::optional<MXFPictureFacts> picture;
    // The identification's modification date, as 2026-07-01T15:00:00.000000Z.
    std::optional<QString> modificationDate;

    bool operator==(const MXFHeaderFacts&) const = default;
};

// Reads the header partition of an MXF file (SMPTE 377M: KLV with BER
// lengths, the header partition pack, the primer pack and local sets with
// two-byte tags) and nothing after it, so a card's files are identified without
// starting a process per file and without touching their essence.
//
// It never throws. Anything it does not expect (no header partition pack at
// the start, header metadata longer than the read bound or than the file, a
// length running past its container, no material package or more than one, a
// reference that resolves to nothing, two sets with one instance UID, a byte
// order other than big-endian) gives no facts at all, and the caller asks
// ffprobe instead. A fact the header does not state for certain (an open or
// incomplete header, several timecode components, an unknown duration, a
// zero or impossible date) is left out alone.
namespace MXFHeaderReader {

// Never more than this many bytes from the start of a file are read.
inline constexpr qsizetype readBound = 1024 * 1024;
// The first read; a header partition longer than this is read on up to readBound.
inline constexpr qsizetype firstReadSize = 16 * 1024;

// The facts in `head`, the first bytes of a file. The header partition must lie
// wholly inside `head`; nothing beyond its end is looked at.
std::optional<MXFHeaderFacts> parse(QByteArrayView head);

// How many bytes from the start of the file hold the header partition, as far
// as `head` tells; nothing when `head` does not begin with one.
std::optional<qint64> headerPartitionEnd(QByteArrayView head);

// Opens `path` and parses its header partition.
std::optional<MXFHeaderFacts> read(const QString& path);

} // namespace MXFHeaderReader
