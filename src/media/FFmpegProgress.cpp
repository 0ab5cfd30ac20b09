// The reading of ffmpeg's machine-readable progress, apart from the rest of
// the service so that it can be fuzzed on its own.

#include "media/FFmpegService.h"
#include "media/ToolText.h"

std::optional<double> FFmpegService::parseOutTimeSeconds(QStringView chunk)
{
    std::optional<double> seconds;
    for (const QStringView line : chunk.split(u'\n', Qt::SkipEmptyParts)) {
        std::optional<double> value;
        if (line.startsWith(QLatin1String("out_time_ms="))) {
            // Despite its name, ffmpeg writes microseconds here.
            if (const auto micro = ToolText::parseDecimal(line.sliced(12)))
                value = *micro / 1'000'000.0;
        } else if (line.startsWith(QLatin1String("out_time="))) {
            value = timecodeToSeconds(line.sliced(9));
        }
        if (value)
            seconds = value;
    }
    return seconds;
}

std::optional<double> FFmpegService::timecodeToSeconds(QStringView text)
{
    const QList<QStringView> parts = text.split(u':');
    if (parts.size() != 3)
        return std::nullopt;
    const auto hours = ToolText::parseDecimal(parts[0]);
    const auto minutes = ToolText::parseDecimal(parts[1]);
    const auto seconds = ToolText::parseDecimal(parts[2]);
    if (!hours || !minutes || !seconds)
        return std::nullopt;
    return *hours * 3600 + *minutes * 60 + *seconds;
}

std::optional<FFmpegService::VideoFrames> FFmpegService::parseVideoFrames(QStringView text)
{
    std::optional<double> frames;
    std::optional<double> rate;
    for (const QStringView line : text.split(u'\n', Qt::SkipEmptyParts)) {
        const QStringView value = line.trimmed();
        if (value.startsWith(u"nb_frames=")) {
            frames = ToolText::parseDecimal(value.sliced(10));
        } else if (value.startsWith(u"avg_frame_rate=")) {
            const QList<QStringView> parts = value.sliced(15).split(u'/');
            const std::optional<double> numerator = ToolText::parseDecimal(parts.value(0));
            const std::optional<double> denominator =
                parts.size() == 2 ? ToolText::parseDecimal(parts.at(1)) : std::optional<double>(1);
            if (numerator && denominator && *denominator > 0 && parts.size() <= 2)
                rate = *numerator / *denominator;
        }
    }
    if (!frames || !rate || *frames < 0 || *frames > 1e15 || !(*rate > 0))
        return std::nullopt;
    return VideoFrames{static_cast<qint64>(*frames), *rate};
}
