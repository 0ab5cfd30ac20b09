#include "base/AppInfo.h"
#include "base/DisplayText.h"
#include "run/BackupCommand.h"
#include "run/CardCommand.h"
#include "run/CliHelp.h"
#include "run/ConvertCommand.h"
#include "run/DebugReportCommand.h"
#include "run/HistoryCommand.h"
#include "run/ScanCommand.h"
#include "store/SettingsStore.h"
#include "run/VerifyBackupCommand.h"

#include <cstdio>
#include <optional>
#include <QCoreApplication>
#include <QStringList>
#include <QTimer>

namespace {

void write(FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
    std::fflush(stream);
}

// Prints what a command produced and ends the event loop with its status.
template <typename Outcome>
QCoro::Task<> runCommand(QCoro::Task<Outcome> (*command)(QStringList), QStringList arguments)
{
    const Outcome outcome = co_await command(std::move(arguments));
    // Names from the card may hold control characters; only line feeds reach the terminal.
    write(stdout, DisplayText::escapedLines(CardCommand::forTerminal(outcome.standardOutput)));
    write(stderr, DisplayText::escapedLines(CardCommand::forTerminal(outcome.standardError)));
    QCoreApplication::exit(outcome.exitStatus);
}

// Starts the command inside the event loop, so the exit it asks for at the
// end is never lost, however quickly it finishes.
template <typename Outcome>
int execCommand(QCoreApplication& app, QCoro::Task<Outcome> (*command)(QStringList), QStringList arguments)
{
    std::optional<QCoro::Task<>> task;
    QTimer::singleShot(0, &app,
                       [&task, command, &arguments] { task.emplace(runCommand(command, arguments)); });
    return QCoreApplication::exec();
}

// True when the user asked for help anywhere among the options, which end at "--".
bool asksForHelp(const QStringList& arguments)
{
    for (const QString& argument : arguments) {
        if (argument == QLatin1String("--"))
            return false;
        if (argument == QLatin1String("--help") || argument == QLatin1String("-h"))
            return true;
    }
    return false;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QString::fromLatin1(AppInfo::organizationName));
    QCoreApplication::setApplicationName(QString::fromLatin1(AppInfo::applicationName));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(AppInfo::version));

    const QStringList args = app.arguments().mid(1);
    if (args.isEmpty() || asksForHelp(args)) {
        write(stdout, CliHelp::text(SettingsStore::defaultOutputBase()));
        return args.isEmpty() ? 2 : 0;
    }
    if (args.first() == QLatin1String("--version")) {
        write(stdout, QStringLiteral("tolvane-cli %1\n").arg(QString::fromLatin1(AppInfo::version)));
        return 0;
    }
    if (args.first() == QLatin1String("convert"))
        return execCommand(app, &ConvertCommand::run, args.mid(1));
    if (args.first() == QLatin1String("scan"))
        return execCommand(app, &ScanCommand::run, args.mid(1));
    if (args.first() == QLatin1String("debug-report"))
        return execCommand(app, &DebugReportCommand::run, args.mid(1));
    if (args.first() == QLatin1String("backup"))
        return execCommand(app, &BackupCommand::run, args.mid(1));
    if (args.first() == QLatin1String("verify-backup"))
        return execCommand(app, &VerifyBackupCommand::run, args.mid(1));
    if (args.first() == QLatin1String("history")) {
        const HistoryCommand::Outcome outcome = HistoryCommand::run(args.mid(1));
        write(stdout, outcome.standardOutput);
        write(stderr, outcome.standardError);
        return outcome.exitStatus;
    }
    write(stderr,
          QStringLiteral("tolvane-cli: unknown command “%1”. Try tolvane-cli --help.\n").arg(args.first()));
    return 2;
}
