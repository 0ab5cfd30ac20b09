#include "store/MemoryKeyValueStore.h"

std::optional<QVariant> MemoryKeyValueStore::value(const QString& key) const
{
    const auto found = m_values.constFind(key);
    if (found == m_values.constEnd())
        return std::nullopt;
    return *found;
}

void MemoryKeyValueStore::setValue(const QString& key, const QVariant& value)
{
    m_values.insert(key, value);
}

void MemoryKeyValueStore::remove(const QString& key)
{
    m_values.remove(key);
}

std::optional<QString> MemoryKeyValueStore::exclusively(const std::function<void()>& work)
{
    // Nothing outside this object can see or change the values.
    work();
    return std::nullopt;
}

void MemoryKeyValueStore::setSetAsideListener(std::function<void(const QString& notice)>)
{
    // Values in memory are never unreadable.
}
