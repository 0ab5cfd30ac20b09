#include "media/MediaProbe.h"

#include <cmath>
#include <limits>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

// Reads the listed optional keys of one JSON object; a present key of the
// wrong type spoils the whole record. A null counts as absent.
class FieldDecoder
{
public:
    explicit FieldDecoder(const QJsonObject& object) : object_(object) {}

    bool ok() const { return ok_; }

    void operator()(const QString& key, std::optional<QString>& field)
    {
        const QJsonValue value = object_.value(key);
        if (isAbsent(value))
            return;
        if (value.isString())
            field = value.toString();
        else
            ok_ = false;
    }

    void operator()(const QString& key, std::optional<int>& field)
    {
        const QJsonValue value = object_.value(key);
        if (isAbsent(value))
            return;
        field = integer(value);
        ok_ = ok_ && field.has_value();
    }

    void operator()(const QString& key, std::optional<MediaTags>& field)
    {
        const QJsonValue value = object_.value(key);
        if (isAbsent(value))
            return;
        if (!value.isObject()) {
            ok_ = false;
            return;
        }
        MediaTags tags;
        const QJsonObject object = value.toObject();
        for (auto it = object.begin(); it != object.end(); ++it) {
            if (!it.value().isString()) {
                ok_ = false;
                return;
            }
            tags.insert(it.key(), it.value().toString());
        }
        field = std::move(tags);
    }

    static std::optional<int> integer(const QJsonValue& value)
    {
        if (!value.isDouble())
            return std::nullopt;
        const double number = value.toDouble();
        if (number != std::trunc(number) || number < std::numeric_limits<int>::min() ||
            number > std::numeric_limits<int>::max())
            return std::nullopt;
        return int(number);
    }

private:
    static bool isAbsent(const QJsonValue& value) { return value.isUndefined() || value.isNull(); }

    const QJsonObject& object_;
    bool ok_ = true;
};

class FieldEncoder
{
public:
    template <typename T> void operator()(const QString& key, const std::optional<T>& field)
    {
        if (field)
            object[key] = encoded(*field);
    }

    QJsonObject object;

private:
    static QJsonValue encoded(const QString& text) { return text; }
    static QJsonValue encoded(int number) { return number; }
    static QJsonValue encoded(const MediaTags& tags)
    {
        QJsonObject object;
        for (auto it = tags.begin(); it != tags.end(); ++it)
            object[it.key()] = it.value();
        return object;
    }
};

// The one list of optional keys, shared by decoding and encoding.
template <typename Stream, typename Visitor>
void visitFields(Stream& stream,
                 Visitor& visit) requires std::is_same_v<std::remove_const_t<Stream>, StreamInfo>
{
    visit(QStringLiteral("codec_type"), stream.codecType);
    visit(QStringLiteral("codec_name"), stream.codecName);
    visit(QStringLiteral("codec_long_name"), stream.codecLongName);
    visit(QStringLiteral("channels"), stream.channels);
    visit(QStringLiteral("sample_rate"), stream.sampleRate);
    visit(QStringLiteral("sample_fmt"), stream.sampleFmt);
    visit(QStringLiteral("bits_per_sample"), stream.bitsPerSample);
    visit(QStringLiteral("duration"), stream.duration);
    visit(QStringLiteral("start_time"), stream.startTime);
    visit(QStringLiteral("bit_rate"), stream.bitRate);
    visit(QStringLiteral("width"), stream.width);
    visit(QStringLiteral("height"), stream.height);
    visit(QStringLiteral("field_order"), stream.fieldOrder);
    visit(QStringLiteral("color_primaries"), stream.colorPrimaries);
    visit(QStringLiteral("color_transfer"), stream.colorTransfer);
    visit(QStringLiteral("color_space"), stream.colorSpace);
    visit(QStringLiteral("tags"), stream.tags);
}

template <typename Format, typename Visitor>
void visitFields(Format& format,
                 Visitor& visit) requires std::is_same_v<std::remove_const_t<Format>, FormatInfo>
{
    visit(QStringLiteral("filename"), format.filename);
    visit(QStringLiteral("duration"), format.duration);
    visit(QStringLiteral("size"), format.size);
    visit(QStringLiteral("bit_rate"), format.bitRate);
    visit(QStringLiteral("tags"), format.tags);
}

template <typename Record> std::optional<Record> decodeRecord(const QJsonValue& value)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject object = value.toObject();
    Record record;
    FieldDecoder decoder(object);
    visitFields(record, decoder);
    if (!decoder.ok())
        return std::nullopt;
    if constexpr (std::is_same_v<Record, StreamInfo>) {
        const std::optional<int> index = FieldDecoder::integer(object.value(QLatin1String("index")));
        if (!index)
            return std::nullopt;
        record.index = *index;
    }
    return record;
}

template <typename Record> QJsonObject encodeRecord(const Record& record)
{
    FieldEncoder encoder;
    visitFields(record, encoder);
    if constexpr (std::is_same_v<Record, StreamInfo>)
        encoder.object[QStringLiteral("index")] = record.index;
    return encoder.object;
}

} // namespace

namespace {

std::optional<StreamInfo> firstOfType(const QList<StreamInfo>& streams, QLatin1String type)
{
    for (const StreamInfo& stream : streams) {
        if (stream.codecType == type)
            return stream;
    }
    return std::nullopt;
}

} // namespace

std::optional<StreamInfo> MediaProbe::primaryAudioStream() const
{
    return firstOfType(streams, QLatin1String("audio"));
}

std::optional<StreamInfo> MediaProbe::primaryVideoStream() const
{
    return firstOfType(streams, QLatin1String("video"));
}

std::optional<MediaProbe> MediaProbe::fromJson(const QByteArray& json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject root = document.object();

    const QJsonValue streams = root.value(QLatin1String("streams"));
    if (!streams.isArray())
        return std::nullopt;
    MediaProbe probe;
    for (const QJsonValue& value : streams.toArray()) {
        std::optional<StreamInfo> stream = decodeRecord<StreamInfo>(value);
        if (!stream)
            return std::nullopt;
        probe.streams.append(std::move(*stream));
    }
    std::optional<FormatInfo> format = decodeRecord<FormatInfo>(root.value(QLatin1String("format")));
    if (!format)
        return std::nullopt;
    probe.format = std::move(*format);
    return probe;
}

QJsonObject MediaProbe::toJson() const
{
    QJsonArray streamArray;
    for (const StreamInfo& stream : streams)
        streamArray.append(encodeRecord(stream));
    return {{QStringLiteral("streams"), streamArray}, {QStringLiteral("format"), encodeRecord(format)}};
}
