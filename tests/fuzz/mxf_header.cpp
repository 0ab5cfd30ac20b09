// The MXF header reader on any bytes: it never crashes or reads outside them,
// and whatever it tells it tells from the header partition alone.
#include "media/MXFHeaderReader.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArrayView bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const std::optional<MXFHeaderFacts> facts = MXFHeaderReader::parse(bytes);
    if (!facts)
        return 0;
    if (facts->materialPackageUMID.size() != 64)
        __builtin_trap();
    const std::optional<qint64> end = MXFHeaderReader::headerPartitionEnd(bytes);
    if (!end || *end > bytes.size() || MXFHeaderReader::parse(bytes.first(*end)) != facts)
        __builtin_trap();
    return 0;
}
