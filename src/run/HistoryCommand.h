#pragma once

#include "run/CardCommand.h"
#include "store/ConversionHistoryStore.h"

#include <memory>
#include <QLocale>
#include <QString>
#include <QStringList>

// `tolvane-cli history`: the recorded conversion runs as the app's history
// sheet lists them, the stored document itself, or emptying the history.
namespace HistoryCommand {

enum ExitStatus {
    done = 0,
    notCleared = 1,
    usageError = 2,
};

using Outcome = CardCommand::Outcome;

// The history as the sheet shows it: a header with the count, then one block
// per run, newest first, separated by blank lines; ends with one line feed.
QString listing(const QList<ConversionHistoryEntry>& entries, const QLocale& locale);

// Why --clear left the history as it was: "Could not clear the history
// (“/home/u/.config/Tolvane/Tolvane.json”: Is a directory)."
QString clearFailureSentence(const QString& failure);

// Runs the command on the history kept in `defaults`, dates in `locale`.
Outcome run(const QStringList& arguments, std::shared_ptr<KeyValueStore> defaults, const QLocale& locale);

// Runs the command on the application's own preferences, in the user's locale.
Outcome run(QStringList arguments);

} // namespace HistoryCommand
