#include "media/FFmpegError.h"

#include <csignal>
#include <cstring>

FFmpegError::FFmpegError(Kind kind, int code, QString output)
    : kind_(kind), code_(code), output_(std::move(output)), utf8Description_(description().toUtf8())
{
}

FFmpegError FFmpegError::processFailed(int code, const QString& output)
{
    return FFmpegError(Kind::processFailed, code, output);
}

FFmpegError FFmpegError::signalled(int signal, const QString& output)
{
    return FFmpegError(Kind::signalled, signal, output);
}

FFmpegError FFmpegError::binaryNotFound()
{
    return FFmpegError(Kind::binaryNotFound, 0, {});
}

FFmpegError FFmpegError::cancelled()
{
    return FFmpegError(Kind::cancelled, 0, {});
}

FFmpegError FFmpegError::outputMissingOrEmpty()
{
    return FFmpegError(Kind::outputMissingOrEmpty, 0, {});
}

FFmpegError FFmpegError::stalled()
{
    return FFmpegError(Kind::stalled, 0, {});
}

FFmpegError FFmpegError::truncated(qint64 frames, qint64 expected)
{
    FFmpegError error(Kind::truncated, 0, {});
    error.output_ = QString::number(frames);
    error.expected_ = expected;
    error.utf8Description_ = error.description().toUtf8();
    return error;
}

QString FFmpegError::description() const
{
    switch (kind_) {
    case Kind::processFailed:
        return QStringLiteral("ffmpeg exited with code %1").arg(code_) +
               (output_.isEmpty() ? QString() : QStringLiteral(": ") + output_);
    case Kind::signalled:
        // Nothing but the kernel and the user send SIGKILL; the kernel does
        // when memory runs out, far the likelier on a long encode.
        if (code_ == SIGKILL)
            return QStringLiteral("ffmpeg was killed (SIGKILL) — possibly out of memory");
        return QStringLiteral("ffmpeg was stopped by a signal (%1)").arg(signalName(code_)) +
               (output_.isEmpty() ? QString() : QStringLiteral(": ") + output_);
    case Kind::binaryNotFound:
        return binaryNotFoundDescription(Platform::current());
    case Kind::cancelled:
        return QStringLiteral("Cancelled");
    case Kind::outputMissingOrEmpty:
        return QStringLiteral("Output file was not created or is empty");
    case Kind::stalled:
        return QStringLiteral("ffmpeg stopped making progress");
    case Kind::truncated:
        return QStringLiteral(
                   "output has %1 of %2 frames — the VIDEO file looks truncated; the movie was kept, as "
                   "it is all that could be recovered")
            .arg(output_)
            .arg(expected_);
    }
    Q_UNREACHABLE();
}

QString FFmpegError::binaryNotFoundDescription(const PlatformFacts& platform)
{
    return QStringLiteral("ffmpeg was not found. Install it with: ") + platform.ffmpegInstallCommand;
}

QString FFmpegError::signalName(int signal)
{
    if (const char* abbreviation = sigabbrev_np(signal))
        return QStringLiteral("SIG") + QLatin1String(abbreviation);
    return QStringLiteral("signal %1").arg(signal);
}

PlatformError::PlatformError(QString description)
    : description_(std::move(description)), utf8Description_(description_.toUtf8())
{
}
