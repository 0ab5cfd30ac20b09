#pragma once

#include <optional>
#include <QString>

// What a camera and its operator recorded about a clip in its CLIP XML, as
// written; each is absent where the XML does not have it.
struct ClipNotes
{
    std::optional<QString> userClipName;
    std::optional<QString> manufacturer;
    std::optional<QString> modelName;
    std::optional<QString> serialNumber;
    std::optional<QString> shooter;
    std::optional<QString> scene;
    std::optional<QString> take;
    // The texts of every memo, in order, each on its own line.
    std::optional<QString> memo;

    bool operator==(const ClipNotes&) const = default;
};
