#include "ui/ClipThumbnails.h"

#include "base/Workers.h"
#include "media/FFmpegService.h"
#include "media/ProbeCache.h"
#include "media/ProcessRunner.h"
#include "media/ToolArguments.h"

#include <algorithm>
#include <QCoroFuture>
#include <QCryptographicHash>
#include <QDir>
#include <QHash>
#include <QSaveFile>
#include <QtConcurrent>
#include <QTemporaryDir>
#include <QUrl>
#include <vector>

namespace {

const QString thumbnailKind = QStringLiteral("thumbnail");

// The session's frames, removed when the program ends.
const QTemporaryDir& frameFolder()
{
    static const QTemporaryDir folder;
    return folder;
}

struct Found
{
    QString key;
    QString imageURL;
};

// The requests' images that need no tool: ICON bitmaps and remembered frames.
std::pair<QList<Found>, QList<ClipThumbnails::Request>> lookUp(const QString& iconFolder,
                                                               const QList<ClipThumbnails::Request>& requests)
{
    QHash<QString, QString> icons;
    if (!iconFolder.isEmpty()) {
        const QDir folder(iconFolder);
        for (const QString& name : folder.entryList(QDir::Files))
            if (name.endsWith(QLatin1String(".bmp"), Qt::CaseInsensitive))
                icons.insert(name.chopped(4).toUpper(), folder.filePath(name));
    }
    QList<Found> found;
    QList<ClipThumbnails::Request> frames;
    for (const ClipThumbnails::Request& request : requests) {
        if (const QString icon = icons.value(request.name.toUpper()); !icon.isEmpty()) {
            found.append({request.key, QUrl::fromLocalFile(icon).toString()});
            continue;
        }
        if (request.videoURL.isEmpty())
            continue;
        const std::optional<ProbeCache::FileIdentity> identity = ProbeCache::identify(request.videoURL);
        if (!identity)
            continue;
        if (const std::optional<std::any> known =
                ProbeCache::derived(request.videoURL, *identity, thumbnailKind))
            found.append({request.key, std::any_cast<QString>(*known)});
        else
            frames.append(request);
    }
    return {found, frames};
}

// Writes a frame whole under a name of its own; the file's URL, or nothing.
std::optional<QString> storeFrame(const QString& videoURL, const QByteArray& png)
{
    const std::optional<ProbeCache::FileIdentity> identity = ProbeCache::identify(videoURL);
    if (!identity || !frameFolder().isValid())
        return std::nullopt;
    const QString name =
        QString::fromLatin1(QCryptographicHash::hash(videoURL.toUtf8(), QCryptographicHash::Sha1).toHex()) +
        QStringLiteral("-%1.png").arg(identity->modifiedNanoseconds);
    const QString path = QDir(frameFolder().path()).filePath(name);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(png) != png.size() || !file.commit())
        return std::nullopt;
    const QString url = QUrl::fromLocalFile(path).toString();
    ProbeCache::rememberDerived(videoURL, *identity, thumbnailKind, url);
    return url;
}

} // namespace

struct ClipThumbnails::State
{
    Ready ready;
    int generation = 0;
};

struct ClipThumbnails::Frame
{
    std::shared_ptr<State> owner;
    Request request;
    QString ffmpeg;
};

struct ClipThumbnails::Frames
{
    int running = 0;
    QList<Frame> waiting;
};

ClipThumbnails::Frames& ClipThumbnails::frames()
{
    static Frames queue;
    return queue;
}

int ClipThumbnails::framesInProgress()
{
    return static_cast<int>(frames().running);
}

ClipThumbnails::ClipThumbnails(Ready ready) : m_state(std::make_shared<State>())
{
    m_state->ready = std::move(ready);
}

ClipThumbnails::~ClipThumbnails()
{
    m_state->ready = nullptr;
    dropWaitingFrames();
}

void ClipThumbnails::dropWaitingFrames()
{
    frames().waiting.removeIf([this](const Frame& frame) { return frame.owner == m_state; });
}

double ClipThumbnails::frameSeconds(std::optional<double> durationSeconds)
{
    return durationSeconds && *durationSeconds > 0 ? *durationSeconds / 10 : 0;
}

void ClipThumbnails::request(const QString& iconFolder, QList<Request> requests)
{
    const int generation = ++m_state->generation;
    dropWaitingFrames();
    // Finished loads are let go; the running ones stay held until they end.
    std::erase_if(m_loads, [](const QCoro::Task<>& task) { return task.isReady(); });
    m_loads.push_back(load(m_state, generation, iconFolder, std::move(requests)));
}

QCoro::Task<> ClipThumbnails::load(std::shared_ptr<State> state, int generation, QString iconFolder,
                                   QList<Request> requests)
{
    const auto [found, toTake] = co_await QtConcurrent::run(Workers::pool(), lookUp, iconFolder, requests);
    if (state->generation != generation || !state->ready)
        co_return;
    for (const Found& image : found)
        state->ready(image.key, image.imageURL);
    // Without ffmpeg there is only the placeholder.
    const std::optional<QString> ffmpeg = FFmpegService::resolvedFFmpegPath();
    if (!ffmpeg)
        co_return;
    Frames& queue = frames();
    for (const Request& request : toTake)
        queue.waiting.append({state, request, *ffmpeg});
    // Workers already running, for this object or another, go on with these frames.
    const qsizetype wanted = std::min<qsizetype>(maxRunning - queue.running, queue.waiting.size());
    std::vector<QCoro::Task<>> workers;
    for (qsizetype i = 0; i < wanted; ++i) {
        ++queue.running;
        workers.push_back(takeFrames());
    }
    for (QCoro::Task<>& worker : workers)
        co_await worker;
}

QCoro::Task<> ClipThumbnails::takeFrames()
{
    Frames& queue = frames();
    // A worker takes whatever is waiting, whoever asked for it.
    while (!queue.waiting.isEmpty()) {
        const Frame frame = queue.waiting.takeFirst();
        const ProcessResult result = co_await ProcessRunner::query(
            frame.ffmpeg,
            ToolArguments::thumbnailFrame(frame.request.videoURL, frameSeconds(frame.request.durationSeconds),
                                          frameHeight),
            ProcessRunner::Stream::standardOutput);
        if (!result.succeeded() || result.standardOutput.isEmpty())
            continue;
        const QByteArray png = result.standardOutput;
        const QString videoURL = frame.request.videoURL;
        const std::optional<QString> url =
            co_await QtConcurrent::run(Workers::pool(), storeFrame, videoURL, png);
        if (url && frame.owner->ready)
            frame.owner->ready(frame.request.key, *url);
    }
    --queue.running;
}
