#pragma once

#include <QString>

// Why a run ended before it reached every clip. The clips it never reached
// are "not started" for this reason, in every report, on the terminal, in the
// summary and in the history.
enum class RunStop {
    // The user cancelled, or the program was told to end (hang-up, SIGTERM).
    cancelled,
    // A clip failed for lack of space: every further clip would fail the same way.
    outputFull,
    // The card's folder disappeared: nothing further can be read.
    cardGone,
};

namespace RunStops {

// What a clip the run never reached says after "not started — ":
// "the run was cancelled".
QString notStartedReason(RunStop stop);

// "not started — the run was cancelled", as a clip's status reads.
QString notStartedText(RunStop stop);

// The sentence that says why the run ended early, first in its closing
// status: "The run was cancelled."
QString sentence(RunStop stop);

} // namespace RunStops
