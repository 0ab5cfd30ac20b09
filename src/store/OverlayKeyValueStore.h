#pragma once

#include "store/KeyValueStore.h"

#include <memory>
#include <optional>
#include <QHash>

// The stored preferences with changes that last only as long as the object:
// reads fall through to the stored domain unless this object changed the key,
// and writes (a migration on loading, the options of one command-line run)
// never reach it. Lets tolvane-cli run with the user's settings, or with some
// overridden, without ever changing the user's file.
class OverlayKeyValueStore final : public KeyValueStore
{
public:
    explicit OverlayKeyValueStore(std::shared_ptr<KeyValueStore> stored);

    std::optional<QVariant> value(const QString& key) const override;
    void setValue(const QString& key, const QVariant& value) override;
    void remove(const QString& key) override;
    // Nothing is written through, so there is nothing to keep apart from other programs.
    std::optional<QString> exclusively(const std::function<void()>& work) override;
    void setSetAsideListener(std::function<void(const QString& notice)> listener) override;

private:
    std::shared_ptr<KeyValueStore> m_stored;
    // Keys changed here; an empty value marks a key removed here.
    QHash<QString, std::optional<QVariant>> m_changes;
};
