#pragma once

#include <functional>
#include <QString>
#include <QStringList>

// Where in its folder a run writes each movie. The movie's own name comes from
// the clip (P2Clip::outputFilename and ExportFilename::orderedBasename in
// card/P2Clip.h).
namespace ExportFilename {

// Tells whether a movie location holds something a run must not overwrite.
using LocationTaken = std::function<bool(const QString& path)>;

// The file system's answer for `uniqueOutputURL`: anything but nothing or an
// empty file is taken, so a folder that happens to carry a movie's name is
// never chosen.
bool locationTaken(const QString& path);

// `folder`/`baseFilename` when it is free or holds only an empty leftover,
// otherwise the first free one of stem-2.ext to stem-9999.ext (ext is "mov"
// when the base has none). When all of those are taken the base location comes
// back, and the run then overwrites or skips what is there.
QString uniqueOutputURL(const QString& baseFilename, const QString& folder);
QString uniqueOutputURL(const QString& baseFilename, const QString& folder, const LocationTaken& taken);

// The locations of a whole run, one per base name in order: each is chosen as
// by `uniqueOutputURL`, and a location given to an earlier clip of the run
// counts as taken, so two clips whose names agree (0001AB.MXF in two camera
// sub-folders, or 0001AB.MXF beside 0001AB.mxf) never write or skip into one
// movie. Names that differ only in letter case count as the same, since the
// movies may well be copied to a disk that does not tell them apart.
QStringList uniqueOutputURLs(const QStringList& baseFilenames, const QString& folder,
                             const LocationTaken& taken = locationTaken);

} // namespace ExportFilename
