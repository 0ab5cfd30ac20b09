#include "run/BackupCommand.h"

#include "backup/BackupEngine.h"
#include "backup/BackupText.h"
#include "base/AppInfo.h"
#include "run/BackupConsole.h"
#include "run/InterruptWatcher.h"

#include <QCoroFuture>
#include <QFileInfo>
#include <QSysInfo>
#include <QtConcurrent/QtConcurrentRun>

namespace BackupCommand {

namespace {

const QString commandName = QStringLiteral("backup");

} // namespace

QString helpText()
{
    return QStringLiteral(
        "  backup CARD DEST [DEST…]\n"
        "               Copy the whole card folder CARD (its root, or its CONTENTS folder)\n"
        "               into DEST/CARDNAME for each destination: every file, hidden ones\n"
        "               included, read once from the card and written to every\n"
        "               destination, flushed to disk under a temporary name and then\n"
        "               renamed, with its modification time kept. Every copy is then\n"
        "               read back from the disk and its XXH64 checksum compared with the\n"
        "               card's. Each copy gets an ASC MHL history: DEST/CARDNAME/ascmhl\n"
        "               with a manifest of every file's size, date and checksum and\n"
        "               ascmhl_chain.xml. Before the first byte, each destination must\n"
        "               have room for the card; a file already there that matches the\n"
        "               card's is proven and not copied again, so running the same backup\n"
        "               after an interruption completes it; one that differs is never\n"
        "               overwritten: the backup stops and names it. The card is only read.\n"
        "               On a terminal a live line shows bytes, speed and time remaining.\n"
        "               Ctrl-C or SIGTERM stops it without leaving any incomplete file.\n"
        "               Put -- before a folder whose name starts with a dash.\n"
        "               Exit status: 0 when every copy is proven, 1 when a copy does not\n"
        "               match (it is kept for inspection), a file is in the way, a file\n"
        "               could not be copied or the backup was cancelled, 2 on a usage\n"
        "               error, a missing folder or too little room.\n");
}

std::optional<QString> parseFolders(const QString& command, const QStringList& arguments,
                                    QStringList& folders)
{
    bool optionsEnded = false;
    for (const QString& argument : arguments) {
        if (!optionsEnded && argument == QLatin1String("--")) {
            optionsEnded = true;
        } else if (!optionsEnded && argument.startsWith(QLatin1Char('-')) && argument.size() > 1) {
            return CardCommand::usageError(command, QStringLiteral("unknown option “%1”").arg(argument));
        } else {
            folders.append(QFileInfo(argument).absoluteFilePath());
        }
    }
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
            [&request, &progress] { return BackupEngine::run(request, progress); });
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
