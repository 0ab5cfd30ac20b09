#pragma once

#include <optional>
#include <QString>
#include <QStringList>
#include <stdexcept>
#include <vector>

// Writes real P2 cards to disk from a declarative description, so tests and
// benchmarks exercise the real tools without shipping camera media.
//
// Essence is real OP-Atom MXF made by ffmpeg. Every essence file of a clip is
// given the clip's material package UMID by rewriting the bytes ffmpeg drew at
// random, and the result is checked with ffprobe.
//
// UMIDs: ffmpeg writes the material package UMID (32 bytes) once and the file
// package UMID several times per file; the builder replaces every occurrence of
// both whole, so any 64 hexadecimal digits can be chosen, label included. Each
// file also gets its own file package UMID, derived from the clip's UMID and the
// file's index (as in camera files, one file package per file).
//
// Headers: every file's material package lists, as a camera writes it, the
// timecode track and the picture and sound tracks of the whole clip, each
// referring to the file package of its own file; the file's own file package
// is the only one it holds.
//
// Essence: the video is ffmpeg's test pattern at the codec's rate. Audio file i
// (0-based) is mono PCM at 48 kHz, a sine of 440·(i+1) Hz peaking at −(6 + 3·i)
// dBFS, so tracks can be told apart by level and pitch; its length matches the
// video's frames (1601.6 samples per frame at 29.97, rounded) unless told otherwise, and it carries the
// clip's timecode and creation time like the video. Everything the essence depends on (codec, frames,
// timecode, creation time, sample size, channel) keys an in-memory template that ffmpeg makes once per
// process; each file is a copy of its template with the UMIDs patched in.
namespace SyntheticCard {

enum class VideoCodec {
    DV25,              // DV 720x480, 29.97 fps, interlaced
    DV25_576i,         // DV 720x576, 25 fps, interlaced, 50i in the XML
    DVCProHD1080,      // DVCPRO HD 1280x1080, 29.97 fps, interlaced, stated 29.97p in the XML
    DVCProHD1080i,     // the same essence, stated 59.94i in the XML as a camera records it
    AVCIntra100_1080i, // AVC-Intra 100 1920x1080, 10-bit 4:2:2, 59.94i (top field first)
    AVCIntra50_720p,   // AVC-Intra 50 960x720, 10-bit 4:2:0, 59.94p
    DVCProHD720p,      // DVCPRO HD 960x720, 59.94p
};

// Frames per 1001 seconds of `codec`: 30000 (29.97 frames a second), 60000 or 25025 (25 a second).
int frameRateNumerator(VideoCodec codec);

enum class IdForm {
    UpperCase, // 060A2B34…
    LowerCase, // 060a2b34…
    HexPrefix, // 0x060A2B34…
};

// How much of a written card is read back with ffprobe.
// Each check costs one ffprobe start (about 0.1 s of CPU); a few run at once.
enum class Verification {
    EveryFile,          // every essence file
    VideoAndFirstAudio, // every video file, the first audio file of each clip and every orphan
    FirstClip,          // every file of the first clip only: for benchmark cards of hundreds of clips
};

struct Connection
{
    QString clipName;
    // Empty: the connection names the clip alone, as some cameras write it.
    QString globalClipID;
};

struct ClipSpec
{
    // Camera clip name: the video file is NAME.MXF, the audio files NAME00.MXF, NAME01.MXF, …
    QString clipName = QStringLiteral("0001AB");
    // 64 hexadecimal digits. Empty: derived deterministically from the clip name.
    QString umid;

    VideoCodec codec = VideoCodec::DV25;
    // ffmpeg's name of the colour primaries, transfer and matrix the video
    // essence states (ffmpeg's MXF muxer writes them into the descriptor too); empty: none.
    QString statedColour;
    int frames = 3;
    // The audio files' length in frames of the video; unset: `frames`.
    std::optional<int> audioFrames;
    // Start timecode written into the MXF; empty: none given to ffmpeg (it then writes 00:00:00:00).
    // With `dropFrame` the MXF timecode is drop frame (ffprobe shows HH:MM:SS;FF); the XML keeps colons.
    QString startTimecode = QStringLiteral("00:00:00:00");
    // `creation_time` of the essence files, which ffprobe reports as modification_date
    // (ISO 8601, for example 2026-07-01T15:00:00Z). Unset: the files carry no date.
    std::optional<QString> mxfCreationTime;
    // Extension of the essence file names (the scanner matches it without regard to case).
    QString essenceExtension = QStringLiteral("MXF");

    // Mono PCM audio essence files written to AUDIO (0 to 16).
    int audioCount = 4;
    int bitsPerSample = 16;
    // Audio files written with a different UMID than the clip's (index → UMID, 64 hexadecimal digits).
    std::vector<std::pair<int, QString>> audioUmidOverrides;
    // Every audio file holds digital silence instead of its tone.
    bool silentAudio = false;

    // --- CLIP XML ---
    bool writeXml = true;
    bool xmlHasGlobalClipID = true;
    // Applies to the clip's own GlobalClipID and to those of the connections.
    IdForm idForm = IdForm::UpperCase;
    // Number of Audio elements in the XML's EssenceList; unset: audioCount.
    std::optional<int> declaredAudioCount;
    // Unset: the codec's own (29.97p for DV and DVCProHD1080, 50i for DV25_576i, 59.94i or 59.94p for
    // the others).
    std::optional<QString> frameRate;
    bool dropFrame = false;
    // Unset: the XML carries no StartTimecode.
    std::optional<QString> xmlStartTimecode = QStringLiteral("00:00:00:00");
    // Access/CreationDate and Shoot/StartDate; unset: the element is left out.
    std::optional<QString> creationDate = QStringLiteral("2026-07-01T10:00:00-05:00");
    std::optional<QString> shootStartDate = QStringLiteral("2026-07-01T10:00:00-05:00");
    std::optional<QString> lastUpdateDate = QStringLiteral("2026-07-01T10:05:00-05:00");
    // Empty: the clip name, as cameras write by default.
    QString userClipName;
    QString modelName = QStringLiteral("AJ-HPX3100G");
    // Device/SerialNo., Shoot/Shooter, Scenario/SceneNo. and TakeNo., Memo/Text: each written only when set.
    QString serialNumber;
    QString shooter;
    QString scene;
    QString take;
    QString memo;
    // Relation/Connection of a spanned shot; Relation is written only when one is set.
    std::optional<Connection> top, previous, next;
    // Relation/OffsetInShot (frames) and Relation/GlobalShotID; each written only when set.
    std::optional<qint64> offsetInShot;
    QString globalShotID;
    // Write Relation before EssenceList instead of after it.
    bool relationFirst = false;
    // Written into the XML file name instead of NAME.XML when set.
    QString xmlFileName;

    // Sub-folder (relative, may be nested) below VIDEO, AUDIO and CLIP that this clip's files go into.
    QString subfolder;

    // Write CONTENTS/ICON/NAME.BMP, the small bitmap a camera writes per clip
    // (80×60, one colour with a light band whose height follows the name).
    bool writeIcon = false;
};

// An audio essence file that belongs to no clip of the card, written into AUDIO (or the root of
// a loose card) with the essence of channel 0 of a default ClipSpec.
struct OrphanAudio
{
    QString fileName; // for example 0099ZZ00.MXF
    QString umid;     // 64 hexadecimal digits
};

struct CardSpec
{
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
    // Every file of a clip is patched the same way, so one video and one audio read-back per clip
    // prove the rewrite took while keeping a 10-clip card to about a second.
    Verification verification = Verification::VideoAndFirstAudio;
};

struct WrittenClip
{
    QString umid; // upper case, no prefix
    QString videoPath;
    QStringList audioPaths; // in index order
    QString xmlPath;        // empty when no XML was written
    QString iconPath;       // empty when no ICON bitmap was written
};

struct WrittenCard
{
    QString rootPath;     // the folder to hand to the scanner (the card root)
    QString contentsPath; // the folder holding VIDEO/AUDIO/CLIP (root itself when no CONTENTS)
    std::vector<WrittenClip> clips;
    QStringList orphanAudioPaths; // in the order of CardSpec::orphanAudio
};

struct Error : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// A clip description with a deterministic UMID, creation date and timecode for index n (1-based),
// named like a camera names its clips (0001AB, 0002AB, …): start timecode 01:00:00:00 plus
// 10 s per step of n, XML dates 2026-07-01T10:00:00-05:00 plus one minute per step (last
// update five minutes later), and the same instant in UTC as the MXF creation time.
ClipSpec clip(int n, int audioCount = 4);

// The pieces of one shot the camera split across clips, as a camera writes
// them: clip(firstN), clip(firstN + 1), … renamed to `names` (not sequential on
// real cards), each `frames` long, chained by Top/Previous/Next with their
// GlobalClipIDs, OffsetInShot where the pieces before end, one GlobalShotID,
// and the timecode running on from piece to piece.
std::vector<ClipSpec> spannedShot(int firstN, const QStringList& names, int frames, int audioCount = 4);

// The UMID that `clip(n)` carries: 64 upper-case hexadecimal digits, the SMPTE label of
// camera UMIDs (060A2B340101010501010D43, length 13, instance 000000) followed by 16
// material bytes derived from n by hashing.
QString umidFor(int n);

// Writes the card into `rootPath` (created if needed). Throws Error when ffmpeg or
// ffprobe fail or the UMID could not be placed.
WrittenCard write(const CardSpec& plan, const QString& rootPath);

// The ffmpeg and ffprobe the builder uses: the first found in the folders
// Tolvane searches, else on PATH.
QString ffmpegPath();
QString ffprobePath();

// The CLIP XML text the builder writes for a clip, values XML-escaped. Besides the fields
// of ClipSpec it holds what cameras write beside them (VideoFormat, Codec with its Class,
// StartBinaryGroup, AspectRatio, AudioFormat, DataSource, Creator, Manufacturer); EditUnit
// is the essence's rate (1001/30000 or 1001/60000), and Duration is `frames`.
// Relation/Connection is written only when a neighbour is set.
QString clipXml(const ClipSpec& clip);

} // namespace SyntheticCard
