#include "card/ClipSortKey.h"

QString label(ClipSortKey::Source source)
{
    switch (source) {
    case ClipSortKey::Source::xmlRecordingDateTime:
        return QStringLiteral("XML recording date/time");
    case ClipSortKey::Source::clipTimecode:
        return QStringLiteral("Clip start timecode (XML has no recording date/time)");
    case ClipSortKey::Source::mxfCreationDate:
        return QStringLiteral("MXF embedded creation date (ffprobe)");
    case ClipSortKey::Source::fileSystemDate:
        return QStringLiteral("File system date (last-resort fallback)");
    }
    Q_UNREACHABLE();
}
