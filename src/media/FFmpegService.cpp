#include "media/FFmpegService.h"

#include "base/DisplayText.h"
#include "base/Platform.h"
#include "media/ProcessRunner.h"

#include <algorithm>
#include <QFileInfo>
#include <QMutexLocker>

namespace {

struct ToolPaths
{
    std::optional<QString> ffmpeg;
    std::optional<QString> ffprobe;
};

struct ToolDiscovery
{
    QMutex mutex;
    // The platform's fixed tool folders, in order. Nothing else is searched,
    // not even PATH.
    QStringList directories = Platform::current().toolFolders;
    // Empty until the first use searches.
    std::optional<ToolPaths> paths;
};

ToolDiscovery& discovery()
{
    static ToolDiscovery instance;
    return instance;
}

QStringList candidatePaths(const QStringList& directories, QLatin1String tool)
{
    QStringList paths;
    for (const QString& directory : directories)
        paths.append(directory + u'/' + tool);
    return paths;
}

std::optional<QString> firstExecutableFile(const QStringList& candidates)
{
    for (const QString& candidate : candidates) {
        const QFileInfo info(candidate);
        if (info.isFile() && info.isExecutable())
            return candidate;
    }
    return std::nullopt;
}

ToolPaths search(const QStringList& directories)
{
    return {firstExecutableFile(candidatePaths(directories, QLatin1String("ffmpeg"))),
            firstExecutableFile(candidatePaths(directories, QLatin1String("ffprobe")))};
}

ToolPaths resolvedPaths()
{
    ToolDiscovery& tools = discovery();
    const QMutexLocker locker(&tools.mutex);
    if (!tools.paths)
        tools.paths = search(tools.directories);
    return *tools.paths;
}

} // namespace

QStringList FFmpegService::candidateFFmpegPaths()
{
    const QMutexLocker locker(&discovery().mutex);
    return candidatePaths(discovery().directories, QLatin1String("ffmpeg"));
}

QStringList FFmpegService::candidateFFprobePaths()
{
    const QMutexLocker locker(&discovery().mutex);
    return candidatePaths(discovery().directories, QLatin1String("ffprobe"));
}

std::optional<QString> FFmpegService::resolvedFFmpegPath()
{
    return resolvedPaths().ffmpeg;
}

std::optional<QString> FFmpegService::resolvedFFprobePath()
{
    return resolvedPaths().ffprobe;
}

bool FFmpegService::recheckAvailability()
{
    ToolDiscovery& tools = discovery();
    const QMutexLocker locker(&tools.mutex);
    tools.paths = search(tools.directories);
    return tools.paths->ffmpeg.has_value();
}

void FFmpegService::setToolDirectoriesForTesting(const QStringList& directories)
{
    ToolDiscovery& tools = discovery();
    const QMutexLocker locker(&tools.mutex);
    tools.directories = directories.isEmpty() ? Platform::current().toolFolders : directories;
    tools.paths.reset();
}

QString FFmpegService::shellWord(const QString& argument)
{
    const auto plain = [](QChar c) {
        return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9') ||
               QStringView(u"_./:=,+@%-").contains(c);
    };
    if (!argument.isEmpty() && std::all_of(argument.begin(), argument.end(), plain))
        return argument;
    // Inside single quotes a POSIX shell takes everything literally; a single
    // quote itself closes the quotes, is escaped and opens them again. Control
    // characters are written as escapes, so a logged command never breaks a
    // report's lines or reaches a terminal raw.
    QString quoted = argument;
    quoted.replace(u'\'', QStringLiteral("'\\''"));
    return u'\'' + DisplayText::escaped(quoted) + u'\'';
}

QString FFmpegService::commandLineString(const QString& ffmpegPath, const QStringList& arguments)
{
    QStringList parts;
    for (const QString& part : QStringList{ffmpegPath} + arguments)
        parts.append(shellWord(part));
    return parts.join(u' ');
}

void FFmpegService::cancel()
{
    const QMutexLocker locker(&processLock_);
    cancelRequested_ = true;
    // Only queues the termination to the process's own thread, so the child is
    // signalled outside this lock. The runner stays alive while registered:
    // it is unregistered under this lock before it goes away.
    // A tool stuck in a hung reader may never heed the polite signal: it is
    // killed once ToolLimits' grace has passed.
    if (runningProcess_)
        runningProcess_->stop();
}

bool FFmpegService::cancelRequested() const
{
    const QMutexLocker locker(&processLock_);
    return cancelRequested_;
}

void FFmpegService::registerProcess(ProcessRunner* process)
{
    const QMutexLocker locker(&processLock_);
    runningProcess_ = process;
    cancelRequested_ = false;
}

bool FFmpegService::unregisterProcess()
{
    const QMutexLocker locker(&processLock_);
    runningProcess_ = nullptr;
    return cancelRequested_;
}
