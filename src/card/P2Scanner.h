#pragma once

#include "card/P2CardStructure.h"

#include <QSet>
#include <QString>

// Finds the card folders under a chosen folder and lists their essence and
// metadata files. Reads directory listings only; safe on any thread.
namespace P2Scanner {

// Lower-cased file extensions of each kind of listed file.
extern const QSet<QString> videoExtensions;
extern const QSet<QString> audioExtensions;
extern const QSet<QString> xmlExtensions;

// How far the walk for loose MXF files goes when a folder holds no card
// folders: four levels, 5000 files, one file system, nothing virtual.
FileSystemUtilities::WalkBounds looseWalkBounds();

// Accepts a card root or its CONTENTS folder alike. Never fails: a folder that
// holds no card gives absent folders and empty lists, and what could not be
// read is listed in `unreadable`.
// A card found just as it was at an earlier scan of this process (the same
// listings, every file the same by its FileState) gives that scan's structure,
// snapshot number included, without asking anything more of its files. A card
// whose folders the system has watched since then, with no change reported,
// gives it without even a listing.
P2CardStructure scan(const QString& rootURL);

// How many times this process listed a card's folders and looked at its files.
qint64 lookCount();

// What the user is told when a scan found no video essence to convert.
QString noVideoMessage();
// The same for `structure`: when part of it could not be read, that is said
// instead, naming each folder or file with the system's reason, and a walk
// for loose files that gave up says why.
QString noVideoMessage(const P2CardStructure& structure);

// "“PATH” cannot be read: REASON."
QString unreadableSentence(const FileSystemUtilities::Unreadable& entry);

// Why a card folder was not read: "folder `video` beside `VIDEO` was not read".
QString besideReason(const QString& folderName, const QString& chosenName);

// "“PATH” was not considered: REASON."
QString passedOverSentence(const FileSystemUtilities::PassedOver& entry);

} // namespace P2Scanner
