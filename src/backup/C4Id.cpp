#include "backup/C4Id.h"

#include <array>
#include <QCryptographicHash>

namespace C4Id {

QString of(const QByteArray& bytes)
{
    static constexpr char alphabet[] = "123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz";
    static constexpr int digitCount = 88;
    const QByteArray digest = QCryptographicHash::hash(bytes, QCryptographicHash::Sha512);
    std::array<unsigned char, 64> number{};
    std::copy(digest.cbegin(), digest.cend(), number.begin());

    // Long division of the big-endian number by 58, least significant digit first.
    QByteArray digits(digitCount, alphabet[0]);
    for (int position = digitCount - 1; position >= 0; --position) {
        unsigned remainder = 0;
        for (unsigned char& byte : number) {
            const unsigned value = (remainder << 8) | byte;
            byte = static_cast<unsigned char>(value / 58);
            remainder = value % 58;
        }
        digits[position] = alphabet[remainder];
    }
    return QStringLiteral("c4") + QString::fromLatin1(digits);
}

} // namespace C4Id
