#pragma once

#include "base/FileState.h"
#include "store/KeyValueStore.h"

#include <memory>
#include <QDateTime>
#include <QSettings>

// The preference domain kept by QSettings in a file, written through on every
// change and safe to share between the app and tolvane-cli running at once.
//
// The file is a JSON object, one member per key, because the platform's INI
// text keeps no types: there "7", 7 and 7.0 read back alike, a one-element list
// reads back as a string and an empty list as nothing. In the JSON file numbers,
// booleans, strings and string lists are themselves, and bytes are an object
// {"base64": "…"}.
//
// A file that is not a JSON object, or is larger than `sizeLimit`, is never
// written over: before it is read for a write, or on opening, it is renamed
// to "Tolvane.json.unreadable-DATE" beside itself, defaults are saved in its
// place and the set-aside listener is told once. A file that cannot be
// written (a folder in its place, a read-only or immutable file) makes every
// write fail with the system's reason and leaves the file as it is; the values
// stay in this process's memory and are written with the next write that can be.
//
// Every write, and every `exclusively` section, holds a lock file beside the
// preferences and re-reads them first, so one program never writes back a stale
// copy of a key that the other one changed.
class QSettingsKeyValueStore final : public KeyValueStore
{
public:
    // Far more than settings and a full history take (a few kilobytes), and
    // little enough that reading and writing the file back costs a few tens
    // of megabytes of memory at most.
    static constexpr qint64 sizeLimit = 4 * 1024 * 1024;

    // The application's own preferences for organisation and application
    // "Tolvane" (on Linux ~/.config/Tolvane/Tolvane.json).
    static std::shared_ptr<QSettingsKeyValueStore> openApplicationStore();

    explicit QSettingsKeyValueStore(const QString& fileName);

    QString fileName() const { return m_fileName; }

    std::optional<QVariant> value(const QString& key) const override;
    void setValue(const QString& key, const QVariant& value) override;
    void remove(const QString& key) override;
    std::optional<QString> exclusively(const std::function<void()>& work) override;
    void setSetAsideListener(std::function<void(const QString& notice)> listener) override;

    // Reads the preferences file's JSON into `map`; false, with `map`
    // untouched, when it is not a JSON object.
    static bool readJsonPreferences(QIODevice& device, QSettings::SettingsMap& map);

    // The name a file that cannot be read is kept under, beside it:
    // "Tolvane.json.unreadable-2026-07-01-153000" for one set aside at that
    // local time.
    static QString setAsideFileName(const QString& fileName, const QDateTime& when);

    // What the user is told, once, about a file that was kept aside.
    static QString unreadableNotice(const QString& fileName, const QString& keptAs);
    static QString tooLargeNotice(const QString& fileName, const QString& keptAs);

private:
    enum class Verdict { fine, unreadable, tooLarge };
    // Whether the file as it is now must be set aside; a good file is
    // remembered as such, and a file that is not there is fine.
    Verdict judge();
    // Under the update lock: sets the file aside when it cannot be read or is
    // too large. Nothing when it was fine or was set aside; otherwise why it
    // could be neither read nor set aside, and so must not be written.
    std::optional<QString> setAsideIfUnreadable();
    // Why the last sync could not write the file.
    QString writeFailureReason() const;
    void tell(const QString& notice);

    QString m_fileName;
    // The file as last read or written whole; a file in this state needs no new look.
    std::optional<FileState> m_lastGood;
    QStringList m_untoldNotices;
    std::function<void(const QString&)> m_setAsideListener;
    std::unique_ptr<QSettings> m_settings;
    bool m_inExclusiveSection = false;
};
