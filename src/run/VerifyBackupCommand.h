#pragma once

#include "run/CardCommand.h"

#include <QCoroTask>
#include <QString>
#include <QStringList>

// `tolvane-cli verify-backup DEST/CARDNAME`: re-reads every file of a copy
// from the disk against its ASC MHL history and records the result as the
// history's next generation.
namespace VerifyBackupCommand {

enum ExitStatus {
    allVerified = 0,
    notAllVerified = 1,
    usageOrCannotRun = 2,
};

using Outcome = CardCommand::Outcome;

QCoro::Task<Outcome> run(QStringList arguments);

} // namespace VerifyBackupCommand
