#include "media/ProcessRunner.h"

#include "media/ToolLimits.h"

#include <csignal>
#if defined(Q_OS_LINUX)
#include <sys/prctl.h>
#endif
#if defined(Q_OS_UNIX)
#include <sys/resource.h>
#include <unistd.h>
#endif

#include <coroutine>
#include <mutex>
#include <optional>
#include <QCoreApplication>
#include <QProcess>
#include <QThread>
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

// The thread that starts, reads and reaps every child. It runs until the
// application object is destroyed: a child is told to end when the thread
// that started it does.
QThread* toolThread()
{
    static QThread* const thread = [] {
        auto* started = new QThread;
        started->setObjectName(QStringLiteral("Tool processes"));
        started->start();
        qAddPostRoutine([] {
            toolThread()->quit();
            toolThread()->wait();
        });
        return started;
    }();
    return thread;
}

// How a child ended, as its thread saw it.
struct Ending
{
    bool failedToStart = false;
    QString errorString;
    bool crashed = false;
    int exitCode = 0;
    // The streams without a line handler, whole.
    QByteArray output[2];
};

} // namespace

// What the runner and its child's thread share. Either side may go first:
// the runner when its coroutine is abandoned, the child when it ends.
struct ProcessRunner::Channel
{
    std::mutex mutex;
    // Null once the runner is gone: nothing more is delivered.
    QObject* receiver = nullptr;
    // Null until the child's process exists and once the runner is gone.
    QProcess* process = nullptr;

    // Touched on the runner's thread only: how the child ended, once it has,
    // and the coroutine waiting for that.
    std::optional<Ending> ending;
    std::coroutine_handle<> waiting;

    // Runs `call` on the runner's thread, unless the runner is gone by then.
    template <typename Call> void toRunner(Call call)
    {
        const std::lock_guard lock(mutex);
        if (receiver)
            QMetaObject::invokeMethod(receiver, std::move(call), Qt::QueuedConnection);
    }

    // Runs `call` with the process on its thread; nothing before it exists.
    template <typename Call> void toProcess(Call call)
    {
        const std::lock_guard lock(mutex);
        if (process)
            QMetaObject::invokeMethod(
                process, [process = process, call = std::move(call)] { call(*process); },
                Qt::QueuedConnection);
    }
};

namespace {

// Suspends a coroutine until `ending` holds a value; `waiting` is where the
// one who sets it finds the coroutine to resume.
class EndingAwaiter
{
public:
    EndingAwaiter(const std::optional<Ending>& ending, std::coroutine_handle<>& waiting)
        : ending_(ending), waiting_(waiting)
    {
    }

    bool await_ready() const noexcept { return ending_.has_value(); }
    void await_suspend(std::coroutine_handle<> waiting) noexcept { waiting_ = waiting; }
    void await_resume() const noexcept {}

private:
    const std::optional<Ending>& ending_;
    std::coroutine_handle<>& waiting_;
};

// On the child's thread: asks it to end, and kills it when it has not within the grace.
void stopProcess(QProcess& process)
{
    process.terminate();
    // A tool stuck in the kernel or deaf to the polite signal is killed.
    QTimer::singleShot(ToolLimits::current().terminationGrace, &process, [process = &process] {
        if (process->state() != QProcess::NotRunning)
            process->kill();
    });
}

} // namespace

ProcessRunner::ProcessRunner(QString program, QStringList arguments)
    : program_(std::move(program)), arguments_(std::move(arguments)), channel_(std::make_shared<Channel>())
{
    channel_->receiver = &receiver_;
}

ProcessRunner::~ProcessRunner()
{
    QProcess* process = nullptr;
    {
        const std::lock_guard lock(channel_->mutex);
        channel_->receiver = nullptr;
        process = std::exchange(channel_->process, nullptr);
    }
    // Deleted on its own thread; a child still running is killed there.
    if (process)
        process->deleteLater();
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

void ProcessRunner::discard(Stream stream)
{
    discarded_[int(stream)] = true;
}

void ProcessRunner::receive(int stream, const QByteArray& bytes)
{
    if (const QList<QByteArray> lines = splitters_[stream].feed(bytes); !lines.isEmpty())
        handlers_[stream](lines);
}

QCoro::Task<ProcessResult> ProcessRunner::run()
{
    // Set up here, then handed to the tool thread, which alone touches it from then on.
    auto* process = new QProcess;
    process->setStandardInputFile(QProcess::nullDevice());
    if (discarded_[int(Stream::standardOutput)])
        process->setStandardOutputFile(QProcess::nullDevice());
    if (discarded_[int(Stream::standardError)])
        process->setStandardErrorFile(QProcess::nullDevice());
#if defined(Q_OS_UNIX)
    // A tool gets its own process group, so a Ctrl-C typed at tolvane-cli
    // reaches tolvane-cli alone, which then cancels the way the user asked
    // instead of racing the tool's own reaction to the signal.
    const pid_t parent = getpid();
    process->setChildProcessModifier([parent] {
        setpgid(0, 0);
        // A tool yields the processor to the window: encoding would otherwise
        // keep the event loop waiting for a core on a machine with few of them.
        // Alone on the machine, a tool loses no speed by it.
        setpriority(PRIO_PROCESS, 0, getpriority(PRIO_PROCESS, 0) + toolNiceness);
#if defined(Q_OS_LINUX)
        // No tool outlives the program that started it, even one killed outright.
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent)
            _exit(127);
#endif
    });
#endif

    const std::shared_ptr<Channel> channel = channel_;
    // Each stream with a handler is read as it arrives; the bytes reach the
    // handler on this thread, in order, ahead of the ending.
    for (const Stream stream : {Stream::standardOutput, Stream::standardError}) {
        const int i = int(stream);
        if (!handlers_[i])
            continue;
        const auto signal = stream == Stream::standardOutput ? &QProcess::readyReadStandardOutput
                                                             : &QProcess::readyReadStandardError;
        QObject::connect(process, signal, process, [this, channel, process, i] {
            const QByteArray bytes =
                i == 0 ? process->readAllStandardOutput() : process->readAllStandardError();
            channel->toRunner([this, i, bytes] { receive(i, bytes); });
        });
    }
    const bool handled[2] = {bool(handlers_[0]), bool(handlers_[1])};
    const auto reportEnding = [this, channel, process, handled] {
        Ending ended;
        ended.failedToStart = process->error() == QProcess::FailedToStart;
        ended.errorString = process->errorString();
        ended.crashed = process->exitStatus() == QProcess::CrashExit;
        ended.exitCode = process->exitCode();
        if (!handled[0])
            ended.output[0] = process->readAllStandardOutput();
        if (!handled[1])
            ended.output[1] = process->readAllStandardError();
        channel->toRunner([this, ended] {
            channel_->ending = ended;
            // Resumed from the event loop, never inside this delivery.
            if (const std::coroutine_handle<> suspended = std::exchange(channel_->waiting, {}))
                QTimer::singleShot(0, &receiver_, [suspended] { suspended.resume(); });
        });
    };
    QObject::connect(process, &QProcess::finished, process, reportEnding);
    QObject::connect(process, &QProcess::errorOccurred, process,
                     [reportEnding](QProcess::ProcessError error) {
                         if (error == QProcess::FailedToStart)
                             reportEnding();
                     });

    process->moveToThread(toolThread());
    {
        const std::lock_guard lock(channel_->mutex);
        channel_->process = process;
    }
    channel_->toProcess([program = program_, arguments = arguments_](QProcess& child) {
        child.start(program, arguments, QIODevice::ReadOnly);
    });

    QTimer limit;
    if (timeLimit_.count() > 0) {
        limit.setSingleShot(true);
        QObject::connect(&limit, &QTimer::timeout, &receiver_, [this] {
            timedOut_ = true;
            stop();
        });
        limit.start(timeLimit_);
    }
    EndingAwaiter ended(channel_->ending, channel_->waiting);
    co_await ended;
    Ending& ending = *channel_->ending;
    limit.stop();

    for (int i = 0; i < 2; ++i) {
        if (const QList<QByteArray> rest = splitters_[i].finish(); handlers_[i] && !rest.isEmpty())
            handlers_[i](rest);
    }

    ProcessResult result;
    if (ending.failedToStart) {
        result.errorString = ending.errorString;
        co_return result;
    }
    result.timedOut = timedOut_;
    result.ending = ending.crashed ? ProcessResult::Ending::signalled : ProcessResult::Ending::exited;
    result.status = ending.exitCode;
    result.standardOutput = std::move(ending.output[0]);
    result.standardError = std::move(ending.output[1]);
    co_return result;
}

void ProcessRunner::stop()
{
    channel_->toProcess([](QProcess& process) { stopProcess(process); });
}
