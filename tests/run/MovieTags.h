#pragma once

#include <QMap>
#include <QString>

// What ffprobe reads back of a movie's metadata.
struct MovieTags
{
    // The movie's own tags, key to value.
    QMap<QString, QString> format;
    // The tags of its timecode track (the one whose sample description is tmcd).
    QMap<QString, QString> timecodeTrack;
    // Whether any track but the timecode track carries a reel name.
    bool reelNameElsewhere = false;
    bool read = false;
};

MovieTags movieTags(const QString& moviePath);
