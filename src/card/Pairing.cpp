#include "card/Pairing.h"

#include "base/DisplayText.h"
#include "base/Workers.h"
#include "card/FileSystemUtilities.h"
#include "card/P2MetadataParser.h"
#include "card/P2Scanner.h"
#include "card/ProbeBatch.h"
#include "card/ShootOrder.h"
#include "media/FFmpegService.h"
#include "media/ProbeCache.h"
#include "media/ToolLimits.h"

#include <QCoroFuture>
#include <QFileInfo>
#include <QMutex>
#include <QSet>
#include <QtConcurrent>

namespace P2MetadataParser {

namespace {

using Method = P2Clip::PairingMethod;

QString fileName(const QString& path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

// The file name without its extension, upper-cased: how clips are named.
QString videoName(const QString& path)
{
    const QString name = fileName(path);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return (dot > 0 ? name.left(dot) : name).toUpper();
}

QStringList fileNames(const QStringList& paths)
{
    QStringList names;
    names.reserve(paths.size());
    for (const QString& path : paths)
        names.append(fileName(path));
    return names;
}

// The files of `files` grouped by their probed UMID, each group in list order.
QHash<QString, QStringList> filesByUMID(const QStringList& files, const QHash<QString, QString>& umids)
{
    QHash<QString, QStringList> groups;
    for (const QString& file : files) {
        const auto umid = umids.constFind(file);
        if (umid != umids.constEnd())
            groups[*umid].append(file);
    }
    return groups;
}

// Absent when the XML has none or it is not an internet date-time with a zone.
std::optional<QDateTime> recordingDateTime(const ClipMetadata& metadata)
{
    return metadata.recordingDateTimeRaw ? parseInternetDateTime(*metadata.recordingDateTimeRaw)
                                         : std::nullopt;
}

// A CLIP XML is parsed once while it is unchanged; one that could not be
// read is read again next time.
ClipMetadata parseRemembered(const QString& xmlFile)
{
    const QString kind = QStringLiteral("clip XML");
    const std::optional<ProbeCache::FileIdentity> identity = ProbeCache::identify(xmlFile);
    if (!identity || !QFileInfo(xmlFile).isReadable())
        return parse(xmlFile);
    if (const std::optional<std::any> known = ProbeCache::derived(xmlFile, *identity, kind))
        return std::any_cast<ClipMetadata>(*known);
    ClipMetadata metadata = parse(xmlFile);
    ProbeCache::rememberDerived(xmlFile, *identity, kind, metadata);
    return metadata;
}

QList<ClipMetadata> parseAll(const QStringList& xmlFiles)
{
    QList<ClipMetadata> metadata;
    metadata.reserve(xmlFiles.size());
    for (const QString& xmlFile : xmlFiles)
        metadata.append(parseRemembered(xmlFile));
    return metadata;
}

// The matching itself: sequential, in memory, no I/O.
class Matcher
{
public:
    Matcher(const P2CardStructure& structure, const QHash<QString, QString>& videoUMIDs,
            const QHash<QString, QString>& audioUMIDs, bool probeAvailable)
        : structure_(structure), videosByUMID_(filesByUMID(structure.videoFiles, videoUMIDs)),
          audioByUMID_(filesByUMID(structure.audioFiles, audioUMIDs)), probeAvailable_(probeAvailable)
    {
        essenceProblems_ = structure.unreadable;
        // An empty essence file holds no UMID and no channel: as good as unreadable.
        for (const QString& file : structure.videoFiles + structure.audioFiles) {
            if (FileSystemUtilities::fileSize(file) == 0)
                essenceProblems_.append({file, QStringLiteral("The file is empty")});
        }
    }

    // The essence files without a UMID whose header was asked in vain.
    void setHeaderless(QSet<QString> files) { headerless_ = std::move(files); }

    void pairXML(const ClipMetadata& metadata);
    void pairUnverifiedVideos(bool allowUnsafeFallback);
    void reportUnusedAudio();

    PairingResult result;

private:
    PairingReportEntry xmlEntry(const ClipMetadata& metadata) const;
    void exclude(PairingReportEntry entry, const QString& note);
    void addClip(P2Clip clip, PairingReportEntry entry);
    void addFallbackClip(const QString& video, const QStringList& audio, Method method, const QString& note);
    QStringList unusedAudio() const;
    // Why a clip whose essence files are named after `stem` cannot be
    // converted whole: one of them, or (when fewer audio files were found than
    // declared) the AUDIO folder, cannot be read. Nothing when all could be.
    std::optional<QString> unreadableEssence(const QString& stem, bool audioMissing) const;

    const P2CardStructure& structure_;
    const QHash<QString, QStringList> videosByUMID_;
    const QHash<QString, QStringList> audioByUMID_;
    const bool probeAvailable_;
    QList<FileSystemUtilities::Unreadable> essenceProblems_;
    // Each paired video with the name of the CLIP XML that claimed it.
    QHash<QString, QString> videoPairedBy_;
    QSet<QString> usedAudio_;
    // Clips (by name stem) an XML already excluded for a file that cannot be
    // read: their video is not listed a second time.
    QSet<QString> excludedUnreadable_;
    QSet<QString> headerless_;
};

PairingReportEntry Matcher::xmlEntry(const ClipMetadata& metadata) const
{
    PairingReportEntry entry;
    entry.clipName = metadata.clipName.value_or(videoName(metadata.xmlURL));
    entry.xmlFile = fileName(metadata.xmlURL);
    entry.startTimecode = metadata.startTimecode;
    if (const std::optional<QDateTime> date = recordingDateTime(metadata))
        entry.recordingDateTimeDisplay = formatInternetDateTime(*date);
    return entry;
}

std::optional<QString> Matcher::unreadableEssence(const QString& stem, bool audioMissing) const
{
    const auto within = [](const QString& path, const std::optional<QString>& folder) {
        return folder && (path == *folder || path.startsWith(*folder + QLatin1Char('/')));
    };
    for (const FileSystemUtilities::Unreadable& entry : essenceProblems_) {
        const bool video = within(entry.path, structure_.videoFolder);
        const bool audio = within(entry.path, structure_.audioFolder);
        const bool xml = within(entry.path, structure_.clipFolder);
        if (!video && !audio && !xml)
            continue;
        const QString kind = video   ? QStringLiteral("VIDEO")
                             : audio ? QStringLiteral("AUDIO")
                                     : QStringLiteral("CLIP XML");
        if (QFileInfo(entry.path).isDir() || entry.path == structure_.videoFolder ||
            entry.path == structure_.audioFolder || entry.path == structure_.clipFolder) {
            if (audio && audioMissing)
                return QStringLiteral("%1 folder “%2” cannot be read: %3")
                    .arg(kind, entry.path, entry.reason);
            continue;
        }
        if (videoName(entry.path).startsWith(stem))
            return QStringLiteral("%1 file %2 cannot be read: %3")
                .arg(kind, fileName(entry.path), entry.reason);
    }
    return std::nullopt;
}

void Matcher::exclude(PairingReportEntry entry, const QString& note)
{
    entry.included = false;
    entry.note = note;
    result.entries.append(std::move(entry));
}

void Matcher::addClip(P2Clip clip, PairingReportEntry entry)
{
    entry.clipID = clip.id;
    entry.videoFile = fileName(clip.videoURL);
    entry.audioFiles = fileNames(clip.audioURLs);
    entry.method = clip.pairingMethod;
    entry.included = true;
    for (const QString& file : clip.audioURLs)
        usedAudio_.insert(file);
    result.entries.append(std::move(entry));
    result.clips.append(std::move(clip));
}

void Matcher::pairXML(const ClipMetadata& metadata)
{
    PairingReportEntry entry = xmlEntry(metadata);
    if (!metadata.globalClipID) {
        exclude(std::move(entry), QStringLiteral("CLIP XML has no GlobalClipID (") +
                                      metadata.parseWarnings.join(QStringLiteral("; ")) + QLatin1Char(')'));
        return;
    }
    if (!probeAvailable_) {
        exclude(std::move(entry), QStringLiteral("ffprobe unavailable — cannot verify by UMID"));
        return;
    }
    // A clip is converted whole or not at all: never short of a channel.
    const QString stem = videoName(metadata.xmlURL);
    if (const std::optional<QString> unreadable = unreadableEssence(stem, false)) {
        excludedUnreadable_.insert(stem);
        exclude(std::move(entry), *unreadable);
        return;
    }
    const QString umid = normalizedUMID(*metadata.globalClipID);
    const QStringList videos = videosByUMID_.value(umid);
    if (videos.isEmpty()) {
        QString note = QStringLiteral("No VIDEO file's UMID matches this clip's GlobalClipID");
        // The clip's own video may be there with a header past reading.
        for (const QString& video : structure_.videoFiles) {
            if (headerless_.contains(video) && videoName(video) == stem)
                note += QStringLiteral("; VIDEO file %1: %2").arg(fileName(video), headerUnreadableReason());
        }
        exclude(std::move(entry), note);
        return;
    }
    if (videos.size() > 1) {
        exclude(std::move(entry), QStringLiteral("%1 VIDEO files share this UMID").arg(videos.size()));
        return;
    }
    const QString& video = videos.first();
    if (const auto earlier = videoPairedBy_.constFind(video); earlier != videoPairedBy_.constEnd()) {
        entry.videoFile = fileName(video);
        exclude(
            std::move(entry),
            QStringLiteral("VIDEO file %1 is already paired by CLIP XML %2").arg(fileName(video), *earlier));
        return;
    }

    QStringList audio = audioByUMID_.value(umid);
    FileSystemUtilities::sortByFileName(audio);
    const int declared = metadata.audioChannelCount.value_or(0);
    if (const std::optional<QString> unreadable = unreadableEssence(stem, declared > audio.size())) {
        excludedUnreadable_.insert(stem);
        excludedUnreadable_.insert(videoName(video));
        exclude(std::move(entry), *unreadable);
        return;
    }
    if (declared != audio.size()) {
        const QString message = QStringLiteral("CLIP XML declares %1 audio essence(s); found %2 "
                                               "UMID-matching AUDIO file(s)")
                                    .arg(declared)
                                    .arg(audio.size());
        entry.note = message;
        result.summaryLines.append(entry.clipName + QStringLiteral(": ") + message + QLatin1Char('.'));
    }
    // A damaged XML may still name its clip and UMID while its dates or audio
    // count were lost with the rest of the file: the clip is kept, the damage shown.
    if (!metadata.parseWarnings.isEmpty()) {
        const QString warnings = metadata.parseWarnings.join(QStringLiteral("; "));
        entry.note = entry.note ? *entry.note + QStringLiteral("; ") + warnings : warnings;
        result.summaryLines.append(entry.clipName + QStringLiteral(": ") + warnings + QLatin1Char('.'));
    }
    videoPairedBy_.insert(video, *entry.xmlFile);

    P2Clip clip;
    clip.videoURL = video;
    clip.audioURLs = audio;
    clip.xmlURL = metadata.xmlURL;
    clip.pairingMethod = audio.isEmpty() ? Method::xmlNoAudioInClip : Method::xmlVerified;
    clip.startTimecode = metadata.startTimecode;
    clip.frameRate = metadata.frameRate;
    clip.width = metadata.width;
    clip.height = metadata.height;
    clip.recordingDateTime = recordingDateTime(metadata);
    clip.xmlClipName = metadata.clipName;
    clip.globalClipID = umid;
    clip.durationFrames = metadata.durationFrames;
    clip.videoCodec = metadata.videoCodec;
    clip.notes = metadata.notes;
    clip.declaredAudioCount = declared;
    clip.relation = metadata.relation;
    addClip(std::move(clip), std::move(entry));
}

void Matcher::addFallbackClip(const QString& video, const QStringList& audio, Method method,
                              const QString& note)
{
    P2Clip clip;
    clip.videoURL = video;
    clip.audioURLs = audio;
    clip.pairingMethod = method;
    PairingReportEntry entry;
    entry.clipName = videoName(video);
    entry.note = note;
    addClip(std::move(clip), std::move(entry));
}

QStringList Matcher::unusedAudio() const
{
    QStringList unused;
    for (const QString& file : structure_.audioFiles) {
        if (!usedAudio_.contains(file))
            unused.append(file);
    }
    return unused;
}

void Matcher::pairUnverifiedVideos(bool allowUnsafeFallback)
{
    QStringList unverified;
    for (const QString& video : structure_.videoFiles) {
        if (videoPairedBy_.contains(video) || excludedUnreadable_.contains(videoName(video)))
            continue;
        // Even a guess needs every file of the clip.
        if (const std::optional<QString> unreadable = unreadableEssence(videoName(video), false)) {
            PairingReportEntry entry;
            entry.clipName = videoName(video);
            entry.videoFile = fileName(video);
            exclude(std::move(entry), *unreadable);
            continue;
        }
        unverified.append(video);
    }
    if (unverified.isEmpty())
        return;

    if (!allowUnsafeFallback) {
        QStringList names;
        for (const QString& video : unverified)
            names.append(videoName(video));
        result.summaryLines.append(
            QStringLiteral("%1 clip(s) have no XML/UMID-verified pairing and were NOT converted because "
                           "\"Allow unsafe fallback pairing\" is off: %2.")
                .arg(unverified.size())
                .arg(names.join(QStringLiteral(", "))));
        for (const QString& video : unverified) {
            PairingReportEntry entry;
            entry.clipName = videoName(video);
            entry.videoFile = fileName(video);
            exclude(std::move(entry), QStringLiteral("No XML/UMID match. Enable \"Allow unsafe fallback "
                                                     "pairing\" in Settings to include this clip."));
        }
        return;
    }

    result.summaryLines.append(QStringLiteral("Unsafe fallback pairing is ON — %1 clip(s) without a verified "
                                              "XML/UMID match will be paired by filename or sort order. "
                                              "Double-check their audio manually.")
                                   .arg(unverified.size()));

    QStringList waiting;
    for (const QString& video : unverified) {
        const QString name = videoName(video);
        QStringList candidates;
        for (const QString& file : unusedAudio()) {
            if (videoName(file).startsWith(name))
                candidates.append(file);
        }
        if (candidates.isEmpty()) {
            waiting.append(video);
            continue;
        }
        addFallbackClip(video, candidates, Method::filenamePrefixUnsafe,
                        QStringLiteral("Not verified by XML/UMID — matched by filename only"));
    }

    const QStringList remainingAudio = unusedAudio();
    const qsizetype paired = std::min(waiting.size(), remainingAudio.size());
    for (qsizetype i = 0; i < paired; ++i)
        addFallbackClip(waiting.at(i), {remainingAudio.at(i)}, Method::sortedOrderUnsafe,
                        QStringLiteral("Not verified — paired purely by sort order"));
    if (paired > 0)
        result.summaryLines.append(
            QStringLiteral("Sorted-order fallback (least reliable): pairing %1 remaining "
                           "clip(s) with remaining audio files purely by sort order.")
                .arg(paired));
    for (qsizetype i = paired; i < waiting.size(); ++i)
        addFallbackClip(waiting.at(i), {}, Method::unverifiedVideoOnlyUnsafe,
                        QStringLiteral("No XML/UMID match and no audio found — converting video-only"));
}

void Matcher::reportUnusedAudio()
{
    const QStringList unused = unusedAudio();
    if (!unused.isEmpty())
        result.summaryLines.append(QStringLiteral("%1 audio file(s) were not used by any clip: %2.")
                                       .arg(unused.size())
                                       .arg(fileNames(unused).join(QStringLiteral(", "))));
}

// Copies each clip's place in shoot order into the entry that made it.
void copyShootOrder(const QList<P2Clip>& clips, QList<PairingReportEntry>& entries)
{
    QHash<QUuid, const P2Clip*> byID;
    for (const P2Clip& clip : clips)
        byID.insert(clip.id, &clip);
    for (PairingReportEntry& entry : entries) {
        const P2Clip* clip = entry.clipID ? byID.value(*entry.clipID) : nullptr;
        if (!clip)
            continue;
        if (clip->sortKey)
            entry.sortKeySource = label(clip->sortKey->source);
        entry.exportOrderNumber = clip->exportOrderNumber;
    }
}

// What a pairing depends on besides its card: two pairings with equal keys
// come to the same result.
struct VerdictKey
{
    quint64 snapshot = 0;
    bool allowUnsafeFallback = false;
    std::optional<QString> ffprobe;
    quint64 probeGeneration = 0;

    bool operator==(const VerdictKey&) const = default;
};

// The last few pairings of scanned cards, so verifying an unchanged card again
// costs nothing.
struct Verdicts
{
    static constexpr qsizetype capacity = 4;
    QMutex lock;
    QList<std::pair<VerdictKey, PairingResult>> known;

    std::optional<PairingResult> recall(const VerdictKey& key)
    {
        const QMutexLocker locker(&lock);
        for (const auto& [knownKey, result] : std::as_const(known)) {
            if (knownKey == key)
                return result;
        }
        return std::nullopt;
    }

    void remember(const VerdictKey& key, const PairingResult& result)
    {
        const QMutexLocker locker(&lock);
        if (known.size() >= capacity)
            known.removeFirst();
        known.append({key, result});
    }
};

Verdicts& verdicts()
{
    static Verdicts instance;
    return instance;
}

// Matches what the probes found to the clips' XML. Every essence file is
// looked at on disk, so it runs on a worker: a card of hundreds of clips would
// otherwise hold the window for several frames.
PairingResult match(const P2CardStructure& structure, const QHash<QString, QString>& videoUMIDs,
                    const QHash<QString, QString>& audioUMIDs, bool probeAvailable,
                    const QStringList& timedOut, const QList<ClipMetadata>& metadata,
                    bool allowUnsafeFallback)
{
    Matcher matcher(structure, videoUMIDs, audioUMIDs, probeAvailable);
    if (!probeAvailable)
        matcher.result.summaryLines.append(QStringLiteral(
            "ffprobe not found — clips cannot be verified by UMID. Only unsafe fallback pairing "
            "is possible (enable it in Settings)."));
    for (const FileSystemUtilities::Unreadable& entry : structure.unreadable)
        matcher.result.summaryLines.append(P2Scanner::unreadableSentence(entry));
    for (const FileSystemUtilities::PassedOver& entry : structure.passedOver)
        matcher.result.summaryLines.append(P2Scanner::passedOverSentence(entry));
    if (probeAvailable) {
        // An empty file is said as such; one whose probe ran out of time below.
        QSet<QString> headerless;
        for (const QString& file : structure.videoFiles + structure.audioFiles) {
            const bool probed = videoUMIDs.contains(file) || audioUMIDs.contains(file);
            if (probed || timedOut.contains(file) || FileSystemUtilities::fileSize(file) == 0)
                continue;
            headerless.insert(file);
            matcher.result.summaryLines.append(
                QStringLiteral("“%1”: %2.")
                    .arg(DisplayText::escaped(QFileInfo(file).fileName()), headerUnreadableReason()));
        }
        matcher.setHeaderless(std::move(headerless));
    }
    if (!timedOut.isEmpty()) {
        QStringList names;
        for (const QString& file : std::as_const(timedOut))
            names.append(QFileInfo(file).fileName());
        FileSystemUtilities::sortByFileName(names);
        const auto limit = std::chrono::duration_cast<std::chrono::seconds>(ToolLimits::current().query);
        matcher.result.summaryLines.append(
            QStringLiteral("ffprobe did not answer within %1 s for %2 file(s), "
                           "which therefore match no clip: %3.")
                .arg(limit.count())
                .arg(names.size())
                .arg(names.join(QStringLiteral(", "))));
    }
    for (const ClipMetadata& clipMetadata : metadata)
        matcher.pairXML(clipMetadata);
    matcher.pairUnverifiedVideos(allowUnsafeFallback);
    matcher.reportUnusedAudio();

    return std::move(matcher.result);
}

} // namespace

QString headerUnreadableReason()
{
    return QStringLiteral("header cannot be read: neither its MXF header nor ffprobe states a UMID");
}

QString normalizedUMID(const QString& umid)
{
    QString normalized = umid.toUpper();
    if (normalized.startsWith(QLatin1String("0X")))
        normalized.remove(0, 2);
    return normalized;
}

QCoro::Task<QHash<QString, QString>> probeUMIDs(QStringList files, int concurrency)
{
    ProbeTally tally;
    co_return co_await probeUMIDs(std::move(files), concurrency, tally);
}

QCoro::Task<QHash<QString, QString>> probeUMIDs(QStringList files, int concurrency, ProbeTally& tally)
{
    // What the MXF headers state is read in one pass; ffprobe is asked about the rest only.
    QHash<QString, QString> umids = co_await FFmpegService::headerUMIDs(files);
    files.removeIf([&umids](const QString& file) { return umids.contains(file); });
    if (!umids.isEmpty()) {
        tally.done += umids.size();
        if (tally.progress)
            tally.progress(tally.done, tally.total);
    }
    // Lives in this frame, which outlives every probe of the batch.
    const ProbeBatch::Probe probe = [&tally](QString path) -> QCoro::Task<std::optional<QString>> {
        const FFmpegService::ProbeAnswer answer = co_await FFmpegService::probeMaterialPackageUMID(path);
        if (answer.timedOut)
            tally.timedOut.append(path);
        ++tally.done;
        if (tally.progress)
            tally.progress(tally.done, tally.total);
        co_return answer.value;
    };
    QCoro::Task<QHash<QString, QString>> probing = ProbeBatch::run(std::move(files), concurrency, probe);
    umids.insert(co_await probing);
    for (QString& umid : umids)
        umid = normalizedUMID(umid);
    co_return umids;
}

QCoro::Task<PairingResult> pairClips(P2CardStructure structure, bool allowUnsafeFallback,
                                     ProbeProgress progress)
{
    const qsizetype fileCount = structure.videoFiles.size() + structure.audioFiles.size();
    const VerdictKey key{structure.snapshot, allowUnsafeFallback, FFmpegService::resolvedFFprobePath(),
                         ProbeCache::generation()};
    if (structure.snapshot != 0) {
        if (std::optional<PairingResult> known = verdicts().recall(key)) {
            if (progress)
                progress(fileCount, fileCount);
            co_return std::move(*known);
        }
    }
    const int answersNotRememberedBefore = ProbeCache::statistics().answersNotRemembered;

    // The XML files are read on a worker thread while the probes run.
    QFuture<QList<ClipMetadata>> metadataFuture =
        QtConcurrent::run(Workers::pool(), parseAll, structure.clipXMLFiles);

    const bool probeAvailable = key.ffprobe.has_value();
    QHash<QString, QString> videoUMIDs;
    QHash<QString, QString> audioUMIDs;
    ProbeTally tally;
    tally.total = fileCount;
    tally.progress = std::move(progress);
    if (probeAvailable) {
        videoUMIDs = co_await probeUMIDs(structure.videoFiles, ProbeBatch::maximumConcurrency, tally);
        audioUMIDs = co_await probeUMIDs(structure.audioFiles, ProbeBatch::maximumConcurrency, tally);
    }
    const QList<ClipMetadata> metadata = co_await metadataFuture;

    QFuture<PairingResult> matching =
        QtConcurrent::run(Workers::pool(), match, structure, videoUMIDs, audioUMIDs, probeAvailable,
                          tally.timedOut, metadata, allowUnsafeFallback);
    PairingResult result = co_await matching;
    const QHash<QUuid, ClipSortKey> keys = co_await resolveShootOrder(result.clips);
    applyShootOrder(result.clips, keys);
    copyShootOrder(result.clips, result.entries);
    // A probe that timed out or never started is asked again next time, so its
    // pairing is not one to repeat.
    if (structure.snapshot != 0 && tally.timedOut.isEmpty() &&
        ProbeCache::statistics().answersNotRemembered == answersNotRememberedBefore)
        verdicts().remember(key, result);
    co_return result;
}

PairingResult withJoinedShots(PairingResult pairing)
{
    SpannedShots::Grouping grouping = SpannedShots::group(pairing.clips);
    pairing.summaryLines.append(grouping.summaryLines);
    pairing.joinedShots = std::move(grouping.joined);
    return pairing;
}

} // namespace P2MetadataParser
