#pragma once

#include "run/CardCommand.h"

#include <QCoroTask>
#include <QString>
#include <QStringList>

// `tolvane-cli backup CARD DEST [DEST…]`: copies the whole card into
// DEST/CARDNAME for each destination, proves every copy by reading it back,
// and gives each copy its ASC MHL history.
namespace BackupCommand {

// As `convert`'s: 0 proven, 1 failed or cancelled, 2 cannot run.
enum ExitStatus {
    proven = 0,
    failed = 1,
    usageOrCannotRun = 2,
};

using Outcome = CardCommand::Outcome;

// The free-form arguments of a command taking folders only, "--" ending the
// options; gives the usage problem, or nothing with `folders` filled.
std::optional<QString> parseFolders(const QString& command, const QStringList& arguments,
                                    QStringList& folders);

// Runs the backup on a worker thread; a live progress line on a terminal.
QCoro::Task<Outcome> run(QStringList arguments);

} // namespace BackupCommand
