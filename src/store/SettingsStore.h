#pragma once

#include "base/DisplayText.h"
#include "media/ProResProfile.h"
#include "store/AudioSyncMode.h"
#include "store/Desktop.h"
#include "store/KeyValueStore.h"

#include <memory>
#include <optional>
#include <QCoro/QCoroTask>
#include <QObject>
#include <QString>

// The user's preferences, one observable property each, written through to the
// preference domain on every set. Stored values of the wrong type, or out of
// range, quietly load as the default. Lives on the main thread.
class SettingsStore : public QObject
{
    Q_OBJECT
    Q_PROPERTY(double audioOffsetSeconds READ audioOffsetSeconds WRITE setAudioOffsetSeconds NOTIFY
                   audioOffsetSecondsChanged)
    Q_PROPERTY(
        AudioSyncMode audioSyncMode READ audioSyncMode WRITE setAudioSyncMode NOTIFY audioSyncModeChanged)
    Q_PROPERTY(QString outputFolderPath READ outputFolderPath WRITE setOutputFolderPath NOTIFY
                   outputFolderPathChanged)
    // The folder as the window shows it: on one line, escaped as every name shown.
    Q_PROPERTY(QString outputFolderText READ outputFolderText NOTIFY outputFolderPathChanged)
    Q_PROPERTY(
        ProResProfile proResProfile READ proResProfile WRITE setProResProfile NOTIFY proResProfileChanged)
    Q_PROPERTY(bool allowUnsafeFallbackPairing READ allowUnsafeFallbackPairing WRITE
                   setAllowUnsafeFallbackPairing NOTIFY allowUnsafeFallbackPairingChanged)
    Q_PROPERTY(bool prefixExportsWithOrderNumber READ prefixExportsWithOrderNumber WRITE
                   setPrefixExportsWithOrderNumber NOTIFY prefixExportsWithOrderNumberChanged)
    Q_PROPERTY(bool openOutputFolderWhenFinished READ openOutputFolderWhenFinished WRITE
                   setOpenOutputFolderWhenFinished NOTIFY openOutputFolderWhenFinishedChanged)
    Q_PROPERTY(bool skipExistingFiles READ skipExistingFiles WRITE setSkipExistingFiles NOTIFY
                   skipExistingFilesChanged)
    // Off by default: a shot the camera split across clips stays one movie per clip.
    Q_PROPERTY(bool joinSpannedRecordings READ joinSpannedRecordings WRITE setJoinSpannedRecordings NOTIFY
                   joinSpannedRecordingsChanged)
    // Off by default: a movie carries nothing of the card but its essence and timecode.
    Q_PROPERTY(bool writeClipMetadata READ writeClipMetadata WRITE setWriteClipMetadata NOTIFY
                   writeClipMetadataChanged)
    Q_PROPERTY(double effectiveAudioOffsetSeconds READ effectiveAudioOffsetSeconds NOTIFY
                   effectiveAudioOffsetSecondsChanged)

public:
    // The output folder until the user picks one, and again after a reset: the
    // platform's default, on Linux Tolvane in the user's videos folder. It is
    // not checked; a run creates it, with any missing parents, when needed.
    static QString defaultOutputBase();

    // Loads every property from `defaults`, then runs the one-time migration.
    // `desktop` answers the output-folder chooser.
    SettingsStore(std::shared_ptr<KeyValueStore> defaults, std::shared_ptr<Desktop> desktop,
                  QObject* parent = nullptr);

    double audioOffsetSeconds() const { return m_audioOffsetSeconds; }
    AudioSyncMode audioSyncMode() const { return m_audioSyncMode; }
    QString outputFolderPath() const { return m_outputFolderPath; }
    QString outputFolderText() const { return DisplayText::escaped(m_outputFolderPath); }
    ProResProfile proResProfile() const { return m_proResProfile; }
    bool allowUnsafeFallbackPairing() const { return m_allowUnsafeFallbackPairing; }
    bool prefixExportsWithOrderNumber() const { return m_prefixExportsWithOrderNumber; }
    bool openOutputFolderWhenFinished() const { return m_openOutputFolderWhenFinished; }
    bool skipExistingFiles() const { return m_skipExistingFiles; }
    bool joinSpannedRecordings() const { return m_joinSpannedRecordings; }
    bool writeClipMetadata() const { return m_writeClipMetadata; }

    void setAudioOffsetSeconds(double seconds);
    void setAudioSyncMode(AudioSyncMode mode);
    void setOutputFolderPath(const QString& path);
    void setProResProfile(ProResProfile profile);
    void setAllowUnsafeFallbackPairing(bool allow);
    void setPrefixExportsWithOrderNumber(bool prefix);
    void setOpenOutputFolderWhenFinished(bool open);
    void setSkipExistingFiles(bool skip);
    void setJoinSpannedRecordings(bool join);
    void setWriteClipMetadata(bool write);

    // The audio shift a conversion receives: the user's offset in manual mode,
    // exactly 0 in auto mode whatever the stored offset, and 0 when the stored
    // offset is not finite or lies beyond ±maximumAudioOffsetSeconds.
    double effectiveAudioOffsetSeconds() const;
    static constexpr double maximumAudioOffsetSeconds = 60;
    // In manual mode with a stored offset that is not used for that reason,
    // the sentence that says so.
    std::optional<QString> audioOffsetWarning() const;

    // Every property back to its default, through the setters. History, recent
    // folders and the migration mark are left alone.
    void resetToDefaults();

    // Lets the user pick the output folder; cancelling changes nothing.
    QCoro::Task<> chooseOutputFolderViaPanel();

signals:
    void audioOffsetSecondsChanged();
    void audioSyncModeChanged();
    void outputFolderPathChanged();
    void proResProfileChanged();
    void allowUnsafeFallbackPairingChanged();
    void prefixExportsWithOrderNumberChanged();
    void openOutputFolderWhenFinishedChanged();
    void skipExistingFilesChanged();
    void joinSpannedRecordingsChanged();
    void writeClipMetadataChanged();
    void effectiveAudioOffsetSecondsChanged();

private:
    void migrateAudioOffset();
    // Sets `field` and announces the change with `changed`; false when it held `value` already.
    template <typename T> bool update(T& field, const T& value, void (SettingsStore::*changed)());
    void setFlag(bool& field, bool value, void (SettingsStore::*changed)(), const QString& key);

    std::shared_ptr<KeyValueStore> m_defaults;
    std::shared_ptr<Desktop> m_desktop;
    double m_audioOffsetSeconds;
    // A stored offset that is a number but not a finite one (NaN, infinity):
    // the offset in use is the default, and the warning says what was stored.
    std::optional<double> m_unusableStoredOffset;
    AudioSyncMode m_audioSyncMode;
    QString m_outputFolderPath;
    ProResProfile m_proResProfile;
    bool m_allowUnsafeFallbackPairing;
    bool m_prefixExportsWithOrderNumber;
    bool m_openOutputFolderWhenFinished;
    bool m_skipExistingFiles;
    bool m_joinSpannedRecordings;
    bool m_writeClipMetadata;
};
