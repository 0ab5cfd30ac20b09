#pragma once

#include "card/ClipNotes.h"
#include "card/ShotRelation.h"

#include <optional>
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QStringView>
#include <utility>

// Reads the CLIP XML metadata of P2 clips.
namespace P2MetadataParser {

// What one CLIP XML file says about its clip.
struct ClipMetadata
{
    QString xmlURL;
    std::optional<QString> clipName;
    // The clip's UMID in hexadecimal, as written.
    std::optional<QString> globalClipID;
    std::optional<double> frameRate;
    std::optional<int> width;
    std::optional<int> height;
    std::optional<QString> startTimecode;
    // Audio essence entries the clip declares; 0 when none, absent only when the file could not be read.
    std::optional<int> audioChannelCount;
    std::optional<QString> recordingDateTimeRaw;
    // Length in frames of the clip's edit unit.
    std::optional<qint64> durationFrames;
    // The video codec as written, for example DV100_1080/59.94i.
    std::optional<QString> videoCodec;
    // Present when the XML has a Relation block.
    std::optional<ShotRelation> relation;
    ClipNotes notes;
    // Problems met while reading; the fields above keep whatever was read before them.
    QStringList parseWarnings;

    bool operator==(const ClipMetadata&) const = default;
};

// Reads one CLIP XML file. Never fails and never hangs on hostile input: every
// problem becomes a text in parseWarnings. Pure apart from reading the file;
// safe on any thread.
ClipMetadata parse(const QString& xmlURL);

// The same for the contents of a CLIP XML file already in memory.
ClipMetadata parseContents(const QString& xmlURL, const QByteArray& contents);

// The warning for a reader that stopped with `description` (which may be empty).
QString parseErrorWarning(const QString& description);

// Frames per second from texts such as 29.97p, 59.94i or 25p: the first run of
// digits and points, read as a decimal number.
std::optional<double> parseFrameRate(QStringView value);

// Width and height from texts such as 1280x720 or 1920 × 1080.
std::optional<std::pair<int, int>> parseResolution(QStringView value);

// The digits of `value` read as one decimal number, everything else dropped;
// absent when no digits remain or the number does not fit.
std::optional<int> parseDigits(QStringView value);

} // namespace P2MetadataParser
