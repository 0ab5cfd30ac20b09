#pragma once

#include "run/ClipRow.h"
#include "run/ClipStatus.h"
#include "run/ConversionSummary.h"

#include <optional>
#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

// The JSON documents of `tolvane-cli scan --json` and `convert --json`. Their
// keys are stable and documented in the README; a value that is not known is
// null, never left out.
namespace ClipJson {

// A clip row's fields: "name", "outputName", "number", "durationSeconds",
// "startTimecode", "recorded", "audioChannels", "pairing", "included",
// "exclusionReason" and "pieces".
QJsonObject rowObject(const ClipRow& row);

// The scan document: "card", "clips" (every row) and "summary" (the pairing
// report's summary lines).
QByteArray scanDocument(const QString& card, const QList<ClipRow>& rows, const QStringList& summaryLines);

// How one movie of a run ended.
struct Outcome
{
    ClipRow row;
    // Absent for an excluded clip.
    std::optional<ClipStatus> status;
    // The movie's file; empty when the run did not get as far as naming it.
    QString outputFile;
};

// The stable word for a row's outcome: "converted", "skipped", "failed",
// "notChosen", "notStarted" (a run cancelled before it) or "excluded".
QString statusWord(const std::optional<ClipStatus>& status);

// The run document: "card", "outputFolder", "status" (the closing sentence),
// "counts" (the summary's numbers) and "clips", one per row with "name",
// "outputName", "status", "outputFile" (null unless the movie is there) and
// "reason" (why it failed or was excluded, else null).
QByteArray runDocument(const QString& card, const QString& statusSentence, const ConversionSummary& summary,
                       const QList<Outcome>& outcomes);

} // namespace ClipJson
