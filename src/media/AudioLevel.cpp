#include "media/AudioLevel.h"

#include "media/ToolText.h"

#include <QList>

namespace {

// Below this mean level a track is most likely an input nothing was plugged into.
constexpr double noiseFloorDB = -55.0;

bool isNumberCharacter(QChar c)
{
    return (c >= u'0' && c <= u'9') || c == u'-' || c == u'.';
}

// The number right after `marker`: the run of digits, "-" and "." that follows
// it. "-inf" gives only "-", which is not a number.
std::optional<double> valueAfter(QStringView line, QLatin1String marker)
{
    const qsizetype at = line.indexOf(marker);
    if (at < 0)
        return std::nullopt;
    const QStringView rest = line.mid(at + marker.size());
    qsizetype length = 0;
    while (length < rest.size() && isNumberCharacter(rest[length]))
        ++length;
    return ToolText::parseDecimal(rest.first(length));
}

} // namespace

QString AudioLevel::summary() const
{
    if (!meanDB || !maxDB)
        return QStringLiteral("unmeasured");
    const QString suffix =
        *meanDB < noiseFloorDB ? QStringLiteral(" — near noise floor, likely unused input") : QString();
    return QString::asprintf("mean %.1f dBFS, peak %.1f dBFS", *meanDB, *maxDB) + suffix;
}

AudioLevel AudioLevel::fromVolumeDetectOutput(const QString& output)
{
    AudioLevel level;
    for (const QStringView line : QStringView(output).split(u'\n', Qt::SkipEmptyParts)) {
        if (const auto mean = valueAfter(line, QLatin1String("mean_volume: ")))
            level.meanDB = mean;
        if (const auto peak = valueAfter(line, QLatin1String("max_volume: ")))
            level.maxDB = peak;
    }
    return level;
}

QList<AudioLevel> AudioLevel::fromVolumeDetectOutputs(const QString& output, qsizetype count)
{
    const QLatin1String filterName("[Parsed_volumedetect_");
    QList<QString> linesOf(count);
    for (const QStringView line : QStringView(output).split(u'\n', Qt::SkipEmptyParts)) {
        qsizetype filter = 0;
        if (const qsizetype at = line.indexOf(filterName); at >= 0) {
            const QStringView rest = line.mid(at + filterName.size());
            qsizetype digits = 0;
            while (digits < rest.size() && digits < 6 && rest[digits].isDigit())
                ++digits;
            bool valid = false;
            filter = rest.first(digits).toLongLong(&valid);
            if (!valid)
                continue;
        }
        if (filter < count)
            linesOf[filter] += line.toString() + u'\n';
    }
    QList<AudioLevel> levels;
    levels.reserve(count);
    for (const QString& lines : std::as_const(linesOf))
        levels.append(fromVolumeDetectOutput(lines));
    return levels;
}
