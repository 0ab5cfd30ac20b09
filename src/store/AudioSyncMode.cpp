#include "store/AudioSyncMode.h"

namespace AudioSyncModes {

std::optional<AudioSyncMode> fromRawValue(qint64 rawValue)
{
    for (const AudioSyncMode mode : all) {
        if (AudioSyncModes::rawValue(mode) == rawValue)
            return mode;
    }
    return std::nullopt;
}

QString label(AudioSyncMode mode)
{
    switch (mode) {
    case AudioSyncMode::automatic:
        return QStringLiteral("Auto (from P2 metadata)");
    case AudioSyncMode::manual:
        return QStringLiteral("Manual override");
    }
    return {};
}

} // namespace AudioSyncModes
