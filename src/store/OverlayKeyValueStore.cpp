#include "store/OverlayKeyValueStore.h"

OverlayKeyValueStore::OverlayKeyValueStore(std::shared_ptr<KeyValueStore> stored)
    : m_stored(std::move(stored))
{
}

std::optional<QVariant> OverlayKeyValueStore::value(const QString& key) const
{
    const auto changed = m_changes.constFind(key);
    if (changed != m_changes.constEnd())
        return *changed;
    return m_stored->value(key);
}

void OverlayKeyValueStore::setValue(const QString& key, const QVariant& value)
{
    m_changes.insert(key, value);
}

void OverlayKeyValueStore::remove(const QString& key)
{
    m_changes.insert(key, std::nullopt);
}

std::optional<QString> OverlayKeyValueStore::exclusively(const std::function<void()>& work)
{
    work();
    return std::nullopt;
}

void OverlayKeyValueStore::setSetAsideListener(std::function<void(const QString& notice)> listener)
{
    m_stored->setSetAsideListener(std::move(listener));
}
