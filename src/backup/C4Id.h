#pragma once

#include <QByteArray>
#include <QString>

// The C4 id of a stream of bytes (SMPTE ST 2114), by which an ASC MHL chain
// names each manifest: "c4" and the SHA-512 digest as a 512-bit number in
// base 58, padded to 88 digits.
namespace C4Id {

QString of(const QByteArray& bytes);

} // namespace C4Id
