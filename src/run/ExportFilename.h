#pragma once

#include <QString>

// Names of the movie files a run writes.
namespace ExportFilename {

// The movie name that stands for a clip's place in shooting order: 001.mov to
// 999.mov, then 1000.mov and on. Nothing of the camera's clip name remains.
QString orderedBasename(int orderNumber);

} // namespace ExportFilename
