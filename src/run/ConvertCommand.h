#pragma once

#include "run/CardCommand.h"

#include <QByteArray>
#include <QCoroTask>
#include <QString>
#include <QStringList>

// `tolvane-cli convert`: converts a card folder without a window, through the
// same session driver as the app, with the stored settings or, for this run
// only, the ones its options give. The run is a real one: its output folder
// gets the movies and every report, and it enters the history and the recent
// folders.
class ConversionViewModel;

namespace ConvertCommand {

enum ExitStatus {
    allConverted = 0,
    notAllConverted = 1,
    usageOrCannotRun = 2,
};

using Outcome = CardCommand::Outcome;

// What follows the free-space refusal: how to go ahead anyway.
QString ignoreFreeSpaceHint();

// The usage problem of `--clip` names that match no clip that would be converted.
QString unknownClipsProblem(const QStringList& names);

// The `--json` document of a finished run of `driver` over `card`.
QByteArray runDocument(const ConversionViewModel& driver, const QString& card);

// What the command says when ffmpeg is there but ffprobe is not.
QString ffprobeMissingMessage();

// Scans, pairs and converts the folder the arguments name. Progress and one
// line per finished clip are printed while it runs; the outcome's standard
// output is the closing status sentence and the output folder. Ctrl-C cancels
// the run as the Cancel button does; a second Ctrl-C ends the process at once.
// Runs on the thread whose event loop drives the conversion.
QCoro::Task<Outcome> run(QStringList arguments);

} // namespace ConvertCommand
