#pragma once

#include <QList>
#include <QString>
#include <utility>

// What a movie records about its clip besides the essence: the reel name of
// its timecode track, which editing software conforms by, and movie-level
// keys, in the order they are written.
struct MovieMetadata
{
    QString reelName;
    QList<std::pair<QString, QString>> entries;

    bool isEmpty() const { return reelName.isEmpty() && entries.isEmpty(); }

    // `value` without control characters (line breaks included) and the
    // blanks around it: a value is one line of text, whatever a card holds.
    static QString cleaned(const QString& value);

    bool operator==(const MovieMetadata&) const = default;
};
