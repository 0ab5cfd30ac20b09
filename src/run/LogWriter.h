#pragma once

#include <optional>
#include <QDateTime>
#include <QLatin1String>
#include <QString>
#include <QStringList>

// The plain-text logs a conversion run leaves in its output folder, and the
// lines that go into them. Every file is UTF-8 and written whole: a reader sees
// the old file or the new one, never half of either.
namespace LogWriter {

inline constexpr QLatin1String conversionReportFilename("CONVERSION_REPORT.txt");
inline constexpr QLatin1String pairingReportFilename("PAIRING_REPORT.txt");
inline constexpr QLatin1String ffmpegErrorsFilename("FFMPEG_ERRORS.txt");
inline constexpr QLatin1String debugReportFilename("DEBUG_REPORT.txt");

// "[HH:mm:ss] text", on a 24-hour clock in the user's time zone.
QString timestampedLine(const QString& text, const QDateTime& time = QDateTime::currentDateTime());

// The conversion report's lines, each timestamped. `clipName` is the clip's
// video file name without its extension. The command line follows its header
// on a second physical line.
QString commandReportLine(const QString& clipName, const QString& commandLine,
                          const QDateTime& time = QDateTime::currentDateTime());
QString convertedReportLine(const QString& clipName, const QDateTime& time = QDateTime::currentDateTime());
QString skippedReportLine(const QString& clipName, const QDateTime& time = QDateTime::currentDateTime());
QString failedReportLine(const QString& clipName, const QString& message,
                         const QDateTime& time = QDateTime::currentDateTime());
// A clip the run never reached; `status` is its status's text
// ("not started — the run was cancelled").
QString notStartedReportLine(const QString& clipName, const QString& status,
                             const QDateTime& time = QDateTime::currentDateTime());
// A movie the user left out of the run.
QString notChosenReportLine(const QString& clipName, const QDateTime& time = QDateTime::currentDateTime());

// An FFMPEG_ERRORS.txt line; not timestamped.
QString errorLine(const QString& clipName, const QString& message);

// Writes `text` as UTF-8 to `path`, replacing an existing file in one step.
// Returns the reason when it could not; nothing when it was written. A write
// that fails part-way (a full disk) leaves the old file, or none, never a
// truncated one under the final name.
std::optional<QString> writeText(const QString& text, const QString& path);

// One file that could not be written, as the status line names it:
// "NAME (reason)".
QString writeFailure(const QString& filename, const QString& reason);

// Writes the lines, each ending with a line feed, to `folder`/`filename`; an
// empty list writes nothing. The failure, when the file could not be written.
std::optional<QString> writeIfNonEmpty(const QStringList& lines, const QString& filename,
                                       const QString& folder);

// The end-of-run logs: CONVERSION_REPORT.txt when there are report lines, then
// PAIRING_REPORT.txt when the pairing report is not empty, then
// FFMPEG_ERRORS.txt when there are error lines. A file that cannot be written
// does not stop the others; the failures come back, in that order.
QStringList write(const QStringList& conversionReportLines, const QString& pairingReportText,
                  const QStringList& ffmpegErrorLines, const QString& folder);

// What a run of some of a card's movies adds to a folder that other runs of
// the same card may share (one clip per job, in parallel): the report lines
// already there, each entry (a line with what follows it up to the next
// timestamp) kept unless it is about a movie of this run, then the run's own,
// less its "not chosen" lines for movies the folder's report already tells of.
// A movie converted by any of the runs so ends up told of once, as a run
// over all of them would. Entries are matched by the movie's report name.
QStringList mergedReportLines(const QString& existingReport, const QStringList& runLines,
                              const QStringList& runMovies, const QStringList& notChosenMovies);
// The same for FFMPEG_ERRORS.txt: the lines there about other movies, then the run's.
QStringList mergedErrorLines(const QString& existingErrors, const QStringList& runLines,
                             const QStringList& runMovies);

// `write` for a run of some of a card's movies: CONVERSION_REPORT.txt and
// FFMPEG_ERRORS.txt are merged with what the folder holds, under a lock that
// runs sharing the folder take in turn.
QStringList writeMerged(const QStringList& conversionReportLines, const QString& pairingReportText,
                        const QStringList& ffmpegErrorLines, const QStringList& runMovies,
                        const QStringList& notChosenMovies, const QString& folder);

// The sentence that leads the status line when reports could not be written:
// "Could not write NAME (reason), NAME (reason)."; empty when none failed.
QString writeFailuresSentence(const QStringList& failures);

} // namespace LogWriter
