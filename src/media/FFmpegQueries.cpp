// The short queries of FFmpegService: probes and level measurement. A fact the
// MXF header states is read from it; anything else runs its own short-lived
// child. Every answer is remembered for as long as its file is unchanged; none
// ever fails.

#include "base/Workers.h"
#include "media/FFmpegService.h"
#include "media/ProbeCache.h"
#include "media/ProcessRunner.h"
#include "media/ToolArguments.h"
#include "media/ToolText.h"

#include <QCoroFuture>
#include <QElapsedTimer>
#include <QtConcurrent>

namespace {

using Stream = ProcessRunner::Stream;

// What `program` printed on `stream` about the file at `path`; nothing when
// it could not be started or ran out of time (then `timedOut` is set). An
// answer is remembered for the file as it is now, so asking again about an
// unchanged file starts no process.
QCoro::Task<std::optional<QByteArray>> toolOutput(QString program, QStringList arguments, Stream stream,
                                                  QString path, bool* timedOut = nullptr)
{
    const QString query = program + QLatin1Char('\n') + arguments.join(QLatin1Char('\n'));
    // A file on a stalled volume must not hold up the calling thread.
    QFuture<std::optional<ProbeCache::FileIdentity>> identifying =
        QtConcurrent::run(Workers::pool(), ProbeCache::identify, path);
    const std::optional<ProbeCache::FileIdentity> identity = co_await identifying;
    if (identity) {
        if (std::optional<QByteArray> known = ProbeCache::answer(path, *identity, query))
            co_return known;
    }
    QElapsedTimer clock;
    clock.start();
    const ProcessResult result = co_await ProcessRunner::query(program, std::move(arguments), stream);
    ProbeCache::recordToolRun(clock.nsecsElapsed());
    if (timedOut)
        *timedOut = result.timedOut;
    if (result.ending == ProcessResult::Ending::failedToStart || result.timedOut) {
        ProbeCache::recordAnswerNotRemembered();
        co_return std::nullopt;
    }
    const QByteArray& output =
        stream == Stream::standardOutput ? result.standardOutput : result.standardError;
    if (identity)
        ProbeCache::remember(path, *identity, query, output);
    else
        ProbeCache::recordAnswerNotRemembered();
    co_return output;
}

// What ffprobe printed on standard output; nothing when ffprobe is missing,
// could not be started or ran out of time (then `timedOut` is set). The exit
// status is not examined: what the tool printed decides.
QCoro::Task<std::optional<QByteArray>> ffprobeOutput(QStringList arguments, bool* timedOut = nullptr)
{
    const std::optional<QString> ffprobe = FFmpegService::resolvedFFprobePath();
    if (!ffprobe)
        co_return std::nullopt;
    QString path = arguments.last();
    co_return co_await toolOutput(*ffprobe, std::move(arguments), Stream::standardOutput, std::move(path),
                                  timedOut);
}

// What the MXF header of `path` states, asked only where ffprobe would be: a
// missing ffprobe leaves every probe empty, read natively or not.
QCoro::Task<std::optional<MXFHeaderFacts>> headerFacts(QString path)
{
    if (!FFmpegService::resolvedFFprobePath())
        co_return std::nullopt;
    co_return co_await ProbeCache::headerFacts(std::move(path));
}

QCoro::Task<FFmpegService::ProbeAnswer> singleValueAnswer(QString entry, QString path)
{
    FFmpegService::ProbeAnswer answer;
    const std::optional<QByteArray> output =
        co_await ffprobeOutput(ToolArguments::singleValue(entry, path), &answer.timedOut);
    if (!output)
        co_return answer;
    const std::optional<QString> text = ToolText::decodeUtf8(*output);
    if (text && !text->trimmed().isEmpty())
        answer.value = text->trimmed();
    co_return answer;
}

QCoro::Task<std::optional<QString>> singleValue(QString entry, QString path)
{
    const FFmpegService::ProbeAnswer answer = co_await singleValueAnswer(std::move(entry), std::move(path));
    co_return answer.value;
}

} // namespace

QCoro::Task<std::optional<MediaProbe>> FFmpegService::probeFull(QString path)
{
    const std::optional<QByteArray> output = co_await ffprobeOutput(ToolArguments::probeFull(path));
    if (!output)
        co_return std::nullopt;
    co_return MediaProbe::fromJson(*output);
}

QCoro::Task<std::optional<double>> FFmpegService::probeDurationSeconds(QString path)
{
    const std::optional<MXFHeaderFacts> facts = co_await headerFacts(path);
    if (facts && facts->durationSeconds)
        co_return facts->durationSeconds;
    const std::optional<QString> text =
        co_await singleValue(QStringLiteral("format=duration"), std::move(path));
    co_return text ? ToolText::parseDecimal(*text) : std::nullopt;
}

QCoro::Task<std::optional<QString>> FFmpegService::materialPackageUMID(QString path)
{
    const ProbeAnswer answer = co_await probeMaterialPackageUMID(std::move(path));
    co_return answer.value;
}

QCoro::Task<FFmpegService::ProbeAnswer> FFmpegService::probeMaterialPackageUMID(QString path)
{
    const std::optional<MXFHeaderFacts> facts = co_await headerFacts(path);
    if (facts)
        co_return ProbeAnswer{facts->materialPackageUMID, false};
    ProbeAnswer answer =
        co_await singleValueAnswer(QStringLiteral("format_tags=material_package_umid"), std::move(path));
    if (answer.value) {
        *answer.value = answer.value->toUpper();
        if (answer.value->startsWith(QLatin1String("0X")))
            answer.value->remove(0, 2);
    }
    co_return answer;
}

QCoro::Task<QHash<QString, QString>> FFmpegService::headerUMIDs(QStringList paths)
{
    if (!resolvedFFprobePath())
        co_return {};
    QFuture<QHash<QString, MXFHeaderFacts>> reading =
        QtConcurrent::run(Workers::pool(), ProbeCache::readHeaders, std::move(paths));
    const QHash<QString, MXFHeaderFacts> facts = co_await reading;
    QHash<QString, QString> umids;
    for (auto it = facts.constBegin(); it != facts.constEnd(); ++it)
        umids.insert(it.key(), it.value().materialPackageUMID);
    co_return umids;
}

QCoro::Task<std::optional<QString>> FFmpegService::modificationDate(QString path)
{
    const std::optional<MXFHeaderFacts> facts = co_await headerFacts(path);
    if (facts && facts->modificationDate)
        co_return facts->modificationDate;
    co_return co_await singleValue(QStringLiteral("format_tags=modification_date"), std::move(path));
}

QCoro::Task<std::optional<QString>> FFmpegService::sourceTimecode(QString videoPath)
{
    const std::optional<MXFHeaderFacts> facts = co_await headerFacts(videoPath);
    if (facts && facts->timecode)
        co_return facts->timecode;
    co_return co_await singleValue(QStringLiteral("format_tags=timecode"), std::move(videoPath));
}

QCoro::Task<FFmpegService::SourceFacts> FFmpegService::sourceFacts(QString videoPath)
{
    SourceFacts source;
    const std::optional<MXFHeaderFacts> facts = co_await headerFacts(videoPath);
    if (facts) {
        source.durationSeconds = facts->durationSeconds;
        source.timecode = facts->timecode;
        if (facts->picture)
            source.picture = PictureCoding::fromHeader(*facts->picture);
        if (facts->durationSeconds && facts->timecode && facts->picture)
            co_return source;
    }
    const std::optional<MediaProbe> probe = co_await probeFull(std::move(videoPath));
    if (!probe)
        co_return source;
    if (!source.durationSeconds && probe->format.duration)
        source.durationSeconds = ToolText::parseDecimal(*probe->format.duration);
    if (!source.timecode && probe->format.tags) {
        const QString timecode = probe->format.tags->value(QStringLiteral("timecode")).trimmed();
        if (!timecode.isEmpty())
            source.timecode = timecode;
    }
    if (!facts || !facts->picture) {
        if (const std::optional<StreamInfo> video = probe->primaryVideoStream())
            source.picture = PictureCoding::fromStream(*video);
    }
    co_return source;
}

QCoro::Task<bool> FFmpegService::hasAudioStream(QString path)
{
    const std::optional<QByteArray> output = co_await ffprobeOutput(ToolArguments::audioStreamIndex(path));
    if (!output)
        co_return true;
    const std::optional<QString> text = ToolText::decodeUtf8(*output);
    co_return text && !text->trimmed().isEmpty();
}

QCoro::Task<std::optional<FFmpegService::VideoFrames>> FFmpegService::videoFrames(QString path)
{
    const std::optional<QByteArray> output = co_await ffprobeOutput(ToolArguments::videoFrames(path));
    if (!output)
        co_return std::nullopt;
    const std::optional<QString> text = ToolText::decodeUtf8(*output);
    co_return text ? parseVideoFrames(*text) : std::nullopt;
}

QCoro::Task<QList<AudioLevel>> FFmpegService::audioSignalLevels(QStringList paths)
{
    const QList<AudioLevel> unmeasured(paths.size());
    const std::optional<QString> ffmpeg = resolvedFFmpegPath();
    if (!ffmpeg || paths.isEmpty())
        co_return unmeasured;
    // Remembered under the first file: a clip's audio files are written together.
    const QString first = paths.first();
    const std::optional<QByteArray> output =
        co_await toolOutput(*ffmpeg, ToolArguments::volumeDetect(paths), Stream::standardError, first);
    if (!output)
        co_return unmeasured;
    const std::optional<QString> text = ToolText::decodeUtf8(*output);
    co_return text ? AudioLevel::fromVolumeDetectOutputs(*text, paths.size()) : unmeasured;
}
