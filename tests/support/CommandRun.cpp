#include "CommandRun.h"

#include "TestFiles.h"

#include <csignal>
#include <QDir>
#include <QProcess>
#include <QThread>

CommandRun runCommand(const QString& program, const QStringList& arguments, const QString& workingDirectory,
                      const QProcessEnvironment& environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(workingDirectory);
    process.start(program, arguments);
    if (!process.waitForFinished(300000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

QString shellQuoted(const QString& text)
{
    QString quoted = text;
    quoted.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

char* toString(const CommandRun& run)
{
    return qstrdup(QStringLiteral("exit %1, standard output “%2”, standard error “%3”")
                       .arg(run.exitStatus)
                       .arg(run.standardOutput, run.standardError)
                       .toUtf8()
                       .constData());
}

QList<pid_t> processesNaming(const QString& text)
{
    QList<pid_t> pids;
    const QByteArray needle = text.toUtf8();
    for (const QString& entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        const int pid = entry.toInt();
        if (pid > 0 && readFile(QStringLiteral("/proc/%1/cmdline").arg(pid)).contains(needle))
            pids.append(pid);
    }
    return pids;
}

bool isStopped(pid_t pid)
{
    const QByteArray stat = readFile(QStringLiteral("/proc/%1/stat").arg(pid));
    // The state follows the command name, which is in parentheses.
    const qsizetype end = stat.lastIndexOf(')');
    return end >= 0 && stat.mid(end + 2, 1) == "T";
}

bool sendTwoInterruptsTogether(qint64 pid)
{
    if (pid <= 0)
        return false;
    const auto process = static_cast<pid_t>(pid);
    if (::kill(process, SIGSTOP) != 0)
        return false;
    for (int wait = 0; !isStopped(process); ++wait) {
        if (wait == 3000)
            return false;
        QThread::msleep(10);
    }
    return ::kill(process, SIGHUP) == 0 && ::kill(process, SIGINT) == 0 && ::kill(process, SIGCONT) == 0;
}
