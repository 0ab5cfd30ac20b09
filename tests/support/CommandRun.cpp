#include "CommandRun.h"

#include <QProcess>

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
