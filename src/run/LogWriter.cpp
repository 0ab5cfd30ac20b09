#include "run/LogWriter.h"

#include "base/DisplayText.h"
#include "base/Durability.h"

#include <cerrno>
#include <cstring>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QLockFile>
#include <QSaveFile>

namespace LogWriter {

QString timestampedLine(const QString& text, const QDateTime& time)
{
    // The C locale keeps the clock ASCII and 24-hour whatever the user's language is.
    return QLatin1Char('[') + QLocale::c().toString(time.toLocalTime(), QStringLiteral("HH:mm:ss")) +
           QStringLiteral("] ") + text;
}

QString commandReportLine(const QString& clipName, const QString& commandLine, const QDateTime& time)
{
    return timestampedLine(
        DisplayText::escaped(clipName) + QStringLiteral(": running command:\n") + commandLine, time);
}

QString convertedReportLine(const QString& clipName, const QDateTime& time)
{
    return timestampedLine(DisplayText::escaped(clipName) + QStringLiteral(": converted successfully."),
                           time);
}

QString skippedReportLine(const QString& clipName, const QDateTime& time)
{
    return timestampedLine(DisplayText::escaped(clipName) + QStringLiteral(": skipped (already converted)."),
                           time);
}

QString failedReportLine(const QString& clipName, const QString& message, const QDateTime& time)
{
    return timestampedLine(DisplayText::escaped(clipName) + QStringLiteral(": FAILED \u2014 ") +
                               DisplayText::escaped(message),
                           time);
}

QString notStartedReportLine(const QString& clipName, const QString& status, const QDateTime& time)
{
    return timestampedLine(DisplayText::escaped(clipName) + QStringLiteral(": ") + status + QLatin1Char('.'),
                           time);
}

QString notChosenReportLine(const QString& clipName, const QDateTime& time)
{
    return timestampedLine(DisplayText::escaped(clipName) + QStringLiteral(": not chosen."), time);
}

QString errorLine(const QString& clipName, const QString& message)
{
    return DisplayText::escaped(clipName) + QStringLiteral(": ") + DisplayText::escaped(message);
}

std::optional<QString> writeText(const QString& text, const QString& path)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return file.errorString();
    const QByteArray bytes = text.toUtf8();
    // Buffered bytes reach the disk only on flush; QSaveFile would commit even
    // after the flush inside its close failed, so a full disk is caught here.
    errno = 0;
    if (file.write(bytes) != bytes.size() || !file.flush() || file.error() != QFileDevice::NoError) {
        // Qt words a failed flush "Unknown error"; the system says what it was.
        const QString reason = errno != 0 ? QString::fromLocal8Bit(std::strerror(errno)) : file.errorString();
        file.cancelWriting();
        return reason;
    }
    // The content reaches the disk before the file takes its name, and the
    // name with the folder: QSaveFile does neither.
    if (const std::optional<QString> failure = Durability::flushDescriptor(file.handle())) {
        file.cancelWriting();
        return failure;
    }
    if (!file.commit())
        return file.errorString();
    return Durability::flushFolderOf(path);
}

QString writeFailure(const QString& filename, const QString& reason)
{
    return filename + QStringLiteral(" (") + reason + QLatin1Char(')');
}

std::optional<QString> writeIfNonEmpty(const QStringList& lines, const QString& filename,
                                       const QString& folder)
{
    if (lines.isEmpty())
        return std::nullopt;
    if (const std::optional<QString> reason =
            writeText(lines.join(QLatin1Char('\n')) + QLatin1Char('\n'), QDir(folder).filePath(filename)))
        return writeFailure(filename, *reason);
    return std::nullopt;
}

QStringList write(const QStringList& conversionReportLines, const QString& pairingReportText,
                  const QStringList& ffmpegErrorLines, const QString& folder)
{
    QStringList failures;
    if (const std::optional<QString> failure =
            writeIfNonEmpty(conversionReportLines, conversionReportFilename, folder))
        failures.append(*failure);
    if (!pairingReportText.isEmpty()) {
        if (const std::optional<QString> reason =
                writeText(pairingReportText, QDir(folder).filePath(pairingReportFilename)))
            failures.append(writeFailure(pairingReportFilename, *reason));
    }
    if (const std::optional<QString> failure =
            writeIfNonEmpty(ffmpegErrorLines, ffmpegErrorsFilename, folder))
        failures.append(*failure);
    return failures;
}

namespace {

// "[HH:mm:ss] " opens every entry of the conversion report.
bool opensEntry(QStringView line)
{
    return line.size() > 11 && line.at(0) == QLatin1Char('[') && line.at(9) == QLatin1Char(']') &&
           line.at(10) == QLatin1Char(' ');
}

QStringList entriesOf(const QString& report)
{
    QStringList entries;
    for (const QString& line : report.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (opensEntry(line) || entries.isEmpty())
            entries.append(line);
        else
            entries.last() += QLatin1Char('\n') + line;
    }
    return entries;
}

// Whether `text` is about one of `movies` ("NAME: …").
bool isAbout(QStringView text, const QStringList& movies)
{
    for (const QString& movie : movies) {
        const QString prefix = DisplayText::escaped(movie) + QStringLiteral(": ");
        if (text.startsWith(prefix))
            return true;
    }
    return false;
}

std::optional<QString> readText(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return QString::fromUtf8(file.readAll());
}

} // namespace

QStringList mergedReportLines(const QString& existingReport, const QStringList& runLines,
                              const QStringList& runMovies, const QStringList& notChosenMovies)
{
    QStringList merged;
    QStringList told;
    for (const QString& entry : entriesOf(existingReport)) {
        const QStringView text = QStringView(entry).mid(opensEntry(entry) ? 11 : 0);
        if (isAbout(text, runMovies))
            continue;
        merged.append(entry);
        for (const QString& movie : notChosenMovies)
            if (isAbout(text, {movie}))
                told.append(movie);
    }
    for (const QString& line : runLines) {
        const QStringView text = QStringView(line).mid(opensEntry(line) ? 11 : 0);
        if (!isAbout(text, told))
            merged.append(line);
    }
    return merged;
}

QStringList mergedErrorLines(const QString& existingErrors, const QStringList& runLines,
                             const QStringList& runMovies)
{
    QStringList merged;
    for (const QString& line : existingErrors.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        if (!isAbout(line, runMovies))
            merged.append(line);
    return merged + runLines;
}

QStringList writeMerged(const QStringList& conversionReportLines, const QString& pairingReportText,
                        const QStringList& ffmpegErrorLines, const QStringList& runMovies,
                        const QStringList& notChosenMovies, const QString& folder)
{
    const QDir dir(folder);
    // Held only while the reports are read and replaced; a lock left by a
    // killed run counts as stale after a while and is taken over.
    QLockFile lock(dir.filePath(QStringLiteral(".reports.lock")));
    lock.lock();
    const QString report = readText(dir.filePath(conversionReportFilename)).value_or(QString());
    const QString errors = readText(dir.filePath(ffmpegErrorsFilename)).value_or(QString());
    const QStringList errorLines = mergedErrorLines(errors, ffmpegErrorLines, runMovies);
    // The errors of a movie that has now converted are no longer true.
    if (errorLines.isEmpty())
        QFile::remove(dir.filePath(ffmpegErrorsFilename));
    return write(mergedReportLines(report, conversionReportLines, runMovies, notChosenMovies),
                 pairingReportText, errorLines, folder);
}

QString writeFailuresSentence(const QStringList& failures)
{
    if (failures.isEmpty())
        return QString();
    return QStringLiteral("Could not write ") + failures.join(QStringLiteral(", ")) + QLatin1Char('.');
}

} // namespace LogWriter
