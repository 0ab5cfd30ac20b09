#pragma once

#include <array>
#include <optional>
#include <QString>

// How the audio is placed against the picture in a conversion. `automatic`
// stands for the case the settings call "auto", a reserved word in C++.
enum class AudioSyncMode {
    automatic = 0, // no shift: the P2 metadata already aligns the files
    manual = 1,    // the user's audioOffsetSeconds
};

namespace AudioSyncModes {

// In the order the settings picker lists them.
inline constexpr std::array<AudioSyncMode, 2> all{AudioSyncMode::automatic, AudioSyncMode::manual};

constexpr int rawValue(AudioSyncMode mode)
{
    return static_cast<int>(mode);
}

// No mode for a stored value other than 0 or 1.
std::optional<AudioSyncMode> fromRawValue(qint64 rawValue);

QString label(AudioSyncMode mode);

} // namespace AudioSyncModes
