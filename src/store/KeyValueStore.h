#pragma once

#include <functional>
#include <optional>
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>

// The user's preference domain, seen as typed values under string keys.
//
// A typed read returns nothing both when the key is absent and when the stored
// value has another type, so every caller can fall back to its own default
// without ever misreading a value; `contains` tells the two cases apart. Numbers
// are one kind, as in a property list: an integer reads as a double, and a
// double with no fractional part reads as an integer. Booleans, strings, string
// lists and bytes are their own kinds (the string "true" is not a boolean).
//
// Every write has reached permanent storage when it returns, or the
// `exclusively` section it was made in says why it could not.
class KeyValueStore
{
public:
    virtual ~KeyValueStore() = default;

    bool contains(const QString& key) const { return value(key).has_value(); }

    std::optional<double> doubleValue(const QString& key) const;
    std::optional<qint64> integerValue(const QString& key) const;
    std::optional<bool> boolValue(const QString& key) const;
    std::optional<QString> stringValue(const QString& key) const;
    std::optional<QStringList> stringListValue(const QString& key) const;
    std::optional<QByteArray> bytesValue(const QString& key) const;

    void setDouble(const QString& key, double value) { setValue(key, QVariant(value)); }
    void setInteger(const QString& key, qint64 value) { setValue(key, QVariant(value)); }
    void setBool(const QString& key, bool value) { setValue(key, QVariant(value)); }
    void setString(const QString& key, const QString& value) { setValue(key, QVariant(value)); }
    void setStringList(const QString& key, const QStringList& value) { setValue(key, QVariant(value)); }
    void setBytes(const QString& key, const QByteArray& value) { setValue(key, QVariant(value)); }

    // The stored value as it is, of whatever type; nothing when the key is absent.
    virtual std::optional<QVariant> value(const QString& key) const = 0;
    virtual void setValue(const QString& key, const QVariant& value) = 0;
    virtual void remove(const QString& key) = 0;

    // Runs `work`, a read-modify-write of some keys, so that no other process
    // sharing this storage writes in between: values are first refreshed from
    // storage, and the writes made by `work` are written through when it ends.
    // Without this, two programs appending to one list at the same time could
    // each write back a list that lacks the other's entry.
    // Returns why the writes did not reach storage, as a sentence; nothing
    // when they did.
    virtual std::optional<QString> exclusively(const std::function<void()>& work) = 0;

    // Who is told, once each, that stored values which could not be read were
    // kept aside and defaults apply: at once of what happened before, and
    // from then on as it happens.
    virtual void setSetAsideListener(std::function<void(const QString& notice)> listener) = 0;
};
