#pragma once

#include "base/Platform.h"

#include <exception>
#include <QString>

// The failures of the media-tool layer that the conversion raises. The
// description is the one text the rest of the application shows or logs.
class FFmpegError : public std::exception
{
public:
    enum class Kind {
        processFailed,
        signalled,
        binaryNotFound,
        cancelled,
        outputMissingOrEmpty,
        stalled,
        truncated
    };

    // `output` is the tool's last error line (ToolText::lastErrorLine), if any.
    static FFmpegError processFailed(int code, const QString& output);
    // ffmpeg was ended by `signal` that the program did not send: the system's
    // out-of-memory killer, a crash, someone else's kill.
    static FFmpegError signalled(int signal, const QString& output);
    static FFmpegError binaryNotFound();
    static FFmpegError cancelled();
    static FFmpegError outputMissingOrEmpty();
    // ffmpeg was ended because its progress stood still past ToolLimits' limit.
    static FFmpegError stalled();
    // The movie holds `frames` of the `expected` frames of its source. The
    // movie is kept: it is all that could be recovered.
    static FFmpegError truncated(qint64 frames, qint64 expected);

    Kind kind() const { return kind_; }
    // Exit status or ending signal, and the last error line; only for processFailed and signalled.
    int code() const { return code_; }
    const QString& output() const { return output_; }

    QString description() const;
    // The description of binaryNotFound, with the install command of `platform`.
    static QString binaryNotFoundDescription(const PlatformFacts& platform);
    // A signal's name as the system spells it ("SIGKILL"), or its number.
    static QString signalName(int signal);
    const char* what() const noexcept override { return utf8Description_.constData(); }

private:
    FFmpegError(Kind kind, int code, QString output);

    Kind kind_;
    int code_;
    QString output_;
    qint64 expected_ = 0;
    QByteArray utf8Description_;
};

// An error the operating system reported while converting: a folder that
// cannot be created, a file that cannot be moved, a tool that cannot be started.
class PlatformError : public std::exception
{
public:
    explicit PlatformError(QString description);

    const QString& description() const { return description_; }
    const char* what() const noexcept override { return utf8Description_.constData(); }

private:
    QString description_;
    QByteArray utf8Description_;
};
