#pragma once

#include <optional>
#include <QString>

// A neighbouring clip as a CLIP XML's Relation/Connection names it. Many
// cameras write its GlobalClipID; some write the clip name alone.
struct ShotConnection
{
    std::optional<QString> clipName;
    std::optional<QString> globalClipID;

    bool operator==(const ShotConnection&) const = default;
};

// Where a clip stands in a shot the camera split across several clips (at
// its file-size limit): the chain of Top, Previous and Next pieces and the
// frame at which this piece starts within the shot.
struct ShotRelation
{
    std::optional<qint64> offsetInShot;
    std::optional<QString> globalShotID;
    std::optional<ShotConnection> top;
    std::optional<ShotConnection> previous;
    std::optional<ShotConnection> next;

    // True when the clip is one piece of a longer shot.
    bool isSpanned() const { return previous.has_value() || next.has_value(); }

    bool operator==(const ShotRelation&) const = default;
};
