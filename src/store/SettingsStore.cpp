#include "store/SettingsStore.h"

#include "base/Platform.h"

#include <cmath>
#include <limits>
#include <QPointer>

namespace {

const QString audioOffsetSecondsKey = QStringLiteral("audioOffsetSeconds");
const QString audioSyncModeKey = QStringLiteral("audioSyncMode");
const QString outputFolderPathKey = QStringLiteral("outputFolderPath");
const QString proResProfileKey = QStringLiteral("proResProfile");
const QString allowUnsafeFallbackPairingKey = QStringLiteral("allowUnsafeFallbackPairing");
const QString prefixExportsWithOrderNumberKey = QStringLiteral("prefixExportsWithOrderNumber");
const QString openOutputFolderWhenFinishedKey = QStringLiteral("openOutputFolderWhenFinished");
const QString skipExistingFilesKey = QStringLiteral("skipExistingFiles");
const QString joinSpannedRecordingsKey = QStringLiteral("joinSpannedRecordings");
const QString writeClipMetadataKey = QStringLiteral("writeClipMetadata");
const QString migratedAudioOffsetKey = QStringLiteral("migratedAudioOffsetV2");

constexpr double defaultAudioOffsetSeconds = 0.0;
constexpr AudioSyncMode defaultAudioSyncMode = AudioSyncMode::automatic;
constexpr ProResProfile defaultProResProfile = ProResProfile::hq;
// The unsafe option must start off; the conveniences start on.
constexpr bool defaultAllowUnsafeFallbackPairing = false;
constexpr bool defaultConvenience = true;
// Joining changes what a card turns into, so it is the user's explicit choice.
constexpr bool defaultJoinSpannedRecordings = false;
// A movie handed on may reveal who shot it, where and with which camera.
constexpr bool defaultWriteClipMetadata = false;

// Earlier versions stored this offset to mean "not set".
constexpr double legacyUnsetAudioOffset = -1.0;

AudioSyncMode loadAudioSyncMode(const KeyValueStore& defaults)
{
    const std::optional<qint64> raw = defaults.integerValue(audioSyncModeKey);
    return raw ? AudioSyncModes::fromRawValue(*raw).value_or(defaultAudioSyncMode) : defaultAudioSyncMode;
}

QString loadOutputFolderPath(const KeyValueStore& defaults)
{
    const QString stored = defaults.stringValue(outputFolderPathKey).value_or(QString());
    return stored.isEmpty() ? SettingsStore::defaultOutputBase() : stored;
}

ProResProfile loadProResProfile(const KeyValueStore& defaults)
{
    const std::optional<qint64> raw = defaults.integerValue(proResProfileKey);
    // Guards the narrowing to int, under which a huge number could alias a profile.
    if (!raw || *raw < 0 || *raw > std::numeric_limits<int>::max())
        return defaultProResProfile;
    return ProResProfiles::fromRawValue(static_cast<int>(*raw)).value_or(defaultProResProfile);
}

} // namespace

QString SettingsStore::defaultOutputBase()
{
    return Platform::current().defaultOutputFolder;
}

SettingsStore::SettingsStore(std::shared_ptr<KeyValueStore> defaults, std::shared_ptr<Desktop> desktop,
                             QObject* parent)
    : QObject(parent), m_defaults(std::move(defaults)), m_desktop(std::move(desktop)),
      m_audioOffsetSeconds(
          m_defaults->doubleValue(audioOffsetSecondsKey).value_or(defaultAudioOffsetSeconds)),
      m_audioSyncMode(loadAudioSyncMode(*m_defaults)), m_outputFolderPath(loadOutputFolderPath(*m_defaults)),
      m_proResProfile(loadProResProfile(*m_defaults)),
      m_allowUnsafeFallbackPairing(
          m_defaults->boolValue(allowUnsafeFallbackPairingKey).value_or(defaultAllowUnsafeFallbackPairing)),
      m_prefixExportsWithOrderNumber(
          m_defaults->boolValue(prefixExportsWithOrderNumberKey).value_or(defaultConvenience)),
      m_openOutputFolderWhenFinished(
          m_defaults->boolValue(openOutputFolderWhenFinishedKey).value_or(defaultConvenience)),
      m_skipExistingFiles(m_defaults->boolValue(skipExistingFilesKey).value_or(defaultConvenience)),
      m_joinSpannedRecordings(
          m_defaults->boolValue(joinSpannedRecordingsKey).value_or(defaultJoinSpannedRecordings)),
      m_writeClipMetadata(m_defaults->boolValue(writeClipMetadataKey).value_or(defaultWriteClipMetadata))
{
    if (const std::optional<QVariant> stored = m_defaults->value(audioOffsetSecondsKey);
        stored && stored->canConvert<double>() && stored->typeId() != QMetaType::QString &&
        !std::isfinite(stored->toDouble()))
        m_unusableStoredOffset = stored->toDouble();
    migrateAudioOffset();
}

void SettingsStore::migrateAudioOffset()
{
    if (m_defaults->boolValue(migratedAudioOffsetKey).value_or(false))
        return;
    if (m_audioOffsetSeconds == legacyUnsetAudioOffset)
        setAudioOffsetSeconds(defaultAudioOffsetSeconds);
    m_defaults->setBool(migratedAudioOffsetKey, true);
}

void SettingsStore::setAudioOffsetSeconds(double seconds)
{
    m_unusableStoredOffset.reset();
    if (update(m_audioOffsetSeconds, seconds, &SettingsStore::audioOffsetSecondsChanged))
        emit effectiveAudioOffsetSecondsChanged();
    m_defaults->setDouble(audioOffsetSecondsKey, seconds);
}

void SettingsStore::setAudioSyncMode(AudioSyncMode mode)
{
    if (update(m_audioSyncMode, mode, &SettingsStore::audioSyncModeChanged))
        emit effectiveAudioOffsetSecondsChanged();
    m_defaults->setInteger(audioSyncModeKey, AudioSyncModes::rawValue(mode));
}

void SettingsStore::setOutputFolderPath(const QString& path)
{
    update(m_outputFolderPath, path, &SettingsStore::outputFolderPathChanged);
    m_defaults->setString(outputFolderPathKey, path);
}

void SettingsStore::setProResProfile(ProResProfile profile)
{
    update(m_proResProfile, profile, &SettingsStore::proResProfileChanged);
    m_defaults->setInteger(proResProfileKey, ProResProfiles::rawValue(profile));
}

void SettingsStore::setAllowUnsafeFallbackPairing(bool allow)
{
    setFlag(m_allowUnsafeFallbackPairing, allow, &SettingsStore::allowUnsafeFallbackPairingChanged,
            allowUnsafeFallbackPairingKey);
}

void SettingsStore::setPrefixExportsWithOrderNumber(bool prefix)
{
    setFlag(m_prefixExportsWithOrderNumber, prefix, &SettingsStore::prefixExportsWithOrderNumberChanged,
            prefixExportsWithOrderNumberKey);
}

void SettingsStore::setOpenOutputFolderWhenFinished(bool open)
{
    setFlag(m_openOutputFolderWhenFinished, open, &SettingsStore::openOutputFolderWhenFinishedChanged,
            openOutputFolderWhenFinishedKey);
}

void SettingsStore::setSkipExistingFiles(bool skip)
{
    setFlag(m_skipExistingFiles, skip, &SettingsStore::skipExistingFilesChanged, skipExistingFilesKey);
}

void SettingsStore::setJoinSpannedRecordings(bool join)
{
    setFlag(m_joinSpannedRecordings, join, &SettingsStore::joinSpannedRecordingsChanged,
            joinSpannedRecordingsKey);
}

void SettingsStore::setWriteClipMetadata(bool write)
{
    setFlag(m_writeClipMetadata, write, &SettingsStore::writeClipMetadataChanged, writeClipMetadataKey);
}

template <typename T> bool SettingsStore::update(T& field, const T& value, void (SettingsStore::*changed)())
{
    if (field == value)
        return false;
    field = value;
    emit(this->*changed)();
    return true;
}

void SettingsStore::setFlag(bool& field, bool value, void (SettingsStore::*changed)(), const QString& key)
{
    update(field, value, changed);
    m_defaults->setBool(key, value);
}

double SettingsStore::effectiveAudioOffsetSeconds() const
{
    if (m_audioSyncMode != AudioSyncMode::manual || audioOffsetWarning())
        return 0.0;
    return m_audioOffsetSeconds;
}

std::optional<QString> SettingsStore::audioOffsetWarning() const
{
    // A hand-edited or damaged preferences file must not shift every clip's
    // audio by minutes, or hand ffmpeg "nan".
    const double stored = m_unusableStoredOffset.value_or(m_audioOffsetSeconds);
    if (m_audioSyncMode != AudioSyncMode::manual ||
        (std::isfinite(stored) && std::abs(stored) <= maximumAudioOffsetSeconds))
        return std::nullopt;
    return QStringLiteral(
               "The stored audio offset (%1 s) is not a number within ±%2 s, so no offset is used.")
        .arg(stored)
        .arg(maximumAudioOffsetSeconds);
}

void SettingsStore::resetToDefaults()
{
    setAudioOffsetSeconds(defaultAudioOffsetSeconds);
    setAudioSyncMode(defaultAudioSyncMode);
    setOutputFolderPath(defaultOutputBase());
    setProResProfile(defaultProResProfile);
    setAllowUnsafeFallbackPairing(defaultAllowUnsafeFallbackPairing);
    setPrefixExportsWithOrderNumber(defaultConvenience);
    setOpenOutputFolderWhenFinished(defaultConvenience);
    setSkipExistingFiles(defaultConvenience);
    setJoinSpannedRecordings(defaultJoinSpannedRecordings);
    setWriteClipMetadata(defaultWriteClipMetadata);
}

QCoro::Task<> SettingsStore::chooseOutputFolderViaPanel()
{
    const QPointer<SettingsStore> self(this);
    const std::shared_ptr<Desktop> desktop = m_desktop;
    const std::optional<QString> folder = co_await desktop->chooseFolder(
        QStringLiteral("Choose"), QStringLiteral("Choose the default output drive or folder"));
    if (self && folder && !folder->isEmpty())
        self->setOutputFolderPath(*folder);
}
