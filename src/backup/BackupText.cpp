#include "backup/BackupText.h"

#include <QLocale>

namespace BackupText {

namespace {

QString plural(int count, const char* one, const char* many)
{
    return QString::number(count) + QLatin1Char(' ') + QString::fromLatin1(count == 1 ? one : many);
}

} // namespace

QString size(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

QString notEnoughSpace(const QString& destination, qint64 needed, qint64 free)
{
    return QStringLiteral("Not enough free space on “%1”: the backup needs %2 and %3 is free.")
        .arg(destination, size(needed), size(free));
}

QString existingDiffers(const QString& path)
{
    return QStringLiteral("“%1” already exists and differs from the card’s file; it is never overwritten. "
                          "Move it away to back up again.")
        .arg(path);
}

QString mismatch(const QString& path)
{
    return QStringLiteral("“%1” does not match the card: its checksum differs when read back. "
                          "The copy is kept for inspection.")
        .arg(path);
}

QString cannotCopy(const QString& path, const QString& reason)
{
    return QStringLiteral("“%1” could not be copied: %2").arg(path, reason);
}

QString noSuchDestination(const QString& destination)
{
    return QStringLiteral("The destination “%1” is not a folder that can be written to.").arg(destination);
}

QString destinationOnCard(const QString& destination)
{
    return QStringLiteral("The destination “%1” is on the card, which is never written to.").arg(destination);
}

QString sameDestinationTwice(const QString& destination)
{
    return QStringLiteral("The destination “%1” is given twice.").arg(destination);
}

QString noSuchCard(const QString& card)
{
    return QStringLiteral("“%1” is not a folder.").arg(card);
}

QString cardHasHistory(const QString& card)
{
    return QStringLiteral(
               "“%1” already holds an ascmhl folder; copy it with the tool that made that history.")
        .arg(card);
}

QString provenSentence(int fileCount, qint64 bytes, int copyCount)
{
    return QStringLiteral("Backed up %1 (%2) to %3; every copy was read back and matches the card.")
        .arg(plural(fileCount, "file", "files"), size(bytes), plural(copyCount, "place", "places"));
}

QString failedSentence(int mismatchCount)
{
    if (mismatchCount == 0)
        return QStringLiteral("The backup failed; the card is the only complete copy.");
    return QStringLiteral("The backup failed: %1 not match the card; the card is the only complete copy.")
        .arg(mismatchCount == 1 ? QStringLiteral("1 copy does")
                                : QStringLiteral("%1 copies do").arg(mismatchCount));
}

QString cancelledSentence()
{
    return QStringLiteral("The backup was cancelled; no incomplete file was left behind.");
}

QString cardMayBeEjected()
{
    return QStringLiteral("The backup is proven: the card may be ejected.");
}

} // namespace BackupText
