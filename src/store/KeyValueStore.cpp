#include "store/KeyValueStore.h"

#include <cmath>

namespace {

bool isNumber(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return true;
    default:
        return false;
    }
}

template <typename T> std::optional<T> exactly(const std::optional<QVariant>& value)
{
    if (!value || value->metaType() != QMetaType::fromType<T>())
        return std::nullopt;
    return value->value<T>();
}

} // namespace

std::optional<double> KeyValueStore::doubleValue(const QString& key) const
{
    const std::optional<QVariant> stored = value(key);
    if (!stored || !isNumber(*stored))
        return std::nullopt;
    const double number = stored->toDouble();
    // A NaN or an infinity can only come from a hand-edited file; no setting means one.
    if (!std::isfinite(number))
        return std::nullopt;
    return number;
}

std::optional<qint64> KeyValueStore::integerValue(const QString& key) const
{
    const std::optional<QVariant> stored = value(key);
    if (!stored || !isNumber(*stored))
        return std::nullopt;
    if (stored->typeId() != QMetaType::Double && stored->typeId() != QMetaType::Float)
        return stored->toLongLong();
    const double number = stored->toDouble();
    // 2^63 is exactly representable, so the range test is exact.
    constexpr double limit = 9223372036854775808.0;
    if (!std::isfinite(number) || std::trunc(number) != number || number < -limit || number >= limit)
        return std::nullopt;
    return static_cast<qint64>(number);
}

std::optional<bool> KeyValueStore::boolValue(const QString& key) const
{
    return exactly<bool>(value(key));
}

std::optional<QString> KeyValueStore::stringValue(const QString& key) const
{
    return exactly<QString>(value(key));
}

std::optional<QStringList> KeyValueStore::stringListValue(const QString& key) const
{
    return exactly<QStringList>(value(key));
}

std::optional<QByteArray> KeyValueStore::bytesValue(const QString& key) const
{
    return exactly<QByteArray>(value(key));
}
