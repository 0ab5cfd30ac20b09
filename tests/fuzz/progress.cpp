// ffmpeg's progress lines on any text.
#include "media/FFmpegService.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString chunk =
        QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (const std::optional<double> seconds = FFmpegService::parseOutTimeSeconds(chunk);
        seconds && std::isnan(*seconds))
        __builtin_trap();
    if (const std::optional<double> seconds = FFmpegService::timecodeToSeconds(chunk);
        seconds && std::isnan(*seconds))
        __builtin_trap();
    return 0;
}
