#pragma once

#include "run/CardCommand.h"

#include <QCoroTask>
#include <QString>
#include <QStringList>

// `tolvane-cli debug-report`: writes the debug report of a card folder without
// converting anything, built with the stored settings as the app would build it.
namespace DebugReportCommand {

enum ExitStatus {
    reportProduced = 0,
    reportNotWritten = 1,
    usageOrUnusableCard = 2,
};

using Outcome = CardCommand::Outcome;

// Scans and pairs the folder the arguments name, then builds its debug report
// with the stored settings, which are only read. Runs on the thread whose event
// loop drives the probes.
QCoro::Task<Outcome> run(QStringList arguments);

} // namespace DebugReportCommand
