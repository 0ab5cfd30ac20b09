#pragma once

#include <QCoroTask>
#include <QString>
#include <QStringList>
#include <variant>

// `tolvane-cli debug-report`: writes the debug report of a card folder without
// converting anything, built with the stored settings as the app would build it.
namespace DebugReportCommand {

enum ExitStatus {
    reportProduced = 0,
    reportNotWritten = 1,
    usageOrUnusableCard = 2,
};

struct Options
{
    QString cardFolder;
    // Empty: the report goes to standard output.
    QString outputFile;
};

// What the command prints and how it ends.
struct Outcome
{
    int exitStatus = usageOrUnusableCard;
    QString standardOutput;
    QString standardError;
};

// The command's help, shown by `tolvane-cli --help`.
QString helpText();

// The options from the arguments after "debug-report", or the usage error to
// show. "--" ends the options, so a folder whose name starts with a dash can be
// given.
std::variant<Options, QString> parseArguments(const QStringList& arguments);

// Scans and pairs the folder the arguments name, then builds its debug report
// with the stored settings, which are only read. Runs on the thread whose event
// loop drives the probes.
QCoro::Task<Outcome> run(QStringList arguments);

} // namespace DebugReportCommand
