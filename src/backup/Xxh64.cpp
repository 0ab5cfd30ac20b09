#include "backup/Xxh64.h"

#define XXH_INLINE_ALL
#include <cstring>
#include <xxhash.h>

namespace {

XXH64_state_t* stateIn(unsigned char* storage)
{
    return reinterpret_cast<XXH64_state_t*>(storage);
}

} // namespace

Xxh64::Xxh64()
{
    static_assert(sizeof(XXH64_state_t) <= sizeof(m_state));
    XXH64_reset(stateIn(m_state), 0);
}

void Xxh64::add(const char* data, std::size_t size)
{
    XXH64_update(stateIn(m_state), data, size);
}

quint64 Xxh64::digest() const
{
    return XXH64_digest(reinterpret_cast<const XXH64_state_t*>(m_state));
}

quint64 Xxh64::of(const QByteArray& bytes)
{
    return XXH64(bytes.constData(), static_cast<std::size_t>(bytes.size()), 0);
}

QByteArray Xxh64::bytes(quint64 digest)
{
    XXH64_canonical_t canonical;
    XXH64_canonicalFromHash(&canonical, digest);
    return QByteArray(reinterpret_cast<const char*>(canonical.digest), sizeof(canonical.digest));
}

QString Xxh64::hex(quint64 digest)
{
    return QString::fromLatin1(bytes(digest).toHex());
}

std::optional<quint64> Xxh64::fromHex(const QString& text)
{
    if (text.size() != 16)
        return std::nullopt;
    bool ok = false;
    const quint64 value = text.toULongLong(&ok, 16);
    if (!ok)
        return std::nullopt;
    return value;
}
