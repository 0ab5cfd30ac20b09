#include "run/BackupCommand.h"

#include "backup/BackupEngine.h"
#include "backup/BackupText.h"
#include "base/AppInfo.h"
#include "base/Workers.h"
#include "run/BackupConsole.h"
#include "run/InterruptWatcher.h"

#include <QCommandLineParser>
#include <QCoroFuture>
#include <QFileInfo>
#include <QSysInfo>
#include <QtConcurrent/QtConcurrentRun>

namespace BackupCommand {

namespace {

const QString commandName = QStringLiteral("backup");

} // namespace

std::optional<QString> parseFolders(const QString& command, const QStringList& arguments,
                                    QStringList& folders)
{
    QCommandLineParser parser;
    if (const std::optional<QString> error =
            CardCommand::parseOptions(CliDescription::command(command), arguments, parser))
        return CardCommand::usageError(command, *error);
    for (const QString& folder : parser.positionalArguments())
        folders.append(QFileInfo(folder).absoluteFilePath());
    return std::nullopt;
}

QCoro::Task<Outcome> run(QStringList arguments)
{
    QStringList folders;
    if (const std::optional<QString> error = parseFolders(commandName, arguments, folders))
        co_return Outcome{usageOrCannotRun, QString(), *error};
    if (folders.size() < 2)
        co_return Outcome{
            usageOrCannotRun, QString(),
            CardCommand::usageError(commandName, QStringLiteral("give the card and a destination"))};

    BackupRequest request;
    request.card = BackupEngine::cardRoot(folders.takeFirst());
    request.destinations = folders;
    request.hostName = QSysInfo::machineHostName();
    request.toolName = QString::fromLatin1(AppInfo::applicationName);
    request.toolVersion = QString::fromLatin1(AppInfo::version);

    BackupProgress progress;
    InterruptWatcher interrupts;
    std::optional<BackupResult> result;
    {
        BackupConsole console(progress, interrupts);
        result = co_await QtConcurrent::run(
            Workers::pool(), [&request, &progress] { return BackupEngine::run(request, progress); });
    }

    const QString problems = result->problems.join(QLatin1Char('\n')) + QLatin1Char('\n');
    switch (result->status) {
    case BackupResult::Status::proven:
        co_return Outcome{
            proven,
            BackupText::provenSentence(result->fileCount, result->cardBytes, int(result->copies.size())) +
                QLatin1Char('\n') + result->copies.join(QLatin1Char('\n')) + QLatin1Char('\n'),
            QString()};
    case BackupResult::Status::refused:
        co_return Outcome{usageOrCannotRun, QString(), problems};
    case BackupResult::Status::cancelled:
        co_return Outcome{failed, QString(), problems};
    case BackupResult::Status::failed:
        break;
    }
    co_return Outcome{failed, QString(),
                      problems + BackupText::failedSentence(int(result->mismatches.size())) +
                          QLatin1Char('\n')};
}

} // namespace BackupCommand
