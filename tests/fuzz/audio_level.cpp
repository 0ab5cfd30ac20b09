// The volumedetect reader on any text.
#include "media/AudioLevel.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString output =
        QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const AudioLevel level = AudioLevel::fromVolumeDetectOutput(output);
    if ((level.meanDB && std::isnan(*level.meanDB)) || (level.maxDB && std::isnan(*level.maxDB)))
        __builtin_trap();
    if (level.summary().isEmpty())
        __builtin_trap();
    return 0;
}
