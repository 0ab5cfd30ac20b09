// The stored history's decoder on any bytes; what decodes must encode again
// into a document that decodes to as many entries.
#include "store/ConversionHistoryStore.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray document(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const std::optional<QList<ConversionHistoryEntry>> entries = ConversionHistoryStore::decode(document);
    if (!entries)
        return 0;
    const std::optional<QList<ConversionHistoryEntry>> again =
        ConversionHistoryStore::decode(ConversionHistoryStore::encode(*entries));
    if (!again || again->size() != entries->size())
        __builtin_trap();
    return 0;
}
