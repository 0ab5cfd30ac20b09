#pragma once

#include "card/ClipSortKey.h"
#include "card/P2Clip.h"

#include <optional>
#include <QCoroTask>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QStringView>
#include <QUuid>

// Puts clips in the order they were filmed, so output numbers follow the shoot
// and not the camera's file names.
namespace P2MetadataParser {

// An ISO 8601 internet date-time ("2026-07-01T10:00:00-05:00",
// "2026-07-01T15:00:00.250Z"): full date with dashes, time with colons,
// optional fractional seconds (kept to the millisecond), and a zone designator
// that is required, "Z" or ±hh:mm. Anything else, including a date without a
// zone, gives nothing rather than a guess at local time. Returned in UTC.
std::optional<QDateTime> parseInternetDateTime(QStringView text);

// The one text form of instants in the pairing report and the sort keys: the
// ISO 8601 internet date-time in UTC with "Z" and whole seconds, for example
// 2026-07-01T15:00:00Z. It is used for every source alike so reports can be
// compared at a glance; the camera's own zone offset is not kept.
QString formatInternetDateTime(const QDateTime& instant);

// Seconds into the day of a timecode HH:MM:SS:FF (";" allowed as the drop-frame
// separator) at `frameRate` frames per second, 30 when unknown. Nothing for an
// absent or malformed timecode or one whose whole seconds overflow.
std::optional<double> timecodeToSecondsOfDay(const std::optional<QString>& timecode,
                                             std::optional<double> frameRate);

// The container's modification-date tag of each file, probed with at most
// `concurrency` (1 to 8) ffprobe processes at once. Files without one are
// absent from the map.
QCoro::Task<QHash<QString, QString>> probeModificationDates(QStringList files, int concurrency);

// A sort key for every clip, from the best source that covers it: the XML
// recording date/time, the start timecode placed on the earliest recording
// day (UTC), the MXF's embedded date, and last the file system's date.
QCoro::Task<QHash<QUuid, ClipSortKey>> resolveShootOrder(QList<P2Clip> clips);

// Stores each clip's key, sorts the clips by it (stable, earliest first, clips
// without a key last) and numbers them from 1. Two clips with one id are a
// programming error and stop the program.
void applyShootOrder(QList<P2Clip>& clips, const QHash<QUuid, ClipSortKey>& keys);

} // namespace P2MetadataParser
