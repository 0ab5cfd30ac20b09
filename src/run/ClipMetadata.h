#pragma once

#include "card/P2Clip.h"
#include "media/MovieMetadata.h"

#include <QString>

// What a movie records of the clip it was made from, when the user asks for
// it: enough to trace the movie back to its card and to conform it by reel.
namespace ClipMetadata {

// The movie-level keys, in the order they are written. QuickTime's own keys
// where one means the same thing, so players show them; Tolvane's otherwise.
inline const QString creationTimeKey = QStringLiteral("creation_time");
inline const QString titleKey = QStringLiteral("com.apple.quicktime.title");
inline const QString makeKey = QStringLiteral("com.apple.quicktime.make");
inline const QString modelKey = QStringLiteral("com.apple.quicktime.model");
inline const QString serialNumberKey = QStringLiteral("com.tolvane.camera-serial-number");
inline const QString shooterKey = QStringLiteral("com.tolvane.shooter");
inline const QString sceneKey = QStringLiteral("com.tolvane.scene");
inline const QString takeKey = QStringLiteral("com.tolvane.take");
inline const QString memoKey = QStringLiteral("com.tolvane.memo");
inline const QString umidKey = QStringLiteral("com.tolvane.material-package-umid");

// The clip's name as the reel; its recording instant in UTC as the creation
// time; each note of its CLIP XML and its material package UMID where known.
// A joined shot's movie takes its first piece's.
MovieMetadata forClip(const P2Clip& clip);

// The memo texts, one per line as the CLIP XML reader gives them, as one
// line: a value keeps no line break, and the memos stay apart.
QString memoLine(const QString& memos);

} // namespace ClipMetadata
