#pragma once

#include <optional>
#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QString>

// What a full ffprobe run says about a file. Texts are kept exactly as the tool
// printed them; numbers it prints as quoted strings stay texts.

using MediaTags = QMap<QString, QString>;

struct StreamInfo
{
    int index = 0;
    std::optional<QString> codecType;
    std::optional<QString> codecName;
    std::optional<QString> codecLongName;
    std::optional<int> channels;
    std::optional<QString> sampleRate;
    std::optional<QString> sampleFmt;
    std::optional<int> bitsPerSample;
    std::optional<QString> duration;
    std::optional<QString> startTime;
    std::optional<QString> bitRate;
    std::optional<int> width;
    std::optional<int> height;
    // "progressive", "tt", "bb", "tb", "bt" or "unknown".
    std::optional<QString> fieldOrder;
    // ffmpeg's names ("bt709", "smpte170m", …; "unknown" when unstated).
    std::optional<QString> colorPrimaries;
    std::optional<QString> colorTransfer;
    std::optional<QString> colorSpace;
    std::optional<MediaTags> tags;

    bool operator==(const StreamInfo&) const = default;
};

struct FormatInfo
{
    std::optional<QString> filename;
    std::optional<QString> duration;
    std::optional<QString> size;
    std::optional<QString> bitRate;
    std::optional<MediaTags> tags;

    bool operator==(const FormatInfo&) const = default;
};

struct MediaProbe
{
    QList<StreamInfo> streams;
    FormatInfo format;

    // The first stream whose type is "audio".
    std::optional<StreamInfo> primaryAudioStream() const;
    // The first stream whose type is "video".
    std::optional<StreamInfo> primaryVideoStream() const;

    // Decodes ffprobe's JSON. Keys not listed above are ignored; a missing
    // "streams", "format" or stream "index", or a listed key holding the wrong
    // JSON type, fails the whole decode.
    static std::optional<MediaProbe> fromJson(const QByteArray& json);
    // The same keys back; absent fields are left out.
    QJsonObject toJson() const;

    bool operator==(const MediaProbe&) const = default;
};
