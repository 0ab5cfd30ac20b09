#include "run/VerifyBackupCommand.h"

#include "backup/BackupVerifier.h"
#include "base/AppInfo.h"
#include "base/Workers.h"
#include "run/BackupCommand.h"
#include "run/BackupConsole.h"
#include "run/InterruptWatcher.h"

#include <QCoroFuture>
#include <QSysInfo>
#include <QtConcurrent/QtConcurrentRun>

namespace VerifyBackupCommand {

namespace {

const QString commandName = QStringLiteral("verify-backup");

QString lines(const QString& prefix, const QStringList& paths)
{
    QString text;
    for (const QString& path : paths)
        text += prefix + path + QLatin1Char('\n');
    return text;
}

} // namespace

QCoro::Task<Outcome> run(QStringList arguments)
{
    QStringList folders;
    if (const std::optional<QString> error = BackupCommand::parseFolders(commandName, arguments, folders))
        co_return Outcome{usageOrCannotRun, QString(), *error};
    if (folders.size() != 1)
        co_return Outcome{usageOrCannotRun, QString(),
                          CardCommand::usageError(commandName, QStringLiteral("give one copy’s folder"))};

    const QString copy = folders.first();
    const QDateTime started = QDateTime::currentDateTimeUtc();
    BackupProgress progress;
    InterruptWatcher interrupts;
    std::optional<VerifyResult> result;
    {
        BackupConsole console(progress, interrupts);
        result = co_await QtConcurrent::run(Workers::pool(), [&copy, &started, &progress] {
            return BackupVerifier::run(copy, QSysInfo::machineHostName(),
                                       QString::fromLatin1(AppInfo::applicationName),
                                       QString::fromLatin1(AppInfo::version), started, progress);
        });
    }
    if (!result->error.isEmpty()) {
        const bool cancelled = progress.cancelRequested.load();
        co_return Outcome{cancelled ? notAllVerified : usageOrCannotRun, QString(),
                          result->error + QLatin1Char('\n')};
    }
    const QString problems = lines(QStringLiteral("failed: "), result->failed) +
                             lines(QStringLiteral("missing: "), result->missing) +
                             lines(QStringLiteral("new: "), result->added);
    const int unproven = int(result->failed.size() + result->missing.size() + result->added.size());
    const QString summary = unproven == 0 ? QStringLiteral("Verified %1 %2; every one matches its history.\n")
                                                .arg(result->verifiedCount)
                                                .arg(result->verifiedCount == 1 ? QStringLiteral("file")
                                                                                : QStringLiteral("files"))
                                          : QStringLiteral("%1 verified, %2 failed, %3 missing, %4 new.\n")
                                                .arg(result->verifiedCount)
                                                .arg(result->failed.size())
                                                .arg(result->missing.size())
                                                .arg(result->added.size());
    co_return Outcome{unproven == 0 ? allVerified : notAllVerified,
                      summary + result->manifest + QLatin1Char('\n'), problems};
}

} // namespace VerifyBackupCommand
