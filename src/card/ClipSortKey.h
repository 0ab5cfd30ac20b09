#pragma once

#include <QDateTime>
#include <QString>

// What a clip's place in shooting order rests on.
struct ClipSortKey
{
    // Where `date` came from, best first.
    enum class Source {
        xmlRecordingDateTime,
        clipTimecode,
        mxfCreationDate,
        fileSystemDate,
    };

    QDateTime date;
    Source source = Source::fileSystemDate;
    // The key as the reports show it.
    QString display;

    bool operator==(const ClipSortKey&) const = default;
};

// The label shown for a source in the reports.
QString label(ClipSortKey::Source source);
