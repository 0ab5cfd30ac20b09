#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <stdexcept>
#include <vector>

// Writes real P2 cards to disk from a declarative description, so tests and
// benchmarks exercise the real tools without shipping camera media.
//
// Essence is real OP-Atom MXF made by ffmpeg. Every essence file of a clip is
// given the clip's material package UMID by rewriting the bytes ffmpeg drew at
// random, and the result is checked with ffprobe.
namespace SyntheticCard {

enum class VideoCodec {
    DV25,           // DV 720x480, 29.97 fps
    DVCProHD1080,   // DVCPRO HD 1280x1080, 29.97 fps
};

enum class IdForm {
    UpperCase,   // 060A2B34…
    LowerCase,   // 060a2b34…
    HexPrefix,   // 0x060A2B34…
};

struct Connection {
    QString clipName;
    QString globalClipID;
};

struct ClipSpec {
    // Camera clip name: the video file is NAME.MXF, the audio files NAME00.MXF, NAME01.MXF, …
    QString clipName = QStringLiteral("0001AB");
    // 64 hexadecimal digits. Empty: derived deterministically from the clip name.
    QString umid;

    VideoCodec codec = VideoCodec::DV25;
    int frames = 3;
    // Start timecode written into the MXF (and, unless overridden, into the XML).
    QString startTimecode = QStringLiteral("00:00:00:00");
    // `creation_time` of the essence files, which ffprobe reports as modification_date.
    std::optional<QString> mxfCreationTime;

    // Mono PCM audio essence files written to AUDIO (0 to 16).
    int audioCount = 4;
    int bitsPerSample = 16;
    // Audio files written with a different UMID than the clip's (index → UMID).
    std::vector<std::pair<int, QString>> audioUmidOverrides;

    // --- CLIP XML ---
    bool writeXml = true;
    bool xmlHasGlobalClipID = true;
    IdForm idForm = IdForm::UpperCase;
    // Number of Audio elements in the XML's EssenceList; unset: audioCount.
    std::optional<int> declaredAudioCount;
    QString frameRate = QStringLiteral("29.97p");
    bool dropFrame = false;
    // Unset: the XML carries no StartTimecode.
    std::optional<QString> xmlStartTimecode = QStringLiteral("00:00:00:00");
    // Access/CreationDate and Shoot/StartDate; unset: the element is left out.
    std::optional<QString> creationDate = QStringLiteral("2026-07-01T10:00:00-05:00");
    std::optional<QString> shootStartDate = QStringLiteral("2026-07-01T10:00:00-05:00");
    std::optional<QString> lastUpdateDate = QStringLiteral("2026-07-01T10:05:00-05:00");
    QString userClipName;
    QString modelName = QStringLiteral("AJ-HPX3100G");
    std::optional<Connection> top, previous, next;
    // Written into the XML file name instead of NAME.XML when set.
    QString xmlFileName;

    // Sub-folder (relative, may be nested) below VIDEO, AUDIO and CLIP that this clip's files go into.
    QString subfolder;
};

// An audio essence file that belongs to no clip of the card.
struct OrphanAudio {
    QString fileName;   // for example 0099ZZ00.MXF
    QString umid;       // 64 hexadecimal digits
};

struct CardSpec {
    std::vector<ClipSpec> clips;
    std::vector<OrphanAudio> orphanAudio;

    // true: ROOT/CONTENTS/VIDEO…; false: ROOT/VIDEO… (as if the user copied only CONTENTS).
    bool withContentsFolder = true;
    QString contentsFolderName = QStringLiteral("CONTENTS");
    QString videoFolderName = QStringLiteral("VIDEO");
    QString audioFolderName = QStringLiteral("AUDIO");
    QString clipFolderName = QStringLiteral("CLIP");
    // Further empty card folders such as ICON, PROXY, VOICE.
    QStringList extraFolders;
    // Write every essence file loose into the root, with no P2 folders and no XML.
    bool loose = false;
};

struct WrittenClip {
    QString umid;            // upper case, no prefix
    QString videoPath;
    QStringList audioPaths;  // in index order
    QString xmlPath;         // empty when no XML was written
};

struct WrittenCard {
    QString rootPath;        // the folder to hand to the scanner (the card root)
    QString contentsPath;    // the folder holding VIDEO/AUDIO/CLIP (root itself when no CONTENTS)
    std::vector<WrittenClip> clips;
};

struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A clip spec with a deterministic UMID, creation date and timecode for index n (1-based),
// named like a camera names its clips (0001AB, 0002AB, …).
ClipSpec clip(int n, int audioCount = 4);

// The UMID that `clip(n)` carries: 64 upper-case hexadecimal digits.
QString umidFor(int n);

// Writes the card into `rootPath` (created if needed). Throws Error when ffmpeg or
// ffprobe fail or the UMID could not be placed.
WrittenCard write(const CardSpec& spec, const QString& rootPath);

// The ffmpeg and ffprobe the builder uses: /usr/local/bin, then PATH.
QString ffmpegPath();
QString ffprobePath();

// The CLIP XML text the builder writes for a clip.
QString clipXml(const ClipSpec& clip);

} // namespace SyntheticCard
