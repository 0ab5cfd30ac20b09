#include "run/DebugReportBuilder.h"

#include "base/DisplayText.h"
#include "base/Workers.h"
#include "card/ShootOrder.h"
#include "media/BoundedTasks.h"
#include "media/FFmpegService.h"
#include "media/ToolText.h"
#include "run/ClipMetadata.h"

#include <algorithm>
#include <QCoroFuture>
#include <QFileInfo>
#include <QtConcurrent>
#include <QThread>

namespace DebugReportBuilder {

namespace {

// The lines of one block, each on a line of its own whatever a card's names
// and tags hold: control characters are shown escaped, so a name cannot add
// lines to the report or reach a terminal that shows it.
QString shownLines(QStringList lines)
{
    for (QString& line : lines)
        line = DisplayText::escaped(line);
    return lines.join(u'\n');
}

// The same threshold the level summary uses to flag a probably unused input.
constexpr double noiseFloorDB = -55.0;

const QString equalsRule = QString(78, u'=');
const QString dashRule = QString(78, u'-');

const QStringList premiereSection = {
    QStringLiteral("HOW THIS COMPARES TO ADOBE PREMIERE PRO'S P2 IMPORT (verified, not inferred):"),
    QString(),
    QStringLiteral("When Premiere Pro imports a P2 clip it reads the clip's CLIP XML and brings in"),
    QStringLiteral("the video essence together with every discrete audio essence file that belongs"),
    QStringLiteral("to the same Material Package, that is, every audio MXF carrying the clip's UMID."),
    QStringLiteral("Each of those files appears as a separate mono channel of the clip. Which"),
    QStringLiteral("channels end up in the edit is then decided by hand, as an editorial step: the"),
    QStringLiteral("editor listens, disables or unlinks the channels that carry nothing useful, and"),
    QStringLiteral("keeps the rest. The importer itself never throws a channel away."),
    QString(),
    QStringLiteral("The camera does not make that decision for anyone either. For DVCPRO HD and"),
    QStringLiteral("DVCPRO50 clips a P2 camera always records four audio essence files, even when"),
    QStringLiteral("only one or two of its inputs were connected or armed during the shot; the"),
    QStringLiteral("unused channels are simply written as near-silence, indistinguishable on the"),
    QStringLiteral("card from a very quiet microphone. Nothing in the CLIP XML metadata records"),
    QStringLiteral("which of the four channels were actually in use: every one is listed alike, and"),
    QStringLiteral("no field or flag marks a channel as unused or unconnected. No program can"),
    QStringLiteral("therefore know it from the card alone."),
    QString(),
    QStringLiteral("ffmpeg has no equivalent of that manual listening step, and any automatic rule"),
    QStringLiteral("(drop the quiet channels, keep only the first two) would sooner or later throw"),
    QStringLiteral("away a real but quiet recording, such as room tone or a distant lavalier."),
    QStringLiteral("Tolvane therefore keeps every audio file whose UMID matches the clip's Material"),
    QStringLiteral("Package as its own mono track in the ProRes output, exactly as many tracks as"),
    QStringLiteral("the camera wrote, in the camera's channel order. Instead of guessing, it"),
    QStringLiteral("measures the signal level of every audio file and reports it below, so you can"),
    QStringLiteral("see at a glance which tracks hold sound and mute the others in your editor."),
    QStringLiteral("Nothing is lost this way: a track you do not need costs only disk space, while"),
    QStringLiteral("a track dropped by mistake could never be recovered from the converted file."),
};

const QStringList syncSection = {
    QStringLiteral("AUDIO/VIDEO SYNC — VERIFIED, NOT ASSUMED:"),
    QString(),
    QStringLiteral("The video and audio essence files of a P2 clip are recorded together by the"),
    QStringLiteral("camera and start at the same instant. Checked against real card media, their"),
    QStringLiteral("timecodes and start times agree and they begin with no offset between them,"),
    QStringLiteral("so no shift is needed to keep picture and sound in sync; the start times of"),
    QStringLiteral("every file are listed below so this can be checked clip by clip."),
    QString(),
    QStringLiteral("Earlier versions applied a default audio offset of -1.0 s. Combined with"),
    QStringLiteral("\"-shortest\" and a negative \"-itsoffset\", that cut the end off the video and"),
    QStringLiteral("delayed the audio against the picture, so a clip could come out shorter than"),
    QStringLiteral("it was shot and visibly out of sync. The default offset is now 0.0 s, and"),
    QStringLiteral("\"-shortest\" is no longer passed at all, so an audio file that ends a few"),
    QStringLiteral("samples early can never trim the picture."),
    QString(),
    QStringLiteral("When you set a manual offset in Settings, it is applied to the audio inputs"),
    QStringLiteral("only, never to the video: a positive offset is passed as \"-itsoffset\" before"),
    QStringLiteral("each audio input, delaying the audio by that much; a negative offset is passed"),
    QStringLiteral("as \"-ss\" on each audio input, starting the audio that much later in its file,"),
    QStringLiteral("which moves it earlier against the picture. Either way the video keeps every"),
    QStringLiteral("frame and is never trimmed, and the offset in force is shown at the top of"),
    QStringLiteral("this report and in every command below. If a particular camera or workflow"),
    QStringLiteral("does need a shift, set it manually and check the result against a clap or slate."),
};

QString valueOr(const std::optional<QString>& value, const QString& fallback)
{
    return value ? *value : fallback;
}

QString secondsOrUnknown(const std::optional<MediaProbe>& probe)
{
    if (probe && probe->format.duration)
        return *probe->format.duration + QStringLiteral("s");
    return QStringLiteral("unknown");
}

QString umidOrUnknown(const std::optional<MediaProbe>& probe)
{
    if (probe && probe->format.tags) {
        const auto found = probe->format.tags->constFind(QStringLiteral("material_package_umid"));
        if (found != probe->format.tags->constEnd())
            return *found;
    }
    return QStringLiteral("unknown");
}

// The stream and format lines of a probe; a missing probe leaves only the headings.
void appendProbeDetails(QStringList& lines, const std::optional<MediaProbe>& probe)
{
    lines.append(QStringLiteral("  Streams:"));
    if (probe) {
        for (const StreamInfo& stream : probe->streams)
            lines.append(QStringLiteral("    ") + streamLine(stream));
    }
    lines.append(QStringLiteral("  Format metadata:"));
    if (probe && probe->format.tags) {
        // MediaTags is ordered, so the keys come out sorted.
        for (auto tag = probe->format.tags->constBegin(); tag != probe->format.tags->constEnd(); ++tag)
            lines.append(QStringLiteral("    ") + tag.key() + QStringLiteral(" = ") + tag.value());
    }
}

void appendAudioFile(QStringList& lines, const P2Clip& clip, int number, const AudioProbe& audio,
                     const QHash<QString, AudioLevel>& audioLevels)
{
    const auto& [path, probe] = audio;
    const std::optional<StreamInfo> stream = probe ? probe->primaryAudioStream() : std::nullopt;
    const QString unknown = QStringLiteral("unknown");
    lines.append(QStringLiteral("AUDIO #%1 — %2").arg(number).arg(QFileInfo(path).fileName()));
    lines.append(QStringLiteral("  Absolute path: ") + path);
    lines.append(QStringLiteral("  Duration: ") + secondsOrUnknown(probe));
    lines.append(QStringLiteral("  UMID (material_package_umid): ") + umidOrUnknown(probe));
    lines.append(QStringLiteral("  Channel count: ") +
                 (stream && stream->channels ? QString::number(*stream->channels) : unknown));
    lines.append(QStringLiteral("  Sample rate: ") +
                 (stream && stream->sampleRate ? *stream->sampleRate + QStringLiteral(" Hz") : unknown));
    lines.append(QStringLiteral("  Start time: ") + (stream ? valueOr(stream->startTime, unknown) : unknown));
    const auto level = audioLevels.constFind(path);
    lines.append(QStringLiteral("  Measured signal level: ") +
                 (level != audioLevels.constEnd() ? level->summary() : QStringLiteral("not measured")));
    appendProbeDetails(lines, probe);
    lines.append(QStringLiteral("  DECISION: INCLUDED in final mux — UMID-verified as belonging to this"));
    lines.append(QStringLiteral("    clip's Material Package (same UMID as the video and its %1 sibling "
                                "audio file(s)).")
                     .arg(clip.audioURLs.size() - 1));
    if (level != audioLevels.constEnd() && level->meanDB && *level->meanDB < noiseFloorDB) {
        lines.append(
            QStringLiteral("    Note: measured near the noise floor — likely an unused/unconnected"));
        lines.append(QStringLiteral("    input channel (Panasonic P2 always writes 4 audio files for"));
        lines.append(QStringLiteral("    DVCPRO HD/50 regardless of how many were actually recorded onto)."));
        lines.append(QStringLiteral("    Included anyway rather than guessed away — see note above on why"));
        lines.append(QStringLiteral("    ffmpeg cannot reproduce Premiere's manual channel-selection step."));
    }
}

QCoro::Task<std::optional<MediaProbe>> probe(QString path)
{
    co_return co_await FFmpegService::probeFull(std::move(path));
}

// What the conversion itself learns of a source, so the command shown is the
// one it runs; nothing when nothing could be learnt.
QCoro::Task<std::optional<FFmpegService::SourceFacts>> source(QString path)
{
    FFmpegService::SourceFacts facts = co_await FFmpegService::sourceFacts(std::move(path));
    if (facts == FFmpegService::SourceFacts{})
        co_return std::nullopt;
    co_return facts;
}

// The measurement never fails, so every audio file gets a level; one that
// found nothing (no ffmpeg, or digital silence read as -inf) says "unmeasured".
// One ffmpeg run measures all of a clip's files.
QCoro::Task<std::optional<QList<AudioLevel>>> clipLevels(QStringList audioPaths)
{
    co_return co_await FFmpegService::audioSignalLevels(std::move(audioPaths));
}

} // namespace

QString streamLine(const StreamInfo& stream)
{
    QStringList parts{QStringLiteral("#%1").arg(stream.index),
                      valueOr(stream.codecType, QStringLiteral("unknown"))};
    if (stream.codecName)
        parts.append(*stream.codecName);
    if (stream.channels)
        parts.append(QStringLiteral("%1ch").arg(*stream.channels));
    if (stream.sampleRate)
        parts.append(*stream.sampleRate + QStringLiteral("Hz"));
    if (stream.bitsPerSample && *stream.bitsPerSample >= 1)
        parts.append(QStringLiteral("%1-bit").arg(*stream.bitsPerSample));
    if (stream.width && stream.height)
        parts.append(QStringLiteral("%1x%2").arg(*stream.width).arg(*stream.height));
    if (stream.duration)
        parts.append(QStringLiteral("dur=") + *stream.duration + QStringLiteral("s"));
    if (stream.tags) {
        const auto dataType = stream.tags->constFind(QStringLiteral("data_type"));
        if (dataType != stream.tags->constEnd())
            parts.append(QStringLiteral("(placeholder reference to sibling ") + *dataType +
                         QStringLiteral(" track — no essence data in this file)"));
    }
    return parts.join(u' ');
}

QString clipBlock(const P2Clip& clip, const std::optional<MediaProbe>& videoProbe,
                  const QList<AudioProbe>& audioProbes, const FFmpegService::SourceFacts& source,
                  const QHash<QString, AudioLevel>& audioLevels, double audioOffsetSeconds,
                  ProResProfile profile, bool prefixExportsWithOrderNumber,
                  const std::optional<QString>& ffmpegPath, bool writeClipMetadata)
{
    const QString unknown = QStringLiteral("unknown");
    const QString outputFilename = clip.outputFilename(prefixExportsWithOrderNumber);
    QStringList lines{dashRule, QStringLiteral("CLIP: ") + clip.videoName()};
    if (clip.exportOrderNumber)
        lines.append(QStringLiteral("Final export order number: ") +
                     QString::asprintf("%03d", *clip.exportOrderNumber));
    lines.append(QStringLiteral("XML file: ") +
                 (clip.xmlURL ? QFileInfo(*clip.xmlURL).fileName() : QStringLiteral("— none found")));
    lines.append(QStringLiteral("Pairing method: ") + label(clip.pairingMethod));
    lines.append(QStringLiteral("Recording date/time: ") +
                 (clip.recordingDateTime ? P2MetadataParser::formatInternetDateTime(*clip.recordingDateTime)
                                         : unknown));
    lines.append(QStringLiteral("Start timecode: ") + valueOr(clip.startTimecode, unknown));
    lines.append(QStringLiteral("Sort key used: ") +
                 (clip.sortKey ? label(clip.sortKey->source) : QStringLiteral("not resolved")));
    lines.append(QStringLiteral("Output filename: ") + outputFilename);

    lines.append(QString());
    lines.append(QStringLiteral("VIDEO"));
    lines.append(QStringLiteral("  Absolute path: ") + clip.videoURL);
    lines.append(QStringLiteral("  Duration: ") + secondsOrUnknown(videoProbe));
    lines.append(QStringLiteral("  Timecode: ") + valueOr(source.timecode, unknown));
    lines.append(QStringLiteral("  UMID (material_package_umid): ") + umidOrUnknown(videoProbe));
    appendProbeDetails(lines, videoProbe);

    lines.append(QString());
    if (audioProbes.isEmpty()) {
        lines.append(QStringLiteral(
            "AUDIO: none (no UMID-matching audio files found for this clip's Material Package)"));
    }
    for (qsizetype i = 0; i < audioProbes.size(); ++i) {
        if (i > 0)
            lines.append(QString());
        appendAudioFile(lines, clip, static_cast<int>(i + 1), audioProbes.at(i), audioLevels);
    }

    lines.append(QString());
    lines.append(QStringLiteral("EXACT FFMPEG COMMAND FOR THIS CLIP:"));
    const QStringList arguments = FFmpegService::buildArguments(
        clip.videoURL, clip.audioURLs, audioOffsetSeconds, profile, source.timecode,
        QStringLiteral("<OUTPUT_FOLDER>/") + outputFilename, source.picture,
        writeClipMetadata ? ClipMetadata::forClip(clip) : MovieMetadata());
    lines.append(FFmpegService::commandLineString(ffmpegPath.value_or(QStringLiteral("ffmpeg")), arguments));
    return shownLines(std::move(lines));
}

QString joinedShotBlock(const SpannedShot& shot, const FFmpegService::SourceFacts& source,
                        double audioOffsetSeconds, ProResProfile profile, bool prefixExportsWithOrderNumber,
                        const std::optional<QString>& ffmpegPath, bool writeClipMetadata)
{
    const QString outputFilename = shot.top().outputFilename(prefixExportsWithOrderNumber);
    QStringList lines{
        dashRule,
        QStringLiteral("JOINED SHOT: ") + shot.name(),
        QStringLiteral("Pieces: %1, each complete, UMID-verified and in chain order").arg(shot.pieces.size()),
        QStringLiteral("Output filename: ") + outputFilename,
        QStringLiteral("Start timecode (first piece): ") +
            valueOr(source.timecode, QStringLiteral("unknown")),
        QString(),
        QStringLiteral("EXACT FFMPEG COMMAND FOR THIS SHOT:")};
    QList<EssenceInputs> pieces;
    for (const P2Clip& piece : shot.pieces)
        pieces.append({piece.videoURL, piece.audioURLs});
    const QStringList arguments = FFmpegService::buildJoinArguments(
        pieces, audioOffsetSeconds, profile, source.timecode,
        QStringLiteral("<OUTPUT_FOLDER>/") + outputFilename, source.picture,
        writeClipMetadata ? ClipMetadata::forClip(shot.top()) : MovieMetadata());
    lines.append(FFmpegService::commandLineString(ffmpegPath.value_or(QStringLiteral("ffmpeg")), arguments));
    return shownLines(std::move(lines));
}

QString render(const QList<P2Clip>& clips, const QList<PairingReportEntry>& allEntries, const Facts& facts,
               double audioOffsetSeconds, ProResProfile profile, bool prefixExportsWithOrderNumber,
               const QDateTime& generatedAt, const QList<SpannedShot>& joinedShots, bool writeClipMetadata)
{
    // Each piece of a joined shot, with its shot and whether it is the shot's last piece in report order.
    QHash<QUuid, const SpannedShot*> shotOfPiece;
    QHash<QUuid, const SpannedShot*> shotEndingWith;
    for (const SpannedShot& shot : joinedShots) {
        for (const P2Clip& piece : shot.pieces)
            shotOfPiece.insert(piece.id, &shot);
        for (auto clip = clips.crbegin(); clip != clips.crend(); ++clip) {
            if (shotOfPiece.value(clip->id) == &shot) {
                shotEndingWith.insert(clip->id, &shot);
                break;
            }
        }
    }

    QStringList lines{
        QStringLiteral("Tolvane — DEBUG REPORT"),
        QStringLiteral("Generated: ") + P2MetadataParser::formatInternetDateTime(generatedAt),
        QStringLiteral("Audio offset: ") + ToolText::shortestDecimal(audioOffsetSeconds) +
            QStringLiteral("s   ProRes profile: ") + ProResProfiles::label(profile),
        equalsRule,
        QString(),
    };
    lines.append(premiereSection);
    lines.append({QString(), equalsRule, QString()});
    lines.append(syncSection);
    lines.append({QString(), equalsRule});

    for (const P2Clip& clip : clips) {
        const auto videoProbe = facts.videoProbes.constFind(clip.videoURL);
        QList<AudioProbe> audioProbes;
        for (const QString& audio : clip.audioURLs) {
            const auto found = facts.audioProbes.constFind(audio);
            audioProbes.append({audio, found != facts.audioProbes.constEnd()
                                           ? std::optional<MediaProbe>(*found)
                                           : std::nullopt});
        }
        QString block = clipBlock(
            clip,
            videoProbe != facts.videoProbes.constEnd() ? std::optional<MediaProbe>(*videoProbe)
                                                       : std::nullopt,
            audioProbes, facts.videoSources.value(clip.videoURL), facts.audioLevels, audioOffsetSeconds,
            profile, prefixExportsWithOrderNumber, facts.ffmpegPath, writeClipMetadata);
        if (const SpannedShot* shot = shotOfPiece.value(clip.id)) {
            // A piece is never converted on its own: its command would mislead.
            block.truncate(block.lastIndexOf(QStringLiteral("EXACT FFMPEG COMMAND FOR THIS CLIP:")));
            block += QStringLiteral("PIECE OF JOINED SHOT: ") + DisplayText::escaped(shot->name()) +
                     QStringLiteral(" — converted by the shot's command below");
        }
        lines.append(block);
        lines.append(QString());
        if (const SpannedShot* shot = shotEndingWith.value(clip.id)) {
            lines.append(joinedShotBlock(*shot, facts.videoSources.value(shot->top().videoURL),
                                         audioOffsetSeconds, profile, prefixExportsWithOrderNumber,
                                         facts.ffmpegPath, writeClipMetadata));
            lines.append(QString());
        }
    }

    // Left out entirely when every entry was converted: an empty heading would
    // read as if something had gone missing.
    QStringList excluded;
    for (const PairingReportEntry& entry : allEntries) {
        if (!entry.included)
            excluded.append(DisplayText::escaped(QStringLiteral("  ") + entry.clipName +
                                                 QStringLiteral(": ") +
                                                 valueOr(entry.note, QStringLiteral("no verified pairing"))));
    }
    if (!excluded.isEmpty()) {
        if (clips.isEmpty())
            lines.append(QString());
        lines.append(QStringLiteral(
            "EXCLUDED CLIPS (not detailed above — see PAIRING_REPORT.txt for full reasoning)"));
        lines.append(excluded);
    }
    while (lines.constLast().isEmpty())
        lines.removeLast();
    return lines.join(u'\n') + u'\n';
}

int toolsInFlight()
{
    return std::max(2, QThread::idealThreadCount());
}

QCoro::Task<Facts> gather(QList<P2Clip> clips)
{
    QStringList videos;
    QStringList audio;
    QStringList videosWithAudio;
    QHash<QString, QStringList> audioOfVideo;
    for (const P2Clip& clip : clips) {
        videos.append(clip.videoURL);
        audio.append(clip.audioURLs);
        if (!clip.audioURLs.isEmpty()) {
            videosWithAudio.append(clip.videoURL);
            audioOfVideo.insert(clip.videoURL, clip.audioURLs);
        }
    }
    Facts facts;
    facts.ffmpegPath = FFmpegService::resolvedFFmpegPath();
    const int inFlight = toolsInFlight();
    // Each task is made just before it is awaited: a task starts when made.
    QCoro::Task<QHash<QString, MediaProbe>> videoProbes =
        BoundedTasks::run<MediaProbe>(videos, inFlight, probe);
    facts.videoProbes = co_await videoProbes;
    QCoro::Task<QHash<QString, MediaProbe>> audioProbes =
        BoundedTasks::run<MediaProbe>(audio, inFlight, probe);
    facts.audioProbes = co_await audioProbes;
    QCoro::Task<QHash<QString, FFmpegService::SourceFacts>> sources =
        BoundedTasks::run<FFmpegService::SourceFacts>(videos, inFlight, source);
    facts.videoSources = co_await sources;
    QCoro::Task<QHash<QString, QList<AudioLevel>>> levels =
        BoundedTasks::run<QList<AudioLevel>>(videosWithAudio, inFlight, [audioOfVideo](const QString& video) {
            return clipLevels(audioOfVideo.value(video));
        });
    const QHash<QString, QList<AudioLevel>> levelsOfVideo = co_await levels;
    for (auto clip = levelsOfVideo.constBegin(); clip != levelsOfVideo.constEnd(); ++clip) {
        const QStringList& paths = audioOfVideo.value(clip.key());
        for (qsizetype i = 0; i < paths.size() && i < clip->size(); ++i)
            facts.audioLevels.insert(paths.at(i), clip->at(i));
    }
    co_return facts;
}

QCoro::Task<QString> build(QList<P2Clip> clips, QList<PairingReportEntry> allEntries,
                           double audioOffsetSeconds, ProResProfile profile,
                           bool prefixExportsWithOrderNumber, QList<SpannedShot> joinedShots,
                           bool writeClipMetadata)
{
    Facts facts = co_await gather(clips);
    // The facts are handed over whole, so that they are also freed on the
    // worker: those of hundreds of clips take the window several milliseconds.
    QFuture<QString> rendering = QtConcurrent::run(
        Workers::pool(), render, clips, allEntries, std::move(facts), audioOffsetSeconds, profile,
        prefixExportsWithOrderNumber, QDateTime::currentDateTimeUtc(), joinedShots, writeClipMetadata);
    co_return co_await rendering;
}

} // namespace DebugReportBuilder
