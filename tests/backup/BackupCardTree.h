#pragma once

#include <QString>
#include <QStringList>

// A small card root with what a backup must carry: clip files (one larger
// than a read), LASTCLIP.TXT beside CONTENTS, a hidden file, an empty folder,
// a file with an awkward name, and modification times to the nanosecond.
namespace BackupCardTree {

// Creates the card under `root`/`cardName`; gives its folder.
QString create(const QString& root, const QString& cardName = QStringLiteral("CARD_A"));

// The card's files, relative to its root.
QStringList files();

// Whether the two files hold the same bytes.
bool sameBytes(const QString& a, const QString& b);

// Modification time of `path` in nanoseconds since the epoch.
qint64 modifiedNanoseconds(const QString& path);

// Validates `xml` with xmllint against the schema file `schema` of the tests'
// ASC MHL schemas; gives xmllint's complaint, empty when valid.
QString schemaProblems(const QString& xmlPath, const QString& schema);

} // namespace BackupCardTree
