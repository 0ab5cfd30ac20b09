#pragma once

#include <QString>
#include <QStringList>

// The argument vectors of the short queries, each in one place, so what a run
// asks can be repeated exactly elsewhere (by a benchmark's shell script, say).
// Every file's path is made absolute, and ffprobe's comes last. No banner: a
// tool's diagnostics are its own words only.
namespace ToolArguments {

// ffprobe: every stream and the format, as JSON.
QStringList probeFull(const QString& path);
// ffprobe: the one field `entry` names (such as "format=duration"), bare.
QStringList singleValue(const QString& entry, const QString& path);
// ffprobe: the index of each audio stream, one per line.
QStringList audioStreamIndex(const QString& path);
// ffprobe: the first video stream's frame count and average rate.
QStringList videoFrames(const QString& path);
// ffmpeg: the one frame `seconds` into the video, scaled to `height` pixels
// high, as a PNG on standard output.
QStringList thumbnailFrame(const QString& path, double seconds, int height);
// ffmpeg: every file whole, each through a volume-detection filter of its own
// (Parsed_volumedetect_N for the Nth file), into the null muxer: one run for
// all the audio files of a clip.
QStringList volumeDetect(const QStringList& paths);

} // namespace ToolArguments
