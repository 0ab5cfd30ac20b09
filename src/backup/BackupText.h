#pragma once

#include <QString>
#include <QtGlobal>

// The sentences a backup says, shared by the command line and the window.
namespace BackupText {

// "2.1 GB"
QString size(qint64 bytes);

QString notEnoughSpace(const QString& destination, qint64 needed, qint64 free);
QString existingDiffers(const QString& path);
QString mismatch(const QString& path);
QString cannotCopy(const QString& path, const QString& reason);
QString noSuchDestination(const QString& destination);
QString destinationOnCard(const QString& destination);
QString sameDestinationTwice(const QString& destination);
QString noSuchCard(const QString& card);
QString cardHasHistory(const QString& card);

// The closing sentence of a backup that ended `proven` for `copyCount`
// copies of `fileCount` files: "Backed up 12 files (2.1 GB) to 2 places; every
// copy was read back and matches the card."
QString provenSentence(int fileCount, qint64 bytes, int copyCount);
QString failedSentence(int mismatchCount);
QString cancelledSentence();
// Said once the copies are proven, before anything else is done with them.
QString cardMayBeEjected();

} // namespace BackupText
