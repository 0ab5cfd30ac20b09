#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <QByteArray>
#include <QCoroTask>
#include <QList>
#include <QMetaObject>
#include <QObject>
#include <QString>
#include <QStringList>

// Cuts a byte stream into complete lines, each with its line feed, so that
// parsers never see half a line and a read that splits a character in two
// cannot make text look undecodable.
class LineSplitter
{
public:
    // A line that grows past this without a line feed is handed out as it is,
    // so a tool that floods one endless line cannot grow memory without bound.
    static constexpr qsizetype maxPendingBytes = 64 * 1024;

    QList<QByteArray> feed(const QByteArray& bytes);
    // What is left after the stream ended: the unterminated last line, if any.
    QList<QByteArray> finish();

private:
    QByteArray pending_;
};

// How a child process ended.
struct ProcessResult
{
    enum class Ending { failedToStart, exited, signalled };

    Ending ending = Ending::failedToStart;
    // The exit status, or the number of the signal that ended the child.
    int status = 0;
    // Why the child could not be started.
    QString errorString;
    // The child was ended because it ran past its time limit.
    bool timedOut = false;
    // Whatever the child wrote to a stream that had no line handler.
    QByteArray standardOutput;
    QByteArray standardError;

    bool succeeded() const { return ending == Ending::exited && status == 0; }
};

// Runs one tool: an explicit executable and argument vector, never a shell.
// Standard input is empty. Waiting suspends the calling coroutine until the
// child has ended, so no thread is held while a tool runs.
//
// Every child is started, read and reaped on one thread of its own, never on
// the caller's: starting a process copies the whole program's memory map,
// which on a busy machine can hold the window's event loop for a long moment.
// Output and the ending come back to the caller's thread through its event
// loop, in the order the child wrote them.
//
// Two shapes: a short query reads one stream whole after the child ended; a
// streaming run hands each stream's lines to a handler while the child runs,
// draining both pipes so the child never stalls on a full one.
class ProcessRunner
{
public:
    using LinesHandler = std::function<void(const QList<QByteArray>& lines)>;
    enum class Stream { standardOutput, standardError };

    // How much nicer than the program a tool runs (Unix scheduling priority).
    static constexpr int toolNiceness = 10;

    ProcessRunner(QString program, QStringList arguments);
    // A child still running is killed.
    ~ProcessRunner();
    ProcessRunner(const ProcessRunner&) = delete;
    ProcessRunner& operator=(const ProcessRunner&) = delete;

    // Runs a short-lived query and gives back `stream` whole; the other stream
    // is discarded so it can never reach the application's console. A query
    // still running after ToolLimits' query limit is ended.
    static QCoro::Task<ProcessResult> query(QString program, QStringList arguments, Stream stream);

    void setLinesHandler(Stream stream, LinesHandler handler);
    // Ends the child once it has run this long (none when zero or less).
    void setTimeLimit(std::chrono::milliseconds limit);

    // Starts the child and suspends until it has ended. Handlers are detached
    // before this returns. Only once per runner.
    QCoro::Task<ProcessResult> run();

    // Asks the child to end and kills it when it has not within ToolLimits'
    // grace. Safe from any thread while the runner is alive.
    void stop();

private:
    struct Channel;

    void discard(Stream stream);
    void receive(int stream, const QByteArray& bytes);

    QString program_;
    QStringList arguments_;
    bool discarded_[2] = {false, false};
    LinesHandler handlers_[2];
    LineSplitter splitters_[2];
    std::chrono::milliseconds timeLimit_{0};
    bool timedOut_ = false;
    std::shared_ptr<Channel> channel_;
    // Lives on the caller's thread and receives what the child's thread reports.
    QObject receiver_;
};
