#pragma once

#include "card/ClipNotes.h"
#include "card/ClipSortKey.h"
#include "card/ShotRelation.h"

#include <optional>
#include <QDateTime>
#include <QHashFunctions>
#include <QString>
#include <QStringList>
#include <QUuid>

// One clip to convert: a video essence file with the audio files paired to it.
struct P2Clip
{
    // How video and audio were paired; only the XML methods are proven by UMID.
    enum class PairingMethod {
        xmlVerified,
        xmlNoAudioInClip,
        filenamePrefixUnsafe,
        sortedOrderUnsafe,
        unverifiedVideoOnlyUnsafe,
    };

    QUuid id = QUuid::createUuid();
    QString videoURL;
    // Sorted by file name; may be empty.
    QStringList audioURLs;
    // The CLIP XML that verified the pairing; absent for fallback pairings.
    std::optional<QString> xmlURL;
    PairingMethod pairingMethod = PairingMethod::unverifiedVideoOnlyUnsafe;
    // As written in the XML, for example 01:02:03:04.
    std::optional<QString> startTimecode;
    std::optional<double> frameRate;
    std::optional<int> width;
    std::optional<int> height;
    std::optional<QDateTime> recordingDateTime;
    std::optional<ClipSortKey> sortKey;
    // 1-based position in shooting order.
    std::optional<int> exportOrderNumber;

    // What the verifying CLIP XML says of the clip as a piece of a longer
    // shot; all absent for fallback pairings.
    std::optional<QString> xmlClipName;
    // Normalised, as compared with the essence's UMID.
    std::optional<QString> globalClipID;
    std::optional<qint64> durationFrames;
    std::optional<QString> videoCodec;
    std::optional<int> declaredAudioCount;
    std::optional<ShotRelation> relation;
    ClipNotes notes;

    // The video file's name without its extension: how every report and log
    // names the clip.
    QString videoName() const;
    // The movie's file name: the ordered name when asked for and known,
    // otherwise the video file's name with ".mov" in place of its extension.
    QString outputFilename(bool prefixWithOrderNumber) const;

    bool operator==(const P2Clip&) const = default;
};

// Identity is the id, so hashing ignores the other fields.
inline size_t qHash(const P2Clip& clip, size_t seed = 0) noexcept
{
    return qHash(clip.id, seed);
}

// The label shown for a pairing method everywhere the method appears; also its stored form.
QString label(P2Clip::PairingMethod method);

// The method whose label is exactly `text`, if any.
std::optional<P2Clip::PairingMethod> pairingMethodFromLabel(QStringView text);

// True only for the methods proven by the clip's XML and UMID.
bool isVerified(P2Clip::PairingMethod method);

// The clip's movie name is decided here, with the clip; where in a folder the
// movie goes is the run's business (run/ExportFilename.h).
namespace ExportFilename {

// The movie name that stands for a clip's place in shooting order: 001.mov to
// 999.mov, then 1000.mov and on. Nothing of the camera's clip name remains.
QString orderedBasename(int orderNumber);

} // namespace ExportFilename
