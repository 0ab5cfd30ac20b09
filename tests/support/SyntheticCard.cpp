#include "SyntheticCard.h"

#include "base/Platform.h"

#include <cmath>
#include <deque>
#include <memory>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QMutex>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimeZone>

namespace SyntheticCard {
namespace {

constexpr qsizetype umidSize = 32;
constexpr int maxAudioFiles = 16;
constexpr int sampleRate = 48000;
// Outputs per ffmpeg run, and runs at once: one process start-up makes many templates.
constexpr size_t outputsPerFfmpegRun = 48;
constexpr int ffmpegRunsAtOnce = 2;
constexpr int probesAtOnce = 4;
// A tool that takes longer than this on a few frames hangs; it is killed rather than awaited forever.
constexpr int toolTimeoutMs = 120'000;
// Templates are dropped rather than kept once the cache would grow past this.
constexpr qsizetype templateCacheLimit = 256 * 1024 * 1024;

// The fixed 13 bytes before every UMID ffmpeg's MXF muxer writes; its last byte
// is the type: 0x00 for the material package, another value for the file package.
const QByteArray& ffmpegUmidPrefix()
{
    static const QByteArray prefix = QByteArray::fromHex("060A2B340101010501010D0013");
    return prefix;
}

QString hashedUmid(const QByteArray& seed)
{
    const QByteArray material = QCryptographicHash::hash(seed, QCryptographicHash::Sha256).left(16);
    return QStringLiteral("060A2B340101010501010D4313000000") +
           QString::fromLatin1(material.toHex().toUpper());
}

QByteArray umidBytes(const QString& umid)
{
    QString digits = umid.trimmed();
    if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        digits.remove(0, 2);
    const QByteArray bytes = QByteArray::fromHex(digits.toLatin1());
    if (digits.size() != umidSize * 2 || bytes.size() != umidSize ||
        bytes.toHex().toUpper() != digits.toUpper())
        throw Error("not a UMID of 64 hexadecimal digits: " + umid.toStdString());
    return bytes;
}

QString normalizedUmid(const QString& umid)
{
    return QString::fromLatin1(umidBytes(umid).toHex().toUpper());
}

QString clipUmid(const ClipSpec& clip)
{
    if (clip.umid.isEmpty())
        return hashedUmid("Tolvane synthetic clip name " + clip.clipName.toUtf8());
    return normalizedUmid(clip.umid);
}

QString findTool(const QString& name)
{
    const QString installed = QStandardPaths::findExecutable(name, Platform::current().toolFolders);
    return installed.isEmpty() ? QStandardPaths::findExecutable(name) : installed;
}

// Everything an essence file's bytes depend on, apart from its UMIDs.
struct Essence
{
    bool video = true;
    VideoCodec codec = VideoCodec::DV25;
    QString colour;
    int frames = 3;
    QString timecode;
    std::optional<QString> creationTime;
    int bitsPerSample = 16;
    int channel = 0;
    bool silent = false;
    // Frames per 1001 s of the clip's video, which the audio is measured and edited in.
    int rate = 30000;

    QString key() const
    {
        return QStringList{video ? QStringLiteral("video") : QStringLiteral("audio"),
                           QString::number(static_cast<int>(codec)),
                           colour,
                           QString::number(rate),
                           QString::number(frames),
                           timecode,
                           creationTime.value_or(QStringLiteral("-")),
                           QString::number(bitsPerSample),
                           QString::number(channel),
                           silent ? QStringLiteral("silent") : QStringLiteral("tone")}
            .join(QLatin1Char('|'));
    }

    // The lavfi source that feeds this essence; outputs with the same source share one input.
    QString source() const
    {
        if (video) {
            const QString size = codec == VideoCodec::DV25                ? QStringLiteral("720x480")
                                 : codec == VideoCodec::DV25_576i         ? QStringLiteral("720x576")
                                 : codec == VideoCodec::AVCIntra100_1080i ? QStringLiteral("1920x1080")
                                 : codec == VideoCodec::AVCIntra50_720p || codec == VideoCodec::DVCProHD720p
                                     ? QStringLiteral("960x720")
                                     : QStringLiteral("1280x1080");
            return QStringLiteral("testsrc=size=%1:rate=%2/1001").arg(size).arg(rate);
        }
        const double amplitude = silent ? 0.0 : std::pow(10.0, -(6.0 + 3.0 * channel) / 20.0);
        return QStringLiteral("aevalsrc=exprs=%1*sin(2*PI*%2*t):s=%3")
            .arg(QString::number(amplitude, 'f', 6))
            .arg(440 * (channel + 1))
            .arg(sampleRate);
    }

    QStringList outputArguments(int input) const
    {
        QStringList arguments;
        if (video) {
            arguments << QStringLiteral("-map") << QStringLiteral("%1:v").arg(input)
                      << QStringLiteral("-frames:v") << QString::number(frames);
            switch (codec) {
            case VideoCodec::AVCIntra100_1080i:
                arguments << QStringLiteral("-c:v") << QStringLiteral("libx264") << QStringLiteral("-pix_fmt")
                          << QStringLiteral("yuv422p10le") << QStringLiteral("-flags")
                          << QStringLiteral("+ildct+ilme") << QStringLiteral("-field_order")
                          << QStringLiteral("tt") << QStringLiteral("-x264-params")
                          << QStringLiteral("avcintra-class=100");
                break;
            case VideoCodec::AVCIntra50_720p:
                arguments << QStringLiteral("-c:v") << QStringLiteral("libx264") << QStringLiteral("-pix_fmt")
                          << QStringLiteral("yuv420p10le") << QStringLiteral("-x264-params")
                          << QStringLiteral("avcintra-class=50");
                break;
            default:
                arguments << QStringLiteral("-c:v") << QStringLiteral("dvvideo") << QStringLiteral("-pix_fmt")
                          << (codec == VideoCodec::DV25 || codec == VideoCodec::DV25_576i
                                  ? QStringLiteral("yuv411p")
                                  : QStringLiteral("yuv422p"));
            }
            if (!colour.isEmpty())
                arguments << QStringLiteral("-color_primaries") << colour << QStringLiteral("-color_trc")
                          << colour << QStringLiteral("-colorspace") << colour;
        } else {
            const qint64 samples = std::llround(frames * sampleRate * 1001.0 / rate);
            arguments << QStringLiteral("-map") << QStringLiteral("%1:a").arg(input) << QStringLiteral("-af")
                      << QStringLiteral("atrim=end_sample=%1").arg(samples) << QStringLiteral("-c:a")
                      << (bitsPerSample == 24 ? QStringLiteral("pcm_s24le") : QStringLiteral("pcm_s16le"))
                      << QStringLiteral("-ac") << QStringLiteral("1") << QStringLiteral("-ar")
                      << QString::number(sampleRate) << QStringLiteral("-mxf_audio_edit_rate")
                      << QStringLiteral("%1/1001").arg(rate);
        }
        if (!timecode.isEmpty())
            arguments << QStringLiteral("-timecode") << timecode;
        if (creationTime)
            arguments << QStringLiteral("-metadata") << QStringLiteral("creation_time=") + *creationTime;
        arguments << QStringLiteral("-f") << QStringLiteral("mxf_opatom");
        return arguments;
    }
};

// One ffmpeg output held in memory, with where its UMIDs sit.
struct Template
{
    QByteArray bytes;
    QList<qsizetype> materialOffsets;
    QList<qsizetype> fileOffsets;
};
using TemplatePtr = std::shared_ptr<const Template>;

Template makeTemplate(QByteArray bytes, const QString& origin)
{
    Template result;
    const QByteArray& prefix = ffmpegUmidPrefix();
    for (qsizetype at = bytes.indexOf(prefix); at >= 0 && at + umidSize <= bytes.size();
         at = bytes.indexOf(prefix, at + umidSize)) {
        (bytes.at(at + umidSize - 1) == 0 ? result.materialOffsets : result.fileOffsets).append(at);
    }
    if (result.materialOffsets.isEmpty())
        throw Error("ffmpeg wrote no material package UMID where expected in " + origin.toStdString());
    // Only whole copies of the two UMIDs drawn for this file may be rewritten.
    const QByteArray material = bytes.mid(result.materialOffsets.first(), umidSize);
    const QByteArray file =
        result.fileOffsets.isEmpty() ? QByteArray() : bytes.mid(result.fileOffsets.first(), umidSize);
    for (const qsizetype at : result.materialOffsets)
        if (bytes.mid(at, umidSize) != material)
            throw Error("ffmpeg wrote two material package UMIDs in " + origin.toStdString());
    for (const qsizetype at : result.fileOffsets)
        if (bytes.mid(at, umidSize) != file)
            throw Error("ffmpeg wrote two file package UMIDs in " + origin.toStdString());
    result.bytes = std::move(bytes);
    return result;
}

struct ToolRun
{
    QString program;
    QStringList arguments;
};

struct ToolResult
{
    bool finished = false; // started and exited normally
    int exitCode = -1;
    QByteArray output;
    QByteArray errors;
};

// Runs the commands, a few at a time, and returns their results in order.
// Test support may block: it never runs on a GUI thread.
std::vector<ToolResult> runAll(const std::vector<ToolRun>& runs, int atOnce)
{
    std::vector<ToolResult> results(runs.size());
    std::deque<std::pair<size_t, std::unique_ptr<QProcess>>> running;
    const auto finishFront = [&] {
        auto& [index, process] = running.front();
        ToolResult& result = results[index];
        if (!process->waitForFinished(toolTimeoutMs) && process->state() != QProcess::NotRunning) {
            process->kill();
            process->waitForFinished(-1);
            result.errors = "killed after " + QByteArray::number(toolTimeoutMs / 1000) + " s\n";
        }
        result.finished =
            process->error() == QProcess::UnknownError && process->exitStatus() == QProcess::NormalExit;
        result.exitCode = process->exitCode();
        result.output = process->readAllStandardOutput();
        result.errors += process->readAllStandardError();
        if (process->error() == QProcess::FailedToStart)
            result.errors += "could not start " + runs[index].program.toUtf8();
        running.pop_front();
    };
    for (size_t index = 0; index < runs.size(); ++index) {
        if (static_cast<int>(running.size()) >= atOnce)
            finishFront();
        auto process = std::make_unique<QProcess>();
        process->setStandardInputFile(QProcess::nullDevice());
        process->start(runs[index].program, runs[index].arguments);
        running.emplace_back(index, std::move(process));
    }
    while (!running.empty())
        finishFront();
    return results;
}

std::string failureText(const QString& what, const ToolResult& result)
{
    return QStringLiteral("%1 failed (exit code %2): %3")
        .arg(what)
        .arg(result.exitCode)
        .arg(QString::fromUtf8(result.errors.right(2000)).trimmed())
        .toStdString();
}

// Makes the templates for the given essences with as few ffmpeg processes as possible.
QHash<QString, TemplatePtr> generateTemplates(const std::vector<Essence>& essences)
{
    const QString ffmpeg = ffmpegPath();
    if (ffmpeg.isEmpty())
        throw Error("ffmpeg was not found where Tolvane looks for it or on PATH");
    QTemporaryDir folder;
    if (!folder.isValid())
        throw Error("could not create a temporary folder for ffmpeg's output");

    // ffmpeg 5.1 never finishes when a video output follows an audio output in one
    // run, nor always when a run reads many video sources, so audio templates and
    // those of each video source are made by separate runs.
    std::vector<std::vector<size_t>> batches;
    QStringList groups{QString()};
    for (const Essence& essence : essences)
        if (essence.video && !groups.contains(essence.source()))
            groups.append(essence.source());
    for (const QString& group : std::as_const(groups)) {
        batches.emplace_back();
        for (size_t i = 0; i < essences.size(); ++i) {
            if ((essences[i].video ? essences[i].source() : QString()) != group)
                continue;
            if (batches.back().size() == outputsPerFfmpegRun)
                batches.emplace_back();
            batches.back().push_back(i);
        }
    }
    std::vector<ToolRun> runs;
    for (const std::vector<size_t>& batch : batches) {
        if (batch.empty())
            continue;
        QStringList inputs;
        QStringList arguments{QStringLiteral("-nostdin"), QStringLiteral("-hide_banner"),
                              QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y")};
        QStringList outputs;
        for (const size_t i : batch) {
            const QString source = essences[i].source();
            if (!inputs.contains(source)) {
                inputs.append(source);
                arguments << QStringLiteral("-f") << QStringLiteral("lavfi") << QStringLiteral("-i")
                          << source;
            }
            outputs << essences[i].outputArguments(static_cast<int>(inputs.indexOf(source)))
                    << folder.filePath(QStringLiteral("%1.mxf").arg(i));
        }
        runs.push_back({ffmpeg, arguments + outputs});
    }
    for (const ToolResult& result : runAll(runs, ffmpegRunsAtOnce))
        if (!result.finished || result.exitCode != 0)
            throw Error(failureText(QStringLiteral("ffmpeg"), result));

    QHash<QString, TemplatePtr> templates;
    for (size_t i = 0; i < essences.size(); ++i) {
        QFile file(folder.filePath(QStringLiteral("%1.mxf").arg(i)));
        if (!file.open(QIODevice::ReadOnly))
            throw Error("ffmpeg wrote no file for " + essences[i].key().toStdString());
        templates.insert(essences[i].key(),
                         std::make_shared<const Template>(makeTemplate(file.readAll(), essences[i].key())));
    }
    return templates;
}

// Templates made earlier in this process.
class TemplateCache
{
public:
    // The templates for all the essences, making those not yet known.
    QHash<QString, TemplatePtr> templatesFor(const std::vector<Essence>& essences)
    {
        QHash<QString, TemplatePtr> found;
        std::vector<Essence> missing;
        {
            const QMutexLocker lock(&mutex_);
            for (const Essence& essence : essences) {
                const QString key = essence.key();
                if (found.contains(key))
                    continue;
                if (const auto known = templates_.constFind(key); known != templates_.cend()) {
                    found.insert(key, *known);
                } else {
                    found.insert(key, nullptr);
                    missing.push_back(essence);
                }
            }
        }
        if (missing.empty())
            return found;
        const QHash<QString, TemplatePtr> made = generateTemplates(missing);
        const QMutexLocker lock(&mutex_);
        for (auto it = made.cbegin(); it != made.cend(); ++it) {
            found.insert(it.key(), it.value());
            if (bytes_ + it.value()->bytes.size() > templateCacheLimit) {
                templates_.clear();
                bytes_ = 0;
            }
            if (!templates_.contains(it.key())) {
                templates_.insert(it.key(), it.value());
                bytes_ += it.value()->bytes.size();
            }
        }
        return found;
    }

private:
    QMutex mutex_;
    QHash<QString, TemplatePtr> templates_;
    qsizetype bytes_ = 0;
};

TemplateCache& templateCache()
{
    static TemplateCache cache;
    return cache;
}

// A track of a clip's other file, which a camera's material package lists too.
struct SiblingTrack
{
    bool picture = false;
    qint32 rateNumerator = 0;
    qint32 rateDenominator = 1;
    qint64 duration = 0;
    QByteArray filePackageUmid;
};

// One essence file to write.
struct EssenceFile
{
    Essence essence;
    QString path;
    QByteArray materialUmid;
    QByteArray fileUmid;
    bool verify = true;
    // Every file of the clip in order (video, then audio), this one included as nothing.
    std::vector<std::optional<SiblingTrack>> clipTracks;
};

// --- Camera-style header metadata ---

QByteArray bigEndianBytes(quint64 value, int size)
{
    QByteArray bytes(size, '\0');
    for (int i = size - 1; i >= 0; --i, value >>= 8)
        bytes[i] = static_cast<char>(value & 0xFF);
    return bytes;
}

quint64 readBigEndian(const QByteArray& bytes, qsizetype at, int size)
{
    quint64 value = 0;
    for (int i = 0; i < size; ++i)
        value = (value << 8) | static_cast<quint8>(bytes[at + i]);
    return value;
}

struct KlvSpan
{
    qsizetype start = 0;
    qsizetype valueStart = 0;
    qsizetype end = 0;
};

KlvSpan klvSpan(const QByteArray& bytes, qsizetype at)
{
    if (at + 17 > bytes.size())
        throw Error("an MXF triplet runs past the end of ffmpeg's file");
    qsizetype position = at + 16;
    const auto first = static_cast<quint8>(bytes[position++]);
    quint64 length = first;
    if (first & 0x80) {
        length = readBigEndian(bytes, position, first & 0x7F);
        position += first & 0x7F;
    }
    const KlvSpan span{at, position, position + static_cast<qsizetype>(length)};
    if (span.end > bytes.size())
        throw Error("an MXF triplet runs past the end of ffmpeg's file");
    return span;
}

QByteArray klvBytes(const QByteArray& key, const QByteArray& value)
{
    return key + QByteArray(1, char(0x83)) + bigEndianBytes(static_cast<quint64>(value.size()), 3) + value;
}

QByteArray setKey(quint8 kind)
{
    return QByteArray::fromHex("060e2b34025301010d010101010100").left(14) + QByteArray(1, char(kind)) +
           QByteArray(1, '\0');
}

QByteArray localItem(quint16 tag, const QByteArray& value)
{
    return bigEndianBytes(tag, 2) + bigEndianBytes(static_cast<quint64>(value.size()), 2) + value;
}

QByteArray referenceBatch(const QList<QByteArray>& references)
{
    QByteArray value = bigEndianBytes(static_cast<quint64>(references.size()), 4) + bigEndianBytes(16, 4);
    for (const QByteArray& reference : references)
        value += reference;
    return value;
}

bool isPartitionKey(const QByteArray& bytes, qsizetype at)
{
    static const QByteArray prefix = QByteArray::fromHex("060e2b34020501010d01020101");
    return bytes.mid(at, 13) == prefix && static_cast<quint8>(bytes[at + 13]) >= 0x02 &&
           static_cast<quint8>(bytes[at + 13]) <= 0x04;
}

bool isRandomIndexKey(const QByteArray& bytes, qsizetype at)
{
    return bytes.mid(at, 16) == QByteArray::fromHex("060e2b34020501010d01020101110100");
}

void shiftOffset(QByteArray& bytes, qsizetype at, qint64 from, qint64 delta)
{
    const auto offset = static_cast<qint64>(readBigEndian(bytes, at, 8));
    if (offset >= from)
        bytes.replace(at, 8, bigEndianBytes(static_cast<quint64>(offset + delta), 8));
}

// Rewrites ffmpeg's OP-Atom header so its material package lists every track
// of the clip as a camera's does: the sets of the sibling tracks go in after
// the existing ones, and every partition and the random index pack after the
// header are moved by the bytes this adds.
QByteArray cameraStyleHeader(const QByteArray& bytes, const EssenceFile& file)
{
    const KlvSpan pack = klvSpan(bytes, 0);
    if (!isPartitionKey(bytes, 0))
        throw Error("ffmpeg's file does not begin with a header partition");
    const auto headerByteCount = static_cast<qint64>(readBigEndian(bytes, pack.valueStart + 32, 8));
    const quint64 kagSize = readBigEndian(bytes, pack.valueStart + 4, 4);
    qsizetype primer = pack.end;
    static const QByteArray fillPrefix = QByteArray::fromHex("060e2b3401010102030102100100");
    while (bytes.mid(primer, 7) == fillPrefix.left(7) && bytes.mid(primer + 8, 6) == fillPrefix.mid(8))
        primer = klvSpan(bytes, primer).end;
    const qint64 headerEnd = primer + headerByteCount;

    QList<QByteArray> ownTracks; // the material package's tracks as ffmpeg wrote them: timecode, essence
    qsizetype materialAt = -1;
    QList<KlvSpan> spans;
    for (qsizetype at = primer; at < headerEnd;) {
        const KlvSpan span = klvSpan(bytes, at);
        spans.append(span);
        if (bytes.mid(at, 13) == setKey(0).left(13) && static_cast<quint8>(bytes[at + 13]) == 0x01 &&
            static_cast<quint8>(bytes[at + 14]) == 0x36)
            materialAt = spans.size() - 1;
        at = span.end;
    }
    while (!spans.isEmpty() && bytes.mid(spans.last().start, 7) == fillPrefix.left(7) &&
           bytes.mid(spans.last().start + 8, 6) == fillPrefix.mid(8))
        spans.removeLast();
    if (materialAt < 0 || materialAt >= spans.size())
        throw Error("ffmpeg's header has no material package");

    // The material package with its track list in clip order.
    const KlvSpan material = spans[materialAt];
    QByteArray materialValue;
    for (qsizetype at = material.valueStart; at < material.end;) {
        const auto tag = static_cast<quint16>(readBigEndian(bytes, at, 2));
        const auto length = static_cast<qsizetype>(readBigEndian(bytes, at + 2, 2));
        const QByteArray value = bytes.mid(at + 4, length);
        if (tag == 0x4403) {
            for (qsizetype i = 8; i + 16 <= value.size(); i += 16)
                ownTracks.append(value.mid(i, 16));
        } else {
            materialValue += localItem(tag, value);
        }
        at += 4 + length;
    }
    if (ownTracks.size() != 2)
        throw Error("ffmpeg's material package does not hold a timecode and an essence track");

    QByteArray added;
    QList<QByteArray> tracks{ownTracks[0]};
    quint32 trackID = 3;
    int index = 0;
    static const QByteArray pictureDefinition = QByteArray::fromHex("060e2b34040101010103020101000000");
    static const QByteArray soundDefinition = QByteArray::fromHex("060e2b34040101010103020202000000");
    for (const std::optional<SiblingTrack>& sibling : file.clipTracks) {
        if (!sibling) {
            tracks.append(ownTracks[1]);
            continue;
        }
        const auto uid = [&](int part) {
            return QCryptographicHash::hash(file.fileUmid + QByteArray::number(index) +
                                                QByteArray::number(part),
                                            QCryptographicHash::Sha256)
                .left(16);
        };
        const QByteArray trackUid = uid(0), sequenceUid = uid(1), clipUid = uid(2);
        ++index;
        const QByteArray& definition = sibling->picture ? pictureDefinition : soundDefinition;
        const QByteArray duration = bigEndianBytes(static_cast<quint64>(sibling->duration), 8);
        added += klvBytes(
            setKey(0x3B),
            localItem(0x3C0A, trackUid) + localItem(0x4801, bigEndianBytes(trackID++, 4)) +
                localItem(0x4804, bigEndianBytes(0, 4)) +
                localItem(0x4B01, bigEndianBytes(static_cast<quint32>(sibling->rateNumerator), 4) +
                                      bigEndianBytes(static_cast<quint32>(sibling->rateDenominator), 4)) +
                localItem(0x4B02, bigEndianBytes(0, 8)) + localItem(0x4803, sequenceUid));
        added += klvBytes(setKey(0x0F), localItem(0x3C0A, sequenceUid) + localItem(0x0201, definition) +
                                            localItem(0x0202, duration) +
                                            localItem(0x1001, referenceBatch({clipUid})));
        added +=
            klvBytes(setKey(0x11), localItem(0x3C0A, clipUid) + localItem(0x0201, definition) +
                                       localItem(0x0202, duration) + localItem(0x1201, bigEndianBytes(0, 8)) +
                                       localItem(0x1101, sibling->filePackageUmid) +
                                       localItem(0x1102, bigEndianBytes(2, 4)));
        tracks.append(trackUid);
    }

    QByteArray metadata;
    for (qsizetype i = 0; i < spans.size(); ++i) {
        if (i == materialAt)
            metadata += klvBytes(bytes.mid(material.start, 16),
                                 materialValue + localItem(0x4403, referenceBatch(tracks)));
        else
            metadata += bytes.mid(spans[i].start, spans[i].end - spans[i].start);
    }
    metadata += added;
    // Fill up to the grid the partitions keep to.
    const qint64 kag = kagSize > 1 ? static_cast<qint64>(kagSize) : 1;
    const qint64 fillValue = (kag - (primer + metadata.size() + 20) % kag) % kag;
    metadata +=
        klvBytes(QByteArray::fromHex("060e2b34010101020301021001000000"), QByteArray(fillValue, '\0'));
    const qint64 delta = primer + metadata.size() - headerEnd;

    QByteArray header = bytes.left(primer);
    header.replace(pack.valueStart + 32, 8, bigEndianBytes(static_cast<quint64>(metadata.size()), 8));
    shiftOffset(header, pack.valueStart + 24, headerEnd, delta);
    QByteArray rest = bytes.mid(headerEnd);
    for (qsizetype at = 0; at < rest.size();) {
        const KlvSpan span = klvSpan(rest, at);
        if (isPartitionKey(rest, at)) {
            for (const int field : {8, 16, 24})
                shiftOffset(rest, span.valueStart + field, headerEnd, delta);
        } else if (isRandomIndexKey(rest, at)) {
            for (qsizetype entry = span.valueStart + 4; entry + 8 <= span.end - 4; entry += 12)
                shiftOffset(rest, entry, headerEnd, delta);
        }
        at = span.end;
    }
    return header + metadata + rest;
}

QByteArray filePackageUmid(const QByteArray& materialUmid, int fileIndex)
{
    const QByteArray seed = materialUmid + QByteArray::number(fileIndex);
    return materialUmid.left(13) +
           QCryptographicHash::hash(seed, QCryptographicHash::Sha256).left(umidSize - 13);
}

void writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size() ||
        !file.flush())
        throw Error("could not write " + path.toStdString() + ": " + file.errorString().toStdString());
}

void writeEssence(const EssenceFile& file, const Template& source)
{
    QByteArray bytes = source.bytes;
    for (const qsizetype at : source.materialOffsets)
        bytes.replace(at, umidSize, file.materialUmid);
    for (const qsizetype at : source.fileOffsets)
        bytes.replace(at, umidSize, file.fileUmid);
    writeBytes(file.path, file.clipTracks.empty() ? bytes : cameraStyleHeader(bytes, file));
}

void verifyUmids(const std::vector<EssenceFile>& files)
{
    std::vector<const EssenceFile*> checked;
    std::vector<ToolRun> runs;
    const QString ffprobe = ffprobePath();
    if (ffprobe.isEmpty())
        throw Error("ffprobe was not found where Tolvane looks for it or on PATH");
    for (const EssenceFile& file : files) {
        if (!file.verify)
            continue;
        checked.push_back(&file);
        runs.push_back({ffprobe,
                        {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
                         QStringLiteral("format_tags=material_package_umid"), QStringLiteral("-of"),
                         QStringLiteral("default=nw=1:nk=1"), file.path}});
    }
    const std::vector<ToolResult> results = runAll(runs, probesAtOnce);
    for (size_t i = 0; i < results.size(); ++i) {
        if (!results[i].finished || results[i].exitCode != 0)
            throw Error(failureText(QStringLiteral("ffprobe of ") + checked[i]->path, results[i]));
        const QString expected =
            QStringLiteral("0x") + QString::fromLatin1(checked[i]->materialUmid.toHex().toUpper());
        const QString read = QString::fromUtf8(results[i].output).trimmed();
        if (read != expected)
            throw Error(QStringLiteral("the UMID did not take in %1: ffprobe reads %2, expected %3")
                            .arg(checked[i]->path, read, expected)
                            .toStdString());
    }
}

QString makeFolder(const QString& parent, const QString& relative)
{
    const QString path = relative.isEmpty() ? parent : QDir(parent).filePath(relative);
    if (!QDir().mkpath(path))
        throw Error("could not create the folder " + path.toStdString());
    return QDir::cleanPath(path);
}

QString escaped(const QString& text)
{
    return text.toHtmlEscaped();
}

QString writtenId(const QString& umid, IdForm form)
{
    const QString digits = normalizedUmid(umid);
    switch (form) {
    case IdForm::LowerCase:
        return digits.toLower();
    case IdForm::HexPrefix:
        return QStringLiteral("0x") + digits;
    case IdForm::UpperCase:
        break;
    }
    return digits;
}

QString mxfTimecode(const ClipSpec& clip)
{
    QString timecode = clip.startTimecode;
    const qsizetype lastColon = timecode.lastIndexOf(QLatin1Char(':'));
    if (clip.dropFrame && lastColon >= 0)
        timecode[lastColon] = QLatin1Char(';');
    return timecode;
}

Essence audioEssence(const ClipSpec& clip, int channel)
{
    Essence essence;
    essence.video = false;
    essence.frames = clip.audioFrames.value_or(clip.frames);
    essence.rate = frameRateNumerator(clip.codec);
    essence.timecode = mxfTimecode(clip);
    essence.creationTime = clip.mxfCreationTime;
    essence.bitsPerSample = clip.bitsPerSample;
    essence.channel = channel;
    essence.silent = clip.silentAudio;
    return essence;
}

// Whether ffprobe reads back the file of a clip (audio index, or -1 for the video).
bool verified(Verification verification, size_t clip, int audio)
{
    switch (verification) {
    case Verification::VideoAndFirstAudio:
        return audio <= 0;
    case Verification::FirstClip:
        return clip == 0;
    case Verification::EveryFile:
        break;
    }
    return true;
}

void checkClip(const ClipSpec& clip)
{
    if (clip.clipName.isEmpty())
        throw Error("a clip needs a name");
    if (clip.frames < 1)
        throw Error("a clip needs at least one frame");
    if (clip.audioFrames && *clip.audioFrames < 1)
        throw Error("a clip's audio needs at least one frame");
    if (clip.audioCount < 0 || clip.audioCount > maxAudioFiles)
        throw Error("a clip has 0 to 16 audio files");
    if (clip.bitsPerSample != 16 && clip.bitsPerSample != 24)
        throw Error("audio has 16 or 24 bits per sample");
}

// Where a card's files go; `clip` is empty for a loose card, which has no XML.
struct CardFolders
{
    QString video;
    QString audio;
    QString clip;
    // Where ICON is made when a clip asks for its bitmap; empty for a loose card.
    QString contents;
};

// A 24-bit BMP of 80×60 pixels in one colour, as small as the bitmaps P2
// cameras write into ICON, with a band whose height tells clips apart.
QByteArray iconBitmap(const QString& clipName)
{
    constexpr int width = 80;
    constexpr int height = 60;
    constexpr int rowBytes = width * 3; // already a multiple of four
    constexpr int pixelBytes = rowBytes * height;
    const auto hash = static_cast<uint>(qHash(clipName));
    const char blue = static_cast<char>(hash & 0xff);
    const char green = static_cast<char>((hash >> 8) & 0xff);
    const char red = static_cast<char>((hash >> 16) & 0xff);
    const int band = 10 + static_cast<int>(hash % 40);
    QByteArray bytes;
    const auto put = [&bytes](quint32 value, int size) {
        for (int i = 0; i < size; ++i)
            bytes.append(static_cast<char>((value >> (8 * i)) & 0xff));
    };
    bytes.append("BM");
    put(54 + pixelBytes, 4);
    put(0, 4);
    put(54, 4);
    put(40, 4);
    put(width, 4);
    put(height, 4);
    put(1, 2);
    put(24, 2);
    put(0, 4);
    put(pixelBytes, 4);
    put(2835, 4);
    put(2835, 4);
    put(0, 4);
    put(0, 4);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const bool inBand = y < band;
            bytes.append(inBand ? char(0xe0) : blue);
            bytes.append(inBand ? char(0xe0) : green);
            bytes.append(inBand ? char(0xe0) : red);
        }
    return bytes;
}

CardFolders makeCardFolders(const CardSpec& plan, WrittenCard& card)
{
    if (plan.loose) {
        card.contentsPath = card.rootPath;
        return {card.rootPath, card.rootPath, {}, {}};
    }
    card.contentsPath =
        plan.withContentsFolder ? makeFolder(card.rootPath, plan.contentsFolderName) : card.rootPath;
    for (const QString& extra : plan.extraFolders)
        makeFolder(card.contentsPath, extra);
    return {makeFolder(card.contentsPath, plan.videoFolderName),
            makeFolder(card.contentsPath, plan.audioFolderName),
            makeFolder(card.contentsPath, plan.clipFolderName), card.contentsPath};
}

// Writes the clip's XML and adds its essence files, which are written later from templates.
WrittenClip writeClip(const ClipSpec& clip, const CardFolders& folders, Verification verification,
                      size_t index, std::vector<EssenceFile>& files)
{
    WrittenClip written;
    written.umid = clipUmid(clip);
    const QByteArray material = umidBytes(written.umid);
    const QString extension = QLatin1Char('.') + clip.essenceExtension;

    const size_t firstFile = files.size();
    EssenceFile video;
    // Both DVCPRO HD 1080 kinds are the same essence.
    video.essence.codec = clip.codec == VideoCodec::DVCProHD1080i ? VideoCodec::DVCProHD1080 : clip.codec;
    video.essence.rate = frameRateNumerator(clip.codec);
    video.essence.colour = clip.statedColour;
    video.essence.frames = clip.frames;
    video.essence.timecode = mxfTimecode(clip);
    video.essence.creationTime = clip.mxfCreationTime;
    video.path = QDir(makeFolder(folders.video, clip.subfolder)).filePath(clip.clipName + extension);
    video.materialUmid = material;
    video.fileUmid = filePackageUmid(material, 0);
    video.verify = verified(verification, index, -1);
    written.videoPath = video.path;
    files.push_back(video);

    const QString audioFolder = clip.audioCount > 0 ? makeFolder(folders.audio, clip.subfolder) : QString();
    for (int i = 0; i < clip.audioCount; ++i) {
        EssenceFile audio;
        audio.essence = audioEssence(clip, i);
        audio.path =
            QDir(audioFolder)
                .filePath(clip.clipName + QStringLiteral("%1").arg(i, 2, 10, QLatin1Char('0')) + extension);
        audio.materialUmid = material;
        for (const auto& [overridden, umid] : clip.audioUmidOverrides)
            if (overridden == i)
                audio.materialUmid = umidBytes(umid);
        audio.fileUmid = filePackageUmid(audio.materialUmid, i + 1);
        audio.verify = verified(verification, index, i);
        written.audioPaths.append(audio.path);
        files.push_back(audio);
    }

    // Each file's material package lists the tracks of the clip's files that share its UMID.
    for (size_t i = firstFile; i < files.size(); ++i) {
        for (size_t j = firstFile; j < files.size(); ++j) {
            if (files[j].materialUmid != files[i].materialUmid)
                continue;
            if (i == j) {
                files[i].clipTracks.push_back(std::nullopt);
                continue;
            }
            const Essence& other = files[j].essence;
            const qint64 samples = std::llround(other.frames * sampleRate * 1001.0 / other.rate);
            files[i].clipTracks.push_back(
                SiblingTrack{other.video, other.video ? other.rate : sampleRate, other.video ? 1001 : 1,
                             other.video ? other.frames : samples, files[j].fileUmid});
        }
    }

    if (clip.writeXml && !folders.clip.isEmpty()) {
        const QString name =
            clip.xmlFileName.isEmpty() ? clip.clipName + QStringLiteral(".XML") : clip.xmlFileName;
        written.xmlPath = QDir(makeFolder(folders.clip, clip.subfolder)).filePath(name);
        writeBytes(written.xmlPath, clipXml(clip).toUtf8());
    }
    if (clip.writeIcon && !folders.contents.isEmpty()) {
        written.iconPath = QDir(makeFolder(folders.contents, QStringLiteral("ICON")))
                               .filePath(clip.clipName + QStringLiteral(".BMP"));
        writeBytes(written.iconPath, iconBitmap(clip.clipName));
    }
    return written;
}

} // namespace

int frameRateNumerator(VideoCodec codec)
{
    if (codec == VideoCodec::DV25_576i)
        return 25025;
    return codec == VideoCodec::AVCIntra50_720p || codec == VideoCodec::DVCProHD720p ? 60000 : 30000;
}

QString umidFor(int n)
{
    return hashedUmid("Tolvane synthetic clip " + QByteArray::number(n));
}

ClipSpec clip(int n, int audioCount)
{
    ClipSpec plan;
    plan.clipName = QStringLiteral("%1AB").arg(n, 4, 10, QLatin1Char('0'));
    plan.umid = umidFor(n);
    plan.audioCount = audioCount;
    const QTime start = QTime(1, 0).addSecs((n - 1) * 10);
    plan.startTimecode = start.toString(QStringLiteral("HH:mm:ss")) + QStringLiteral(":00");
    plan.xmlStartTimecode = plan.startTimecode;
    const QDateTime created =
        QDateTime(QDate(2026, 7, 1), QTime(10, 0), QTimeZone(-5 * 3600)).addSecs(qint64(n - 1) * 60);
    plan.creationDate = created.toString(Qt::ISODate);
    plan.shootStartDate = plan.creationDate;
    plan.lastUpdateDate = created.addSecs(5 * 60).toString(Qt::ISODate);
    plan.mxfCreationTime = created.toUTC().toString(Qt::ISODate);
    return plan;
}

std::vector<ClipSpec> spannedShot(int firstN, const QStringList& names, int frames, int audioCount)
{
    std::vector<ClipSpec> pieces;
    for (qsizetype i = 0; i < names.size(); ++i) {
        ClipSpec piece = clip(firstN + static_cast<int>(i), audioCount);
        piece.clipName = names[i];
        piece.frames = frames;
        // 30 timecode frames a second, as the essence's 29.97 non-drop timecode counts.
        const qint64 start = qint64(firstN - 1) * 10 * 30 + i * frames;
        piece.startTimecode = QStringLiteral("%1:%2:%3:%4")
                                  .arg(1 + start / (3600 * 30), 2, 10, QLatin1Char('0'))
                                  .arg(start / (60 * 30) % 60, 2, 10, QLatin1Char('0'))
                                  .arg(start / 30 % 60, 2, 10, QLatin1Char('0'))
                                  .arg(start % 30, 2, 10, QLatin1Char('0'));
        piece.xmlStartTimecode = piece.startTimecode;
        piece.offsetInShot = i * frames;
        piece.globalShotID = hashedUmid("Tolvane synthetic shot " + names.first().toUtf8());
        pieces.push_back(piece);
    }
    const auto connection = [&](size_t i) { return Connection{pieces[i].clipName, pieces[i].umid}; };
    for (size_t i = 0; i < pieces.size(); ++i) {
        pieces[i].top = connection(0);
        if (i > 0)
            pieces[i].previous = connection(i - 1);
        if (i + 1 < pieces.size())
            pieces[i].next = connection(i + 1);
    }
    return pieces;
}

QString ffmpegPath()
{
    return findTool(QStringLiteral("ffmpeg"));
}

QString ffprobePath()
{
    return findTool(QStringLiteral("ffprobe"));
}

QString clipXml(const ClipSpec& clip)
{
    const auto element = [](int depth, const QString& name, const QString& value) {
        return QString(depth, QLatin1Char('\t')) + QStringLiteral("<%1>%2</%1>\n").arg(name, escaped(value));
    };
    const bool hd = clip.codec != VideoCodec::DV25 && clip.codec != VideoCodec::DV25_576i;
    const QString frameRate = clip.frameRate.value_or(
        clip.codec == VideoCodec::DV25 || clip.codec == VideoCodec::DVCProHD1080 ? QStringLiteral("29.97p")
        : clip.codec == VideoCodec::DV25_576i                                    ? QStringLiteral("50i")
        : frameRateNumerator(clip.codec) == 60000                                ? QStringLiteral("59.94p")
                                                                                 : QStringLiteral("59.94i"));
    QString codec = QStringLiteral("DV25_411");
    QString codecClass = QStringLiteral("25");
    if (clip.codec == VideoCodec::AVCIntra100_1080i) {
        codec = QStringLiteral("AVC-I_1080/") + frameRate;
        codecClass = QStringLiteral("100");
    } else if (clip.codec == VideoCodec::AVCIntra50_720p) {
        codec = QStringLiteral("AVC-I_720/") + frameRate;
        codecClass = QStringLiteral("50");
    } else if (clip.codec == VideoCodec::DVCProHD720p) {
        codec = QStringLiteral("DV100_720/") + frameRate;
        codecClass = QStringLiteral("100");
    } else if (hd) {
        codec = QStringLiteral("DV100_1080/") + frameRate;
        codecClass = QStringLiteral("100");
    }
    QString xml = QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n"
                                 "<P2Main xmlns=\"urn:schemas-Professional-Plug-in:P2:ClipMetadata:v3.1\">\n"
                                 "\t<ClipContent>\n");
    xml += element(2, QStringLiteral("ClipName"), clip.clipName);
    if (clip.xmlHasGlobalClipID)
        xml += element(2, QStringLiteral("GlobalClipID"), writtenId(clipUmid(clip), clip.idForm));
    xml += element(2, QStringLiteral("Duration"), QString::number(clip.frames));
    // Frames of 25 a second are written as cameras write them.
    xml += element(2, QStringLiteral("EditUnit"),
                   clip.codec == VideoCodec::DV25_576i
                       ? QStringLiteral("1/25")
                       : QStringLiteral("1001/%1").arg(frameRateNumerator(clip.codec)));
    QString relation;
    if (clip.top || clip.previous || clip.next || clip.offsetInShot || !clip.globalShotID.isEmpty()) {
        relation += QStringLiteral("\t\t<Relation>\n");
        if (clip.offsetInShot)
            relation += element(3, QStringLiteral("OffsetInShot"), QString::number(*clip.offsetInShot));
        if (!clip.globalShotID.isEmpty())
            relation += element(3, QStringLiteral("GlobalShotID"), clip.globalShotID);
        relation += QStringLiteral("\t\t\t<Connection>\n");
        const auto connection = [&](const QString& name, const std::optional<Connection>& neighbour) {
            if (!neighbour)
                return;
            relation += QStringLiteral("\t\t\t\t<%1>\n").arg(name);
            relation += element(5, QStringLiteral("ClipName"), neighbour->clipName);
            if (!neighbour->globalClipID.isEmpty())
                relation += element(5, QStringLiteral("GlobalClipID"),
                                    writtenId(neighbour->globalClipID, clip.idForm));
            relation += QStringLiteral("\t\t\t\t</%1>\n").arg(name);
        };
        connection(QStringLiteral("Top"), clip.top);
        connection(QStringLiteral("Previous"), clip.previous);
        connection(QStringLiteral("Next"), clip.next);
        relation += QStringLiteral("\t\t\t</Connection>\n\t\t</Relation>\n");
    }
    if (clip.relationFirst)
        xml += relation;
    xml += QStringLiteral("\t\t<EssenceList>\n\t\t\t<Video ValidAudioFlag=\"false\">\n");
    xml += element(4, QStringLiteral("VideoFormat"), QStringLiteral("MXF"));
    xml += QStringLiteral("\t\t\t\t<Codec Class=\"%1\">%2</Codec>\n").arg(codecClass, escaped(codec));
    xml += QStringLiteral("\t\t\t\t<FrameRate DropFrameFlag=\"%1\">%2</FrameRate>\n")
               .arg(clip.dropFrame ? QStringLiteral("true") : QStringLiteral("false"), escaped(frameRate));
    if (clip.xmlStartTimecode)
        xml += element(4, QStringLiteral("StartTimecode"), *clip.xmlStartTimecode);
    xml += element(4, QStringLiteral("StartBinaryGroup"), QStringLiteral("00000000"));
    xml += element(4, QStringLiteral("AspectRatio"), hd ? QStringLiteral("16:9") : QStringLiteral("4:3"));
    xml += QStringLiteral("\t\t\t</Video>\n");
    for (int i = 0; i < clip.declaredAudioCount.value_or(clip.audioCount); ++i) {
        xml += QStringLiteral("\t\t\t<Audio>\n");
        xml += element(4, QStringLiteral("AudioFormat"), QStringLiteral("MXF"));
        xml += element(4, QStringLiteral("SamplingRate"), QString::number(sampleRate));
        xml += element(4, QStringLiteral("BitsPerSample"), QString::number(clip.bitsPerSample));
        xml += QStringLiteral("\t\t\t</Audio>\n");
    }
    xml += QStringLiteral("\t\t</EssenceList>\n");
    if (!clip.relationFirst)
        xml += relation;
    xml += QStringLiteral("\t\t<ClipMetadata>\n");
    xml += element(3, QStringLiteral("UserClipName"),
                   clip.userClipName.isEmpty() ? clip.clipName : clip.userClipName);
    xml += element(3, QStringLiteral("DataSource"), QStringLiteral("SHOOTING"));
    xml += QStringLiteral("\t\t\t<Access>\n");
    xml += element(4, QStringLiteral("Creator"), QStringLiteral("Tolvane"));
    if (clip.creationDate)
        xml += element(4, QStringLiteral("CreationDate"), *clip.creationDate);
    if (clip.lastUpdateDate)
        xml += element(4, QStringLiteral("LastUpdateDate"), *clip.lastUpdateDate);
    xml += QStringLiteral("\t\t\t</Access>\n\t\t\t<Device>\n");
    xml += element(4, QStringLiteral("Manufacturer"), QStringLiteral("Panasonic"));
    xml += element(4, QStringLiteral("ModelName"), clip.modelName);
    if (!clip.serialNumber.isEmpty())
        xml += element(4, QStringLiteral("SerialNo."), clip.serialNumber);
    xml += QStringLiteral("\t\t\t</Device>\n");
    if (clip.shootStartDate || !clip.shooter.isEmpty()) {
        xml += QStringLiteral("\t\t\t<Shoot>\n");
        if (!clip.shooter.isEmpty())
            xml += element(4, QStringLiteral("Shooter"), clip.shooter);
        if (clip.shootStartDate)
            xml += element(4, QStringLiteral("StartDate"), *clip.shootStartDate);
        xml += QStringLiteral("\t\t\t</Shoot>\n");
    }
    if (!clip.scene.isEmpty() || !clip.take.isEmpty()) {
        xml += QStringLiteral("\t\t\t<Scenario>\n");
        if (!clip.scene.isEmpty())
            xml += element(4, QStringLiteral("SceneNo."), clip.scene);
        if (!clip.take.isEmpty())
            xml += element(4, QStringLiteral("TakeNo."), clip.take);
        xml += QStringLiteral("\t\t\t</Scenario>\n");
    }
    if (!clip.memo.isEmpty()) {
        xml += QStringLiteral("\t\t\t<Memo>\n");
        xml += element(4, QStringLiteral("Offset"), QStringLiteral("0"));
        xml += element(4, QStringLiteral("Text"), clip.memo);
        xml += QStringLiteral("\t\t\t</Memo>\n");
    }
    xml += QStringLiteral("\t\t</ClipMetadata>\n\t</ClipContent>\n</P2Main>\n");
    return xml;
}

WrittenCard write(const CardSpec& plan, const QString& rootPath)
{
    for (const ClipSpec& clip : plan.clips)
        checkClip(clip);

    WrittenCard card;
    card.rootPath = makeFolder(QDir(rootPath).absolutePath(), {});
    const CardFolders folders = makeCardFolders(plan, card);
    std::vector<EssenceFile> files;
    for (const ClipSpec& clip : plan.clips)
        card.clips.push_back(writeClip(clip, folders, plan.verification, card.clips.size(), files));
    for (const OrphanAudio& orphan : plan.orphanAudio) {
        EssenceFile audio;
        audio.essence = audioEssence(ClipSpec{}, 0);
        audio.path = QDir(folders.audio).filePath(orphan.fileName);
        audio.materialUmid = umidBytes(orphan.umid);
        audio.fileUmid = filePackageUmid(audio.materialUmid, maxAudioFiles + 1);
        audio.verify = plan.verification != Verification::FirstClip;
        card.orphanAudioPaths.append(audio.path);
        files.push_back(audio);
    }

    std::vector<Essence> essences;
    for (const EssenceFile& file : files)
        essences.push_back(file.essence);
    const QHash<QString, TemplatePtr> templates = templateCache().templatesFor(essences);
    for (const EssenceFile& file : files)
        writeEssence(file, *templates.value(file.essence.key()));
    verifyUmids(files);
    return card;
}

} // namespace SyntheticCard
