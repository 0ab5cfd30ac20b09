#pragma once

#include "run/CardCommand.h"

#include <QCoroTask>
#include <QString>
#include <QStringList>

// `tolvane-cli scan`: scans and pairs a card folder without a window and tells
// what a conversion would do, through the pairing report and the exit status.
namespace ScanCommand {

enum ExitStatus {
    someClipsWouldConvert = 0,
    noClipWouldConvert = 1,
    usageOrNoVideo = 2,
};

using Outcome = CardCommand::Outcome;

// The line a terminal shows while the scan reads UMIDs: "Reading UMIDs 123 / 1000".
QString probeProgressLine(qsizetype done, qsizetype total);

// Where the time of one scan went, for --timings.
struct Timings
{
    double walkSeconds = 0;
    double pairingSeconds = 0;
    double reportSeconds = 0;
    int filesReadNatively = 0;
    int filesNotReadNatively = 0;
    int ffprobeRuns = 0;
    int answersFromMemory = 0;
    double nativeReadSeconds = 0;
    double ffprobeSeconds = 0;
};

// The lines --timings prints on standard error, each ending with a line feed.
QString timingsText(const Timings& timings);

// Scans and pairs the folder the arguments name. Standard output gets the
// pairing report exactly as PAIRING_REPORT.txt holds it, ending with one line
// feed; with --timings standard error tells where the time went. Runs on the
// thread whose event loop drives the probes.
QCoro::Task<Outcome> run(QStringList arguments);

} // namespace ScanCommand
