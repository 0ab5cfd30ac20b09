#include "media/ProcessRunner.h"

#include "media/ToolLimits.h"

#include <csignal>
#if defined(Q_OS_LINUX)
#include <sys/prctl.h>
#endif
#if defined(Q_OS_UNIX)
#include <unistd.h>
#endif

#include <coroutine>
#include <QTimer>

QList<QByteArray> LineSplitter::feed(const QByteArray& bytes)
{
    QList<QByteArray> lines;
    pending_ += bytes;
    qsizetype start = 0;
    for (qsizetype end = pending_.indexOf('\n'); end >= 0; end = pending_.indexOf('\n', start)) {
        lines.append(pending_.sliced(start, end + 1 - start));
        start = end + 1;
    }
    pending_.remove(0, start);
    if (pending_.size() > maxPendingBytes)
        lines.append(std::exchange(pending_, {}));
    return lines;
}

QList<QByteArray> LineSplitter::finish()
{
    if (pending_.isEmpty())
        return {};
    return {std::exchange(pending_, {})};
}

namespace {

// Suspends a coroutine until `process` changes state. QProcess declares
// stateChanged with a private tag argument that qCoro's signal awaiter would
// bind a reference to although Qt never passes one; this awaiter takes no
// argument of the signal at all. The coroutine resumes from the event loop,
// not inside the signal: a failed start emits errorOccurred after the state
// change, and a coroutine resumed at once could free the process first.
class StateChange
{
public:
    explicit StateChange(QProcess& process) : process_(process) {}

    bool await_ready() const noexcept { return false; }

    void await_suspend(std::coroutine_handle<> waiting)
    {
        connection_ = QObject::connect(&process_, &QProcess::stateChanged, &process_,
                                       [connection = &connection_, process = &process_, waiting] {
                                           QObject::disconnect(*connection);
                                           QTimer::singleShot(0, process, [waiting] { waiting.resume(); });
                                       });
    }

    void await_resume() const noexcept {}

private:
    QProcess& process_;
    QMetaObject::Connection connection_;
};

} // namespace

ProcessRunner::ProcessRunner(QString program, QStringList arguments)
    : program_(std::move(program)), arguments_(std::move(arguments))
{
    process_.setStandardInputFile(QProcess::nullDevice());
#if defined(Q_OS_UNIX)
    // A tool gets its own process group, so a Ctrl-C typed at tolvane-cli
    // reaches tolvane-cli alone, which then cancels the way the user asked
    // instead of racing the tool's own reaction to the signal.
    const pid_t parent = getpid();
    process_.setChildProcessModifier([parent] {
        setpgid(0, 0);
#if defined(Q_OS_LINUX)
        // No tool outlives the program that started it, even one killed outright.
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent)
            _exit(127);
#endif
    });
#endif
}

QCoro::Task<ProcessResult> ProcessRunner::query(QString program, QStringList arguments, Stream stream)
{
    ProcessRunner runner(std::move(program), std::move(arguments));
    runner.setTimeLimit(ToolLimits::current().query);
    runner.discard(stream == Stream::standardOutput ? Stream::standardError : Stream::standardOutput);
    co_return co_await runner.run();
}

void ProcessRunner::setLinesHandler(Stream stream, LinesHandler handler)
{
    handlers_[int(stream)] = std::move(handler);
}

void ProcessRunner::setTimeLimit(std::chrono::milliseconds limit)
{
    timeLimit_ = limit;
}

void ProcessRunner::stop()
{
    process_.terminate();
    // A tool stuck in the kernel or deaf to the polite signal is killed.
    QTimer::singleShot(ToolLimits::current().terminationGrace, &process_, [process = &process_] {
        if (process->state() != QProcess::NotRunning)
            process->kill();
    });
}

void ProcessRunner::discard(Stream stream)
{
    if (stream == Stream::standardOutput)
        process_.setStandardOutputFile(QProcess::nullDevice());
    else
        process_.setStandardErrorFile(QProcess::nullDevice());
}

void ProcessRunner::connectHandler(Stream stream)
{
    const int i = int(stream);
    if (!handlers_[i])
        return;
    const bool isOutput = stream == Stream::standardOutput;
    const auto signal = isOutput ? &QProcess::readyReadStandardOutput : &QProcess::readyReadStandardError;
    connections_[i] = QObject::connect(&process_, signal, &process_, [this, i, isOutput] {
        const QByteArray bytes =
            isOutput ? process_.readAllStandardOutput() : process_.readAllStandardError();
        if (const QList<QByteArray> lines = splitters_[i].feed(bytes); !lines.isEmpty())
            handlers_[i](lines);
    });
}

QCoro::Task<ProcessResult> ProcessRunner::run()
{
    connectHandler(Stream::standardOutput);
    connectHandler(Stream::standardError);

    process_.start(program_, arguments_, QIODevice::ReadOnly);
    QTimer limit;
    if (timeLimit_.count() > 0) {
        limit.setSingleShot(true);
        QObject::connect(&limit, &QTimer::timeout, &process_, [this] {
            timedOut_ = true;
            stop();
        });
        limit.start(timeLimit_);
    }
    // The state leaves Starting/Running both when the child could not be
    // started and when it ended, so one wait covers both. The state is checked
    // before every wait, so no change can slip by between two waits. By the
    // time it reads NotRunning, Qt has drained both pipes into the handlers.
    while (process_.state() != QProcess::NotRunning) {
        StateChange change(process_);
        co_await change;
    }

    for (int i = 0; i < 2; ++i) {
        QObject::disconnect(connections_[i]);
        if (const QList<QByteArray> rest = splitters_[i].finish(); handlers_[i] && !rest.isEmpty())
            handlers_[i](rest);
    }

    ProcessResult result;
    if (process_.error() == QProcess::FailedToStart) {
        result.errorString = process_.errorString();
        co_return result;
    }
    result.timedOut = timedOut_;
    result.ending = process_.exitStatus() == QProcess::CrashExit ? ProcessResult::Ending::signalled
                                                                 : ProcessResult::Ending::exited;
    result.status = process_.exitCode();
    if (!handlers_[int(Stream::standardOutput)])
        result.standardOutput = process_.readAllStandardOutput();
    if (!handlers_[int(Stream::standardError)])
        result.standardError = process_.readAllStandardError();
    co_return result;
}

void ProcessRunner::terminate()
{
    QMetaObject::invokeMethod(
        &process_, [process = &process_] { process->terminate(); }, Qt::QueuedConnection);
}
