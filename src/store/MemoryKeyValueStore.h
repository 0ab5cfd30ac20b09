#pragma once

#include "store/KeyValueStore.h"

#include <QHash>

// A preference domain that lives only as long as the object: for tests and for
// runs that must leave the user's own preferences untouched.
class MemoryKeyValueStore final : public KeyValueStore
{
public:
    std::optional<QVariant> value(const QString& key) const override;
    void setValue(const QString& key, const QVariant& value) override;
    void remove(const QString& key) override;
    std::optional<QString> exclusively(const std::function<void()>& work) override;
    void setSetAsideListener(std::function<void(const QString& notice)> listener) override;

private:
    QHash<QString, QVariant> m_values;
};
