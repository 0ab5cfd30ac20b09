#pragma once

#include "card/Pairing.h"

#include <optional>
#include <QString>
#include <QTemporaryDir>
#include <SyntheticCard.h>

// What the pairing tests share: a tool folder of their own, cards written to
// a temporary folder, and pairing run to its end.
namespace PairingTestSupport {

// Makes FFmpegService look for its tools in a folder of its own for as long
// as this lives, then restores the fixed places.
class ToolFolder
{
public:
    // `ffprobeTarget` becomes the folder's ffprobe (a symbolic link); with an
    // empty target the folder holds no tool at all.
    explicit ToolFolder(const QString& ffprobeTarget);
    ~ToolFolder();
    ToolFolder(const ToolFolder&) = delete;
    ToolFolder& operator=(const ToolFolder&) = delete;

    QString path() const { return dir_.path(); }
    // The link was made and the service found it (or found nothing when asked for none).
    bool ready() const { return ready_; }

private:
    QTemporaryDir dir_;
    bool ready_ = false;
};

// The real ffprobe, or empty when it cannot be found.
QString realFFprobe();

// Writes synthetic cards into folders with spaces in their names.
class CardWriter
{
public:
    // Nothing when the builder failed; the reason is logged.
    std::optional<SyntheticCard::WrittenCard> write(SyntheticCard::CardSpec plan);
    // A fresh, empty folder below the writer's temporary folder.
    QString newFolder();

private:
    QTemporaryDir dir_;
    int count_ = 0;
};

// A short clip of the builder's numbered series (one frame is enough to pair).
SyntheticCard::ClipSpec shortClip(int n, int audioCount = 4);

// Scans `root` and pairs it, to the end.
P2MetadataParser::PairingResult scanAndPair(const QString& root, bool allowUnsafeFallback);

// The pairing report of a result.
QString reportText(const P2MetadataParser::PairingResult& result);

bool writeFile(const QString& path, const QByteArray& content);

} // namespace PairingTestSupport

// Tests that read real MXF files need the real ffprobe; on CI its absence is a failure.
#define REQUIRE_REAL_FFPROBE()                                                                               \
    do {                                                                                                     \
        if (PairingTestSupport::realFFprobe().isEmpty()) {                                                   \
            if (qEnvironmentVariable("CI") == QLatin1String("true"))                                         \
                QFAIL("ffprobe is missing");                                                                 \
            QSKIP("ffprobe is missing");                                                                     \
        }                                                                                                    \
    } while (false)
