// ffprobe's JSON decoder on any bytes; what decodes must encode and decode
// back to the same value.
#include "media/MediaProbe.h"

#include <cstddef>
#include <cstdint>
#include <QJsonDocument>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray json(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const std::optional<MediaProbe> probe = MediaProbe::fromJson(json);
    if (!probe)
        return 0;
    const std::optional<MediaProbe> again = MediaProbe::fromJson(QJsonDocument(probe->toJson()).toJson());
    if (!again || !(*again == *probe))
        __builtin_trap();
    return 0;
}
