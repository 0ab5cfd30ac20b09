#pragma once

#include <cstddef>
#include <optional>
#include <QByteArray>
#include <QString>
#include <QtGlobal>

// The XXH64 checksum (seed 0) of a stream of bytes, and its forms in an ASC
// MHL manifest: the digest's eight bytes big-endian, written as 16 lowercase
// hexadecimal digits.
class Xxh64
{
public:
    Xxh64();

    void add(const char* data, std::size_t size);
    void add(const QByteArray& bytes) { add(bytes.constData(), static_cast<std::size_t>(bytes.size())); }
    quint64 digest() const;

    static quint64 of(const QByteArray& bytes);
    // The eight bytes of `digest`, most significant first.
    static QByteArray bytes(quint64 digest);
    static QString hex(quint64 digest);
    // The digest that `hex` writes; nothing unless it is 16 hexadecimal digits.
    static std::optional<quint64> fromHex(const QString& text);

private:
    // Room for the library's streaming state, which lives inline to save an allocation per file.
    alignas(8) unsigned char m_state[96];
};
