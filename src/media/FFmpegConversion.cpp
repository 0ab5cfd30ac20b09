// The conversion of one clip into a ProRes movie.

#include "base/Durability.h"
#include "base/Workers.h"
#include "media/FFmpegError.h"
#include "media/FFmpegService.h"
#include "media/OutputTailCollector.h"
#include "media/ProcessRunner.h"
#include "media/ToolLimits.h"
#include "media/ToolText.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <QCoroFuture>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QtConcurrent>
#include <QTimer>
#include <system_error>
#include <vector>

namespace {

namespace fs = std::filesystem;

fs::path nativePath(const QString& path)
{
    return fs::path(QFile::encodeName(path).toStdString());
}

QString fileSystemMessage(const QString& what, const QString& path, const std::error_code& error)
{
    return QStringLiteral("%1 “%2”: %3").arg(what, path, QString::fromLocal8Bit(error.message()));
}

QString flushMessage(const QString& path, const QString& reason)
{
    return QStringLiteral("Could not write “%1” safely to disk: %2").arg(path, reason);
}

// Absolute, so that no file name can pass for an option or a protocol.
EssenceInputs absoluteInputs(const EssenceInputs& inputs)
{
    EssenceInputs absolute{ToolText::toolPath(inputs.videoPath), {}};
    for (const QString& audioPath : inputs.audioPaths)
        absolute.audioPaths.append(ToolText::toolPath(audioPath));
    return absolute;
}

} // namespace

QString FFmpegService::temporaryPath(const QString& outputPath)
{
    const QFileInfo output(outputPath);
    return output.path() + QStringLiteral("/.") + output.fileName() + QStringLiteral(".partial");
}

void FFmpegService::removeStaleTemporaries(const QString& folder)
{
    const QDir directory(folder);
    const QStringList stale =
        directory.entryList({QStringLiteral(".*.mov.partial")}, QDir::Files | QDir::Hidden | QDir::System);
    for (const QString& name : stale)
        QFile::remove(directory.filePath(name));
}

QCoro::Task<std::optional<double>> FFmpegService::convert(QString videoPath, QStringList audioPaths,
                                                          double audioOffsetSeconds, ProResProfile profile,
                                                          QString outputPath, CommandHandler commandHandler,
                                                          ProgressHandler progressHandler,
                                                          MovieMetadata metadata)
{
    const std::optional<QString> ffmpeg = resolvedFFmpegPath();
    if (!ffmpeg)
        throw FFmpegError::binaryNotFound();

    // Nothing of it can fail the conversion: without a duration there is no
    // progress, without a timecode the movie starts at zero.
    const SourceFacts source = co_await sourceFacts(videoPath);

    const QString temporary = prepareOutput(outputPath);
    const EssenceInputs inputs = absoluteInputs({videoPath, audioPaths});
    const QStringList arguments =
        buildArguments(inputs.videoPath, inputs.audioPaths, audioOffsetSeconds, profile, source.timecode,
                       ToolText::toolPath(temporary), source.picture, metadata);
    QCoro::Task<> run = runToOutput(*ffmpeg, arguments, temporary, outputPath, source.durationSeconds,
                                    std::move(commandHandler), std::move(progressHandler));
    co_await run;
    co_return source.durationSeconds;
}

QCoro::Task<std::optional<double>>
FFmpegService::convertJoined(QList<EssenceInputs> pieces, double audioOffsetSeconds, ProResProfile profile,
                             QString outputPath, CommandHandler commandHandler,
                             ProgressHandler progressHandler, MovieMetadata metadata)
{
    const std::optional<QString> ffmpeg = resolvedFFmpegPath();
    if (!ffmpeg)
        throw FFmpegError::binaryNotFound();

    // All probes start at once; the shot's length is known only when every
    // piece's is. The first piece tells the timecode and the picture.
    QCoro::Task<SourceFacts> firstQuery = sourceFacts(pieces.first().videoPath);
    std::vector<QCoro::Task<std::optional<double>>> durationQueries;
    for (qsizetype i = 1; i < pieces.size(); ++i)
        durationQueries.push_back(probeDurationSeconds(pieces[i].videoPath));
    const SourceFacts first = co_await firstQuery;
    std::optional<double> duration = first.durationSeconds;
    for (QCoro::Task<std::optional<double>>& query : durationQueries) {
        const std::optional<double> piece = co_await query;
        duration = duration && piece ? std::optional(*duration + *piece) : std::nullopt;
    }

    const QString temporary = prepareOutput(outputPath);
    QList<EssenceInputs> absolutePieces;
    for (const EssenceInputs& piece : std::as_const(pieces))
        absolutePieces.append(absoluteInputs(piece));
    const QStringList arguments =
        buildJoinArguments(absolutePieces, audioOffsetSeconds, profile, first.timecode,
                           ToolText::toolPath(temporary), first.picture, metadata);
    QCoro::Task<> run = runToOutput(*ffmpeg, arguments, temporary, outputPath, duration,
                                    std::move(commandHandler), std::move(progressHandler));
    co_await run;
    co_return duration;
}

QString FFmpegService::prepareOutput(const QString& outputPath)
{
    const QString folder = QFileInfo(outputPath).path();
    std::error_code error;
    fs::create_directories(nativePath(folder), error);
    if (error)
        throw PlatformError(fileSystemMessage(QStringLiteral("Could not create the folder"), folder, error));

    // The final name only ever receives complete content; a stale temporary
    // from an interrupted attempt goes first.
    const QString temporary = temporaryPath(outputPath);
    QFile::remove(temporary);
    return temporary;
}

QCoro::Task<> FFmpegService::runToOutput(QString ffmpegPath, QStringList arguments, QString temporary,
                                         QString outputPath, std::optional<double> duration,
                                         CommandHandler commandHandler, ProgressHandler progressHandler)
{
    if (commandHandler)
        commandHandler(commandLineString(ffmpegPath, arguments));

    ProcessRunner runner(ffmpegPath, arguments);
    OutputTailCollector diagnostics;
    runner.setLinesHandler(ProcessRunner::Stream::standardError,
                           [&diagnostics](const QList<QByteArray>& lines) {
                               for (const QByteArray& line : lines)
                                   diagnostics.append(line);
                           });
    // A conversion whose output time stands still (a dead disk, a tool stuck
    // on a damaged file) is ended instead of being waited on for ever.
    QTimer stallWatch;
    stallWatch.setSingleShot(true);
    bool stalled = false;
    QObject::connect(&stallWatch, &QTimer::timeout, &stallWatch, [&stalled, &runner] {
        stalled = true;
        runner.stop();
    });
    std::optional<double> lastSeconds;
    runner.setLinesHandler(ProcessRunner::Stream::standardOutput, [&](const QList<QByteArray>& lines) {
        QString chunk;
        for (const QByteArray& line : lines) {
            if (const std::optional<QString> text = ToolText::decodeUtf8(line))
                chunk += *text;
        }
        const std::optional<double> seconds = parseOutTimeSeconds(chunk);
        if (seconds && seconds != lastSeconds) {
            lastSeconds = seconds;
            stallWatch.start();
        }
        if (seconds && duration && *duration > 0 && progressHandler)
            progressHandler(std::clamp(*seconds / *duration, 0.0, 1.0));
    });
    stallWatch.start(ToolLimits::current().stalledConversion);

    registerProcess(&runner);
    // The slot must not outlive the runner, even if this conversion is abandoned while it waits.
    auto abandoned = qScopeGuard([this] { unregisterProcess(); });
    const ProcessResult result = co_await runner.run();
    abandoned.dismiss();
    const bool cancelled = unregisterProcess();

    if (result.ending == ProcessResult::Ending::failedToStart)
        throw PlatformError(result.errorString);
    if (!result.succeeded() || stalled) {
        QFile::remove(temporary);
        if (cancelled)
            throw FFmpegError::cancelled();
        if (stalled)
            throw FFmpegError::stalled();
        const QString reason = ToolText::lastErrorLine(diagnostics.wholeLines());
        if (result.ending == ProcessResult::Ending::signalled)
            throw FFmpegError::signalled(result.status, reason);
        throw FFmpegError::processFailed(result.status, reason);
    }

    if (reportsUnfinishedOutput(diagnostics.text())) {
        QFile::remove(temporary);
        throw FFmpegError::processFailed(result.status, ToolText::lastErrorLine(diagnostics.wholeLines()));
    }
    if (QFileInfo(temporary).size() < 1) {
        QFile::remove(temporary);
        throw FFmpegError::outputMissingOrEmpty();
    }
    // The movie's bytes reach the disk before its final name does, and the
    // name before the movie counts as done: after a power cut the final name
    // holds a whole movie or is not there. Flushing gigabytes takes a while,
    // so it happens off this thread.
    QFuture<std::optional<QString>> flushing =
        QtConcurrent::run(Workers::pool(), [temporary] { return Durability::flushFile(temporary); });
    if (const std::optional<QString> failure = co_await flushing) {
        QFile::remove(temporary);
        throw PlatformError(flushMessage(temporary, *failure));
    }
    // A rename replaces the previous file in one step, so the final name
    // holds either the old movie or the new one, never nothing.
    std::error_code error;
    fs::rename(nativePath(temporary), nativePath(outputPath), error);
    if (error)
        throw PlatformError(
            fileSystemMessage(QStringLiteral("Could not move the converted file to"), outputPath, error));
    QFuture<std::optional<QString>> flushingFolder =
        QtConcurrent::run(Workers::pool(), [outputPath] { return Durability::flushFolderOf(outputPath); });
    if (const std::optional<QString> failure = co_await flushingFolder)
        throw PlatformError(flushMessage(QFileInfo(outputPath).path(), *failure));
}

std::optional<FFmpegError> FFmpegService::truncation(const std::optional<VideoFrames>& frames,
                                                     std::optional<double> sourceSeconds)
{
    if (!frames || !sourceSeconds || *sourceSeconds <= 0)
        return std::nullopt;
    const qint64 expected = std::llround(*sourceSeconds * frames->rate);
    if (expected - frames->frames > 1)
        return FFmpegError::truncated(frames->frames, expected);
    return std::nullopt;
}

bool FFmpegService::reportsUnfinishedOutput(QStringView diagnostics)
{
    // ffmpeg's own wording when closing an output fails, whatever the reason.
    for (const QStringView line : diagnostics.split(u'\n')) {
        if (line.startsWith(u"Error writing trailer of ") || line.startsWith(u"Error closing file "))
            return true;
    }
    return false;
}

QStringList FFmpegService::buildArguments(const QString& videoPath, const QStringList& audioPaths,
                                          double audioOffsetSeconds, ProResProfile profile,
                                          const std::optional<QString>& sourceTimecode,
                                          const QString& outputPath, const PictureCoding& picture,
                                          const MovieMetadata& metadata)
{
    // No banner: a failure's tail is ffmpeg's account of it, not its build configuration.
    QStringList arguments{QStringLiteral("-hide_banner"), QStringLiteral("-y"), QStringLiteral("-nostdin"),
                          QStringLiteral("-i"), videoPath};

    // A positive offset delays the audio; a negative one seeks into it, so no
    // input ever gets negative timestamps. Each audio input gets its own copy.
    QStringList offset;
    if (audioOffsetSeconds > 0)
        offset = {QStringLiteral("-itsoffset"), ToolText::shortestDecimal(audioOffsetSeconds)};
    else if (audioOffsetSeconds < 0)
        offset = {QStringLiteral("-ss"), ToolText::shortestDecimal(-audioOffsetSeconds)};
    for (const QString& audioPath : audioPaths)
        arguments << offset << QStringLiteral("-i") << audioPath;

    arguments << QStringLiteral("-map") << QStringLiteral("0:v:0");
    // Every audio file stays its own mono track, in input order.
    for (qsizetype i = 1; i <= audioPaths.size(); ++i)
        arguments << QStringLiteral("-map") << QStringLiteral("%1:a:0").arg(i);
    if (const QString colour = picture.colourFilter(); !colour.isEmpty())
        arguments << QStringLiteral("-vf") << colour;

    appendOutputArguments(arguments, profile, !audioPaths.isEmpty(), sourceTimecode, outputPath, picture,
                          metadata);
    return arguments;
}

QStringList FFmpegService::buildJoinArguments(const QList<EssenceInputs>& pieces, double audioOffsetSeconds,
                                              ProResProfile profile,
                                              const std::optional<QString>& sourceTimecode,
                                              const QString& outputPath, const PictureCoding& picture,
                                              const MovieMetadata& metadata)
{
    QStringList arguments{QStringLiteral("-hide_banner"), QStringLiteral("-y"), QStringLiteral("-nostdin")};
    const qsizetype tracks = pieces.isEmpty() ? 0 : pieces.first().audioPaths.size();

    // The concat filter takes each piece as one segment of a video stream
    // followed by its audio streams, and pads a segment's shorter streams to
    // its longest, so every piece's audio starts with its own first frame.
    QString graph;
    qsizetype input = 0;
    for (const EssenceInputs& piece : pieces) {
        arguments << QStringLiteral("-i") << piece.videoPath;
        graph += QStringLiteral("[%1:v:0]").arg(input++);
        for (const QString& audioPath : piece.audioPaths) {
            arguments << QStringLiteral("-i") << audioPath;
            graph += QStringLiteral("[%1:a:0]").arg(input++);
        }
    }
    const QString colour = picture.colourFilter();
    graph += QStringLiteral("concat=n=%1:v=1:a=%2").arg(pieces.size()).arg(tracks) +
             (colour.isEmpty() ? QStringLiteral("[v]") : QStringLiteral("[j]"));
    for (qsizetype track = 1; track <= tracks; ++track)
        graph += QStringLiteral("[a%1]").arg(track);
    if (!colour.isEmpty())
        graph += QStringLiteral(";[j]") + colour + QStringLiteral("[v]");

    // The offset shifts the joined tracks once, as it shifts a single clip's:
    // a positive one delays the audio, a negative one cuts into its start.
    QString shift;
    if (audioOffsetSeconds > 0)
        shift = QStringLiteral("adelay=delays=%1:all=1")
                    .arg(ToolText::shortestDecimal(audioOffsetSeconds * 1000));
    else if (audioOffsetSeconds < 0)
        shift = QStringLiteral("atrim=start=%1,asetpts=PTS-STARTPTS")
                    .arg(ToolText::shortestDecimal(-audioOffsetSeconds));
    QStringList maps{QStringLiteral("-map"), QStringLiteral("[v]")};
    for (qsizetype track = 1; track <= tracks; ++track) {
        QString label = QStringLiteral("[a%1]").arg(track);
        if (!shift.isEmpty()) {
            const QString shifted = QStringLiteral("[s%1]").arg(track);
            graph += QLatin1Char(';') + label + shift + shifted;
            label = shifted;
        }
        maps << QStringLiteral("-map") << label;
    }
    arguments << QStringLiteral("-filter_complex") << graph << maps;
    appendOutputArguments(arguments, profile, tracks > 0, sourceTimecode, outputPath, picture, metadata);
    return arguments;
}

void FFmpegService::appendOutputArguments(QStringList& arguments, ProResProfile profile, bool hasAudio,
                                          const std::optional<QString>& sourceTimecode,
                                          const QString& outputPath, const PictureCoding& picture,
                                          const MovieMetadata& metadata)
{
    arguments << QStringLiteral("-c:v") << QStringLiteral("prores_ks") << QStringLiteral("-profile:v")
              << QString::number(ProResProfiles::rawValue(profile)) << QStringLiteral("-pix_fmt")
              << QStringLiteral("yuv422p10le") << QStringLiteral("-vendor") << QStringLiteral("apl0");
    // prores_ks codes each field apart only when asked; the field order is
    // then the one each decoded frame carries.
    if (picture.interlaced)
        arguments << QStringLiteral("-flags") << QStringLiteral("+ildct");
    if (hasAudio)
        arguments << QStringLiteral("-c:a") << QStringLiteral("pcm_s24le");
    arguments << QStringLiteral("-timecode") << sourceTimecode.value_or(QStringLiteral("00:00:00:00"));
    if (!metadata.isEmpty()) {
        // Only the keys given, each as one argument, written under its own
        // name; nothing is carried over from the source's container.
        arguments << QStringLiteral("-map_metadata") << QStringLiteral("-1") << QStringLiteral("-movflags")
                  << QStringLiteral("+use_metadata_tags");
        if (const QString reel = MovieMetadata::cleaned(metadata.reelName); !reel.isEmpty())
            arguments << QStringLiteral("-metadata:s:v:0") << QStringLiteral("reel_name=") + reel;
        for (const auto& [key, value] : metadata.entries) {
            if (const QString text = MovieMetadata::cleaned(value); !text.isEmpty())
                arguments << QStringLiteral("-metadata") << key + QLatin1Char('=') + text;
        }
    }
    arguments << QStringLiteral("-progress") << QStringLiteral("pipe:1")
              << QStringLiteral("-nostats")
              // Named explicitly because the temporary name does not end in .mov.
              << QStringLiteral("-f") << QStringLiteral("mov") << outputPath;
}
