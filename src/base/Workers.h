#pragma once

class QThreadPool;

// The threads Tolvane's background work runs on: file walks, parsing,
// checksums, reports, a whole backup. Not Qt's global pool: Qt's own painting
// hands the parts of a large fill or an icon's drawing to that pool and the
// window's thread waits for them, so long work of ours there would hold the
// window until a thread came free.
namespace Workers {

// As many threads as the machine has cores; lives as long as the program.
QThreadPool* pool();

} // namespace Workers
