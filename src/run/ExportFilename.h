#pragma once

#include <functional>
#include <QString>

// Names of the movie files a run writes.
namespace ExportFilename {

// The movie name that stands for a clip's place in shooting order: 001.mov to
// 999.mov, then 1000.mov and on. Nothing of the camera's clip name remains.
QString orderedBasename(int orderNumber);

// Tells whether a movie location holds something a run must not overwrite.
using LocationTaken = std::function<bool(const QString& path)>;

// `folder`/`baseFilename` when it is free or holds only an empty leftover,
// otherwise the first free one of stem-2.ext to stem-9999.ext (ext is "mov"
// when the base has none). When all of those are taken the base location comes
// back, and the run then overwrites or skips what is there.
QString uniqueOutputURL(const QString& baseFilename, const QString& folder);
QString uniqueOutputURL(const QString& baseFilename, const QString& folder, const LocationTaken& taken);

// The file system's answer for `uniqueOutputURL`: anything but nothing or an
// empty file is taken, so a folder that happens to carry a movie's name is
// never chosen.
bool locationTaken(const QString& path);

} // namespace ExportFilename
