#pragma once

#include <optional>
#include <QString>

struct MXFPictureFacts;
struct StreamInfo;

// How a movie codes its source's picture: as interlaced ProRes when the
// source's frames are interlaced, so each keeps its fields and their order,
// and which colour description it states where the source states none.
struct PictureCoding
{
    bool interlaced = false;
    // ffmpeg's names for the values the movie states in place of the
    // source's unstated ones; empty: the source's own is kept.
    QString primaries;
    QString transfer;
    QString matrix;

    // For a picture of `lines` lines (unknown: nothing is assumed) whose own
    // description states `primaries`, `transfer` and `matrix` (ffprobe's
    // words, "unknown" or empty when unstated). Rec. 709 for HD (720 lines and
    // more), SMPTE 170M for 480-line SD, BT.470BG for 576-line SD.
    static PictureCoding forPicture(bool interlaced, std::optional<int> lines, const QString& primaries = {},
                                    const QString& transfer = {}, const QString& matrix = {});
    // For what an MXF header states, which is never a colour description.
    static PictureCoding fromHeader(const MXFPictureFacts& picture);
    // For the video stream ffprobe describes: interlaced when its field order is one of fields.
    static PictureCoding fromStream(const StreamInfo& stream);

    // The filter that states the assumed values on every frame; empty when nothing is assumed.
    QString colourFilter() const;

    bool operator==(const PictureCoding&) const = default;
};
