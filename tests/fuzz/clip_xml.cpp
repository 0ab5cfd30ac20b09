// The CLIP XML reader on any bytes: it must return, whatever the document.
#include "card/P2MetadataParser.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray contents(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const P2MetadataParser::ClipMetadata metadata =
        P2MetadataParser::parseContents(QStringLiteral("/card/CLIP/0001AB.XML"), contents);
    // A parse always counts its audio entries, never below zero.
    if (!metadata.audioChannelCount || *metadata.audioChannelCount < 0)
        __builtin_trap();
    return 0;
}
