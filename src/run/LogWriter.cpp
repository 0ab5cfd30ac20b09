#include "run/LogWriter.h"

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
    return timestampedLine(clipName + QStringLiteral(": running command:\n") + commandLine, time);
}

QString convertedReportLine(const QString& clipName, const QDateTime& time)
{
    return timestampedLine(clipName + QStringLiteral(": converted successfully."), time);
}

QString skippedReportLine(const QString& clipName, const QDateTime& time)
{
    return timestampedLine(clipName + QStringLiteral(": skipped (already converted)."), time);
}

QString failedReportLine(const QString& clipName, const QString& message, const QDateTime& time)
{
    return timestampedLine(clipName + QStringLiteral(": FAILED \u2014 ") + message, time);
}

QString errorLine(const QString& clipName, const QString& message)
{
    return clipName + QStringLiteral(": ") + message;
}

std::optional<QString> writeText(const QString& text, const QString& path)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return file.errorString();
    const QByteArray bytes = text.toUtf8();
    if (file.write(bytes) != bytes.size()) {
        const QString reason = file.errorString();
        file.cancelWriting();
        return reason;
    }
    if (!file.commit())
        return file.errorString();
    return std::nullopt;
}

bool writeIfNonEmpty(const QStringList& lines, const QString& filename, const QString& folder)
{
    if (lines.isEmpty())
        return true;
    return !writeText(lines.join(QLatin1Char('\n')) + QLatin1Char('\n'), QDir(folder).filePath(filename));
}

bool write(const QStringList& conversionReportLines, const QString& pairingReportText,
           const QStringList& ffmpegErrorLines, const QString& folder)
{
    bool allWritten = writeIfNonEmpty(conversionReportLines, conversionReportFilename, folder);
    if (!pairingReportText.isEmpty())
        allWritten =
            !writeText(pairingReportText, QDir(folder).filePath(pairingReportFilename)) && allWritten;
    allWritten = writeIfNonEmpty(ffmpegErrorLines, ffmpegErrorsFilename, folder) && allWritten;
    return allWritten;
}

} // namespace LogWriter
