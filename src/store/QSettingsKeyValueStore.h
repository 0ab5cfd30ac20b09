#pragma once

#include "store/KeyValueStore.h"

#include <memory>
#include <QSettings>

// The preference domain kept by QSettings in a file, written through on every
// change and safe to share between the app and tolvane-cli running at once.
//
// The file is a JSON object, one member per key, because the platform's INI
// text keeps no types: there "7", 7 and 7.0 read back alike, a one-element list
// reads back as a string and an empty list as nothing. In the JSON file numbers,
// booleans, strings and string lists are themselves, and bytes are an object
// {"base64": "…"}. A file that is not a JSON object reads as empty, and the next
// write replaces it with a valid one.
//
// Every write, and every `exclusively` section, holds a lock file beside the
// preferences and re-reads them first, so one program never writes back a stale
// copy of a key that the other one changed.
class QSettingsKeyValueStore final : public KeyValueStore
{
public:
    // The application's own preferences for organisation and application
    // "Tolvane" (on Linux ~/.config/Tolvane/Tolvane.json).
    static std::shared_ptr<QSettingsKeyValueStore> openApplicationStore();

    explicit QSettingsKeyValueStore(const QString& fileName);

    QString fileName() const { return m_settings.fileName(); }

    std::optional<QVariant> value(const QString& key) const override;
    void setValue(const QString& key, const QVariant& value) override;
    void remove(const QString& key) override;
    void exclusively(const std::function<void()>& work) override;

    // Reads the preferences file's JSON into `map`; false, with `map`
    // untouched, when it is not a JSON object.
    static bool readJsonPreferences(QIODevice& device, QSettings::SettingsMap& map);

private:
    QSettings m_settings;
    bool m_inExclusiveSection = false;
};
