#pragma once

#include "base/FileState.h"
#include "media/MXFHeaderReader.h"

#include <any>
#include <optional>
#include <QByteArray>
#include <QCoroTask>
#include <QHash>
#include <QString>

// What this process has learnt about files, so no fact about an unchanged
// file is asked twice: the MXF header reader's facts, every tool answer and
// whatever else is made from a file's bytes alone, kept in memory only. A file is the same while its path
// and its FileState are; when either changes it is read again.
namespace ProbeCache {

using FileIdentity = FileState;

// The identity of the file at `path` now; nothing when it cannot be read.
std::optional<FileIdentity> identify(const QString& path);

// The header facts of `path`, read on a worker thread the first time and
// remembered while the file is unchanged. Nothing when the reader cannot tell
// (or is switched off).
QCoro::Task<std::optional<MXFHeaderFacts>> headerFacts(QString path);

// The same for many files in one pass on the calling thread (meant for a
// worker): the facts of each file the reader could tell.
QHash<QString, MXFHeaderFacts> readHeaders(const QStringList& paths);

// A tool's answer for `query` about the file at `path` as it was when
// `identity` was taken.
std::optional<QByteArray> answer(const QString& path, const FileIdentity& identity, const QString& query);
void remember(const QString& path, const FileIdentity& identity, const QString& query,
              const QByteArray& answer);

// Any other value made from a file's bytes alone (a parsed CLIP XML, say),
// under a `kind` of its own, for the file as it was when `identity` was taken.
std::optional<std::any> derived(const QString& path, const FileIdentity& identity, const QString& kind);
void rememberDerived(const QString& path, const FileIdentity& identity, const QString& kind, std::any value);

// How the facts of this process were found.
struct Statistics
{
    int filesReadNatively = 0;    // header facts read by the reader
    int filesNotReadNatively = 0; // the reader could not tell
    int toolRuns = 0;             // ffprobe or ffmpeg runs for a file's facts
    int answersFromMemory = 0;    // facts and answers that needed no read at all
    int answersNotRemembered = 0; // tool runs that timed out or never started, asked again next time
    qint64 nativeReadNanoseconds = 0;
    qint64 toolRunNanoseconds = 0;
};
Statistics statistics();
void recordToolRun(qint64 nanoseconds);
void recordAnswerNotRemembered();

// Changes whenever what is remembered is dropped as a whole (forget, reset),
// so whatever was made from remembered answers (a card's scan, its pairing)
// can tell it is out of date.
quint64 generation();

// Tests only: forget every file, as when a stand-in tool will answer differently.
void forget();
// Tests and benchmarks only: forget every file and every count; with
// `enabled` false the header reader is never asked, so every fact comes from
// the tools as it would without it.
void reset(bool nativeReaderEnabled = true);

} // namespace ProbeCache
