#include "card/ShootOrder.h"

#include "base/Workers.h"
#include "card/ProbeBatch.h"
#include "media/FFmpegService.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <QCoroFuture>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>
#include <QtConcurrent>
#include <QTimeZone>

namespace P2MetadataParser {

namespace {

// A file system without a date at all sorts before everything else.
QDateTime distantPast()
{
    return QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC);
}

// Timecode pieces may carry a sign, as an integer literal may; nothing else.
std::optional<qint64> parseTimecodePiece(QStringView piece)
{
    static const QRegularExpression integer(QStringLiteral("^[+-]?[0-9]+$"));
    if (!integer.match(piece).hasMatch())
        return std::nullopt;
    bool ok = false;
    const qint64 value = piece.toLongLong(&ok);
    return ok ? std::optional<qint64>(value) : std::nullopt;
}

std::optional<qint64> wholeSeconds(qint64 hours, qint64 minutes, qint64 seconds)
{
    qint64 fromHours = 0;
    qint64 fromMinutes = 0;
    qint64 sum = 0;
    if (__builtin_mul_overflow(hours, 3600, &fromHours) ||
        __builtin_mul_overflow(minutes, 60, &fromMinutes) ||
        __builtin_add_overflow(fromHours, fromMinutes, &sum) || __builtin_add_overflow(sum, seconds, &sum))
        return std::nullopt;
    return sum;
}

// The anchor plus a number of seconds, kept within what an instant can hold so
// that even an absurd timecode still orders after the sane ones.
QDateTime offsetFrom(const QDateTime& anchor, double seconds)
{
    constexpr double limit = static_cast<double>(std::numeric_limits<qint64>::max() / 4);
    const double milliseconds =
        std::clamp(static_cast<double>(anchor.toMSecsSinceEpoch()) + seconds * 1000.0, -limit, limit);
    return QDateTime::fromMSecsSinceEpoch(std::llround(milliseconds), Qt::UTC);
}

// Midnight UTC of the earliest recording date/time, or of 1970-01-01 when no
// clip has one: the day that timecodes, which carry no date, are placed on.
QDateTime timecodeAnchor(const QList<P2Clip>& clips)
{
    std::optional<QDateTime> earliest;
    for (const P2Clip& clip : clips) {
        if (clip.recordingDateTime && (!earliest || *clip.recordingDateTime < *earliest))
            earliest = clip.recordingDateTime;
    }
    const QDate day = earliest ? earliest->toUTC().date() : QDate(1970, 1, 1);
    return QDateTime(day, QTime(0, 0), QTimeZone::utc());
}

// Creation date, else modification date, else the distant past. Reads file
// attributes, so it runs off the GUI thread.
QHash<QString, QDateTime> fileSystemDates(const QStringList& files)
{
    QHash<QString, QDateTime> dates;
    for (const QString& file : files) {
        const QFileInfo info(file);
        QDateTime date = info.birthTime();
        if (!date.isValid())
            date = info.lastModified();
        dates.insert(file, date.isValid() ? date.toUTC() : distantPast());
    }
    return dates;
}

QStringList videosWithoutKey(const QList<P2Clip>& clips, const QHash<QUuid, ClipSortKey>& keys)
{
    QStringList videos;
    for (const P2Clip& clip : clips) {
        if (!keys.contains(clip.id))
            videos.append(clip.videoURL);
    }
    return videos;
}

ClipSortKey dateKey(const QDateTime& date, ClipSortKey::Source source)
{
    return ClipSortKey{date, source, formatInternetDateTime(date)};
}

} // namespace

std::optional<QDateTime> parseInternetDateTime(QStringView text)
{
    static const QRegularExpression form(
        QStringLiteral("^([0-9]{4})-([0-9]{2})-([0-9]{2})T([0-9]{2}):([0-9]{2}):([0-9]{2})(?:\\.([0-9]+))?"
                       "(?:Z|([+-])([0-9]{2}):([0-9]{2}))$"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const auto number = [&match](int group) { return match.capturedView(group).toInt(); };
    const QDate date(number(1), number(2), number(3));
    const int milliseconds = match.capturedView(7).isEmpty()
                                 ? 0
                                 : match.captured(7).left(3).leftJustified(3, QLatin1Char('0')).toInt();
    const QTime time(number(4), number(5), number(6), milliseconds);
    if (!date.isValid() || !time.isValid())
        return std::nullopt;
    int offsetSeconds = 0;
    if (match.hasCaptured(8)) {
        const int hours = number(9);
        const int minutes = number(10);
        if (hours > 23 || minutes > 59)
            return std::nullopt;
        offsetSeconds = (hours * 3600 + minutes * 60) * (match.capturedView(8) == u"-" ? -1 : 1);
    }
    return QDateTime(date, time, QTimeZone(offsetSeconds)).toUTC();
}

QString formatInternetDateTime(const QDateTime& instant)
{
    return instant.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) + QLatin1Char('Z');
}

std::optional<double> timecodeToSecondsOfDay(const std::optional<QString>& timecode,
                                             std::optional<double> frameRate)
{
    if (!timecode)
        return std::nullopt;
    QString text = *timecode;
    const QStringList pieces =
        text.replace(QLatin1Char(';'), QLatin1Char(':')).split(QLatin1Char(':'), Qt::SkipEmptyParts);
    if (pieces.size() != 4)
        return std::nullopt;
    std::array<qint64, 4> values{};
    for (qsizetype i = 0; i < 4; ++i) {
        const std::optional<qint64> value = parseTimecodePiece(pieces.at(i));
        if (!value)
            return std::nullopt;
        values[static_cast<size_t>(i)] = *value;
    }
    const std::optional<qint64> seconds = wholeSeconds(values[0], values[1], values[2]);
    if (!seconds)
        return std::nullopt;
    const double rate = frameRate.value_or(30.0);
    const double frames = rate > 0 ? static_cast<double>(values[3]) / rate : 0.0;
    return static_cast<double>(*seconds) + frames;
}

QCoro::Task<QHash<QString, QString>> probeModificationDates(QStringList files, int concurrency)
{
    co_return co_await ProbeBatch::run(std::move(files), concurrency, &FFmpegService::modificationDate);
}

QCoro::Task<QHash<QUuid, ClipSortKey>> resolveShootOrder(QList<P2Clip> clips)
{
    QHash<QUuid, ClipSortKey> keys;
    for (const P2Clip& clip : clips) {
        if (clip.recordingDateTime)
            keys.insert(clip.id, dateKey(*clip.recordingDateTime, ClipSortKey::Source::xmlRecordingDateTime));
    }

    const QDateTime anchor = timecodeAnchor(clips);
    for (const P2Clip& clip : clips) {
        if (keys.contains(clip.id))
            continue;
        if (const std::optional<double> seconds = timecodeToSecondsOfDay(clip.startTimecode, clip.frameRate))
            keys.insert(clip.id, ClipSortKey{offsetFrom(anchor, *seconds), ClipSortKey::Source::clipTimecode,
                                             clip.startTimecode.value_or(QStringLiteral("unknown"))});
    }

    const QHash<QString, QString> embeddedDates =
        co_await probeModificationDates(videosWithoutKey(clips, keys), ProbeBatch::maximumConcurrency);
    for (const P2Clip& clip : clips) {
        if (keys.contains(clip.id) || !embeddedDates.contains(clip.videoURL))
            continue;
        if (const std::optional<QDateTime> date = parseInternetDateTime(embeddedDates.value(clip.videoURL)))
            keys.insert(clip.id, dateKey(*date, ClipSortKey::Source::mxfCreationDate));
    }

    const QHash<QString, QDateTime> systemDates =
        co_await QtConcurrent::run(Workers::pool(), fileSystemDates, videosWithoutKey(clips, keys));
    for (const P2Clip& clip : clips) {
        if (!keys.contains(clip.id))
            keys.insert(clip.id, dateKey(systemDates.value(clip.videoURL, distantPast()),
                                         ClipSortKey::Source::fileSystemDate));
    }
    co_return keys;
}

void applyShootOrder(QList<P2Clip>& clips, const QHash<QUuid, ClipSortKey>& keys)
{
    QSet<QUuid> ids;
    for (P2Clip& clip : clips) {
        if (ids.contains(clip.id))
            qFatal("Two clips share the id %s", qPrintable(clip.id.toString()));
        ids.insert(clip.id);
        const auto key = keys.constFind(clip.id);
        clip.sortKey = key == keys.constEnd() ? std::nullopt : std::optional<ClipSortKey>(*key);
    }
    std::stable_sort(clips.begin(), clips.end(), [](const P2Clip& a, const P2Clip& b) {
        if (!a.sortKey || !b.sortKey)
            return a.sortKey.has_value() && !b.sortKey.has_value();
        return a.sortKey->date < b.sortKey->date;
    });
    for (qsizetype i = 0; i < clips.size(); ++i)
        clips[i].exportOrderNumber = static_cast<int>(i + 1);
}

} // namespace P2MetadataParser
