#pragma once

#include "media/AudioLevel.h"
#include "media/FFmpegError.h"
#include "media/MediaProbe.h"
#include "media/MovieMetadata.h"
#include "media/PictureCoding.h"
#include "media/ProResProfile.h"

#include <functional>
#include <optional>
#include <QCoroTask>
#include <QHash>
#include <QMutex>
#include <QString>
#include <QStringList>
#include <QStringView>

class ProcessRunner;

// The essence files of one clip as a conversion reads them.
struct EssenceInputs
{
    QString videoPath;
    QStringList audioPaths;

    bool operator==(const EssenceInputs&) const = default;
};

// The one gateway to the external ffmpeg and ffprobe: finds them, runs them,
// reads what they say and converts clips with them.
//
// The tools are looked for only in the platform's fixed folders, never on
// PATH. Probes and measurements never fail: they give an empty result when
// they cannot tell. Only `convert` throws, an FFmpegError or a PlatformError.
class FFmpegService
{
public:
    FFmpegService() = default;
    FFmpegService(const FFmpegService&) = delete;
    FFmpegService& operator=(const FFmpegService&) = delete;

    // --- Tool discovery (process-wide) ---

    static QStringList candidateFFmpegPaths();
    static QStringList candidateFFprobePaths();
    // The first candidate that is an executable file, searched on first use.
    static std::optional<QString> resolvedFFmpegPath();
    static std::optional<QString> resolvedFFprobePath();
    // Searches again for both tools; true if and only if ffmpeg was found.
    static bool recheckAvailability();
    // Tests only: look for the tools in `directories` instead of the fixed
    // installation folders, and forget what was found so far. An empty list
    // restores the fixed folders.
    static void setToolDirectoriesForTesting(const QStringList& directories);

    // A command for display that, pasted into a POSIX shell, runs exactly this
    // command: each argument as `shellWord` gives it, joined with spaces.
    static QString commandLineString(const QString& ffmpegPath, const QStringList& arguments);
    // One argument as a shell word: bare when every character is one of
    // A-Za-z0-9_./:=,+@%- (and it is not empty), otherwise in single quotes.
    static QString shellWord(const QString& argument);

    // --- Probes ---

    static QCoro::Task<std::optional<MediaProbe>> probeFull(QString path);
    static QCoro::Task<std::optional<double>> probeDurationSeconds(QString path);
    // Upper case, without a leading "0X", comparable with a CLIP XML clip ID.
    static QCoro::Task<std::optional<QString>> materialPackageUMID(QString path);
    // A single-value probe's answer, and whether ffprobe was ended for taking
    // too long, which the pairing reports.
    struct ProbeAnswer
    {
        std::optional<QString> value;
        bool timedOut = false;
    };
    static QCoro::Task<ProbeAnswer> probeMaterialPackageUMID(QString path);
    // The material package UMIDs that the MXF headers of `paths` state, read
    // in one pass off the calling thread; a file whose header cannot tell is
    // absent, and so is every file when ffprobe is missing (as for the probes).
    static QCoro::Task<QHash<QString, QString>> headerUMIDs(QStringList paths);
    static QCoro::Task<std::optional<QString>> modificationDate(QString path);
    static QCoro::Task<std::optional<QString>> sourceTimecode(QString videoPath);
    // What a conversion learns of its source before it starts: its length, its
    // timecode and how to code its picture. The MXF header tells where it
    // can; whatever it cannot is asked of one full ffprobe run.
    struct SourceFacts
    {
        std::optional<double> durationSeconds;
        std::optional<QString> timecode;
        PictureCoding picture;

        bool operator==(const SourceFacts&) const = default;
    };
    static QCoro::Task<SourceFacts> sourceFacts(QString videoPath);
    // True when ffprobe cannot tell: an output is not failed merely because it
    // cannot be inspected.
    static QCoro::Task<bool> hasAudioStream(QString path);
    // The frames of a movie's first video stream as its header counts them,
    // and their rate; nothing when ffprobe cannot tell.
    struct VideoFrames
    {
        qint64 frames = 0;
        double rate = 0;
    };
    static QCoro::Task<std::optional<VideoFrames>> videoFrames(QString path);
    // Reads ffprobe's "avg_frame_rate=N/D" and "nb_frames=N" lines.
    static std::optional<VideoFrames> parseVideoFrames(QStringView text);
    // ffmpeg ends a damaged or cut-off source without complaint: a movie more
    // than a frame shorter than its source's duration is a failure. Nothing
    // when either length is unknown.
    static std::optional<FFmpegError> truncation(const std::optional<VideoFrames>& frames,
                                                 std::optional<double> sourceSeconds);

    // --- Levels ---

    // The levels of `paths` (a clip's audio files), in their order, measured
    // by one ffmpeg run; every level is empty when the run failed.
    static QCoro::Task<QList<AudioLevel>> audioSignalLevels(QStringList paths);

    // --- Conversion ---

    using CommandHandler = std::function<void(const QString& command)>;
    // Called on the thread that awaits `convert`, with fractions in 0…1.
    using ProgressHandler = std::function<void(double fraction)>;

    // Converts one clip into a ProRes .mov, one mono track per audio file. The
    // file is written under a hidden ".<name>.partial" beside `outputPath` and
    // moved into place only when ffmpeg succeeded and it is not empty. Gives
    // the source's duration in seconds, when known, for checking the movie.
    // An interlaced source is coded as interlaced ProRes; the movie states
    // the source's colour description, or its format's. `metadata`, when not
    // empty, is written into the movie.
    QCoro::Task<std::optional<double>> convert(QString videoPath, QStringList audioPaths,
                                               double audioOffsetSeconds, ProResProfile profile,
                                               QString outputPath, CommandHandler commandHandler,
                                               ProgressHandler progressHandler, MovieMetadata metadata = {});

    static QStringList buildArguments(const QString& videoPath, const QStringList& audioPaths,
                                      double audioOffsetSeconds, ProResProfile profile,
                                      const std::optional<QString>& sourceTimecode, const QString& outputPath,
                                      const PictureCoding& picture = {}, const MovieMetadata& metadata = {});

    // Converts the pieces of one shot, in order, into one movie laid out as
    // a single clip's: every frame of every piece, and per audio track every
    // sample of that track in every piece, each piece's audio starting with
    // its own first frame. Starts at the first piece's timecode; progress is
    // measured against the pieces' total duration. Otherwise as `convert`.
    QCoro::Task<std::optional<double>> convertJoined(QList<EssenceInputs> pieces, double audioOffsetSeconds,
                                                     ProResProfile profile, QString outputPath,
                                                     CommandHandler commandHandler,
                                                     ProgressHandler progressHandler,
                                                     MovieMetadata metadata = {});

    // One input per essence file, joined by ffmpeg's concat filter, so no
    // list file is ever written. The audio offset applies once, to the joined
    // tracks. All pieces carry as many audio files as the first.
    static QStringList buildJoinArguments(const QList<EssenceInputs>& pieces, double audioOffsetSeconds,
                                          ProResProfile profile, const std::optional<QString>& sourceTimecode,
                                          const QString& outputPath, const PictureCoding& picture = {},
                                          const MovieMetadata& metadata = {});

    // The hidden file a conversion to `outputPath` writes first.
    static QString temporaryPath(const QString& outputPath);
    // Removes what interrupted conversions left in `folder`: hidden files named
    // like a temporary of a movie (".NAME.mov.partial"), nothing else.
    static void removeStaleTemporaries(const QString& folder);

    // Reads the time reached from a chunk of `-progress` output; the last line
    // that carries one wins.
    static std::optional<double> parseOutTimeSeconds(QStringView chunk);
    // "HH:MM:SS.ffffff" to seconds.
    static std::optional<double> timecodeToSeconds(QStringView text);
    // True when ffmpeg's diagnostics say it could not finish writing its output.
    // It then may still exit with 0, for instance when a full disk strikes while
    // a movie's index is written last, leaving a file that no player can open.
    static bool reportsUnfinishedOutput(QStringView diagnostics);

    // Stops the conversion that is running, if any: ffmpeg is asked to end and
    // killed when it has not within ToolLimits' grace. Safe from any thread. A
    // request made while nothing runs is forgotten when the next one starts.
    void cancel();
    bool cancelRequested() const;

private:
    // The codec, timecode, progress and container arguments every conversion ends with.
    static void appendOutputArguments(QStringList& arguments, ProResProfile profile, bool hasAudio,
                                      const std::optional<QString>& sourceTimecode, const QString& outputPath,
                                      const PictureCoding& picture, const MovieMetadata& metadata);
    // Creates the output's folder and clears a stale temporary; gives the temporary's path.
    static QString prepareOutput(const QString& outputPath);
    // Runs ffmpeg writing to `temporary` and moves a complete result to `outputPath`.
    QCoro::Task<> runToOutput(QString ffmpegPath, QStringList arguments, QString temporary,
                              QString outputPath, std::optional<double> durationSeconds,
                              CommandHandler commandHandler, ProgressHandler progressHandler);
    void registerProcess(ProcessRunner* process);
    // Clears the slot and tells whether a cancel was requested for the run.
    bool unregisterProcess();

    mutable QMutex processLock_;
    ProcessRunner* runningProcess_ = nullptr;
    bool cancelRequested_ = false;
};
