#include "run/LogWriter.h"

#include "base/DisplayText.h"
#include "base/Durability.h"

#include <cerrno>
#include <cstring>
#include <QDir>
#include <QLocale>
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

QString writeFailuresSentence(const QStringList& failures)
{
    if (failures.isEmpty())
        return QString();
    return QStringLiteral("Could not write ") + failures.join(QStringLiteral(", ")) + QLatin1Char('.');
}

} // namespace LogWriter
