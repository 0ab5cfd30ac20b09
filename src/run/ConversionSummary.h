#pragma once

#include "run/RunStop.h"

#include <optional>
#include <QString>

// What one conversion run came to, as the summary screen and the history show it.
struct ConversionSummary
{
    int converted = 0;
    // Includes the job that a cancel stopped.
    int failed = 0;
    int skipped = 0;
    // Converted or skipped jobs whose clip has no audio file.
    int missingAudio = 0;
    // Clips that pairing left out of the run.
    qint64 excludedByPairing = 0;
    // Clips the run never reached because it ended early, and why it did.
    int notStarted = 0;
    std::optional<RunStop> stop = {};
    // Movies the user left out of the run on purpose.
    qint64 notChosen = 0;
    QString outputFolder = {};

    bool operator==(const ConversionSummary&) const = default;
};
