#pragma once

#include <QCoroTask>
#include <QString>
#include <QStringList>
#include <variant>

// `tolvane-cli scan`: scans and pairs a card folder without a window and tells
// what a conversion would do, through the pairing report and the exit status.
namespace ScanCommand {

enum ExitStatus {
    someClipsWouldConvert = 0,
    noClipWouldConvert = 1,
    usageOrNoVideo = 2,
};

struct Options
{
    QString cardFolder;
    bool allowUnsafeFallback = false;
};

// What the command prints and how it ends.
struct Outcome
{
    int exitStatus = usageOrNoVideo;
    QString standardOutput;
    QString standardError;
};

// The command's help, shown by `tolvane-cli --help`.
QString helpText();

// The options from the arguments after "scan", or the usage error to show.
// "--" ends the options, so a folder whose name starts with a dash can be given.
std::variant<Options, QString> parseArguments(const QStringList& arguments);

// Scans and pairs the folder the arguments name. Standard output gets the
// pairing report exactly as PAIRING_REPORT.txt holds it, ending with one line
// feed. Runs on the thread whose event loop drives the probes.
QCoro::Task<Outcome> run(QStringList arguments);

} // namespace ScanCommand
