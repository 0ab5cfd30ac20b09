#pragma once

#include "card/P2Clip.h"

#include <optional>
#include <QString>
#include <QStringList>
#include <QUuid>

// One row of the pairing report: a CLIP XML, or a video no XML verified, with
// what became of it.
struct PairingReportEntry
{
    QUuid id = QUuid::createUuid();
    // The clip this entry produced; absent when it was excluded.
    std::optional<QUuid> clipID;
    // The XML's clip name, else the upper-cased base name of the XML or video file.
    QString clipName;
    std::optional<QString> xmlFile;
    std::optional<QString> videoFile;
    QStringList audioFiles;
    // Absent when nothing was paired.
    std::optional<P2Clip::PairingMethod> method;
    bool included = false;
    std::optional<QString> note;
    std::optional<QString> startTimecode;
    // The recording date/time in the report's one instant form, the ISO 8601
    // internet date-time in UTC (2026-07-01T15:00:00Z); absent when the XML
    // had none or it did not read as such a date.
    std::optional<QString> recordingDateTimeDisplay;
    // Label of the sort key's source, set once shoot order is known.
    std::optional<QString> sortKeySource;
    std::optional<int> exportOrderNumber;

    // The entry's lines in the pairing report, without a trailing line break.
    QString reportBlock() const;

    bool operator==(const PairingReportEntry&) const = default;
};
