#include "ui/SettingsPresenter.h"

#include "base/Platform.h"
#include "store/SettingsStore.h"

#include <algorithm>
#include <cmath>

namespace {

// Formats like printf's "%.*f", so a tiny negative never reads "-0.00".
QString fixed(double value, int decimals)
{
    const double scale = std::pow(10.0, decimals);
    const double rounded = std::round(value * scale) / scale;
    return QString::number(rounded == 0.0 ? 0.0 : rounded, 'f', decimals);
}

} // namespace

const QList<double>& SettingsPresenter::offsetPresets()
{
    static const QList<double> presets{-0.5, -0.2, 0.0, 0.2, 0.5};
    return presets;
}

SettingsPresenter::SettingsPresenter(SettingsStore& settings, const PlatformFacts& platform, QObject* parent)
    : QObject(parent), m_settings(settings),
      m_numberingCaption(
          QStringLiteral("Names exports by verified shoot order (e.g. “001.mov”, “002.mov”) so %1 "
                         "matches filming order.")
              .arg(platform.fileManagerNameSort))
{
    connect(&m_settings, &SettingsStore::proResProfileChanged, this, &SettingsPresenter::profileIndexChanged);
    connect(&m_settings, &SettingsStore::audioSyncModeChanged, this,
            &SettingsPresenter::syncModeIndexChanged);
    connect(&m_settings, &SettingsStore::audioOffsetSecondsChanged, this, &SettingsPresenter::offsetChanged);
    connect(&m_settings, &SettingsStore::allowUnsafeFallbackPairingChanged, this,
            &SettingsPresenter::showsFallbackWarningChanged);
}

int SettingsPresenter::profileIndex() const
{
    const auto& all = ProResProfiles::all;
    return static_cast<int>(std::find(all.begin(), all.end(), m_settings.proResProfile()) - all.begin());
}

void SettingsPresenter::setProfileIndex(int index)
{
    if (index >= 0 && index < static_cast<int>(ProResProfiles::all.size()))
        m_settings.setProResProfile(ProResProfiles::all.at(static_cast<size_t>(index)));
}

QStringList SettingsPresenter::profileLabels() const
{
    QStringList labels;
    for (const ProResProfile profile : ProResProfiles::all)
        labels.append(ProResProfiles::label(profile));
    return labels;
}

int SettingsPresenter::syncModeIndex() const
{
    const auto& all = AudioSyncModes::all;
    return static_cast<int>(std::find(all.begin(), all.end(), m_settings.audioSyncMode()) - all.begin());
}

void SettingsPresenter::setSyncModeIndex(int index)
{
    if (index >= 0 && index < static_cast<int>(AudioSyncModes::all.size()))
        m_settings.setAudioSyncMode(AudioSyncModes::all.at(static_cast<size_t>(index)));
}

QStringList SettingsPresenter::syncModeLabels() const
{
    QStringList labels;
    for (const AudioSyncMode mode : AudioSyncModes::all)
        labels.append(AudioSyncModes::label(mode));
    return labels;
}

bool SettingsPresenter::showsManualOffset() const
{
    return m_settings.audioSyncMode() == AudioSyncMode::manual;
}

double SettingsPresenter::sliderValue() const
{
    return std::clamp(m_settings.audioOffsetSeconds(), sliderMinimum, sliderMaximum);
}

void SettingsPresenter::setSliderValue(double seconds)
{
    m_settings.setAudioOffsetSeconds(sliderPosition(seconds));
}

QString SettingsPresenter::offsetText() const
{
    return offsetText(m_settings.audioOffsetSeconds());
}

QStringList SettingsPresenter::presetLabels() const
{
    QStringList labels;
    for (const double preset : offsetPresets())
        labels.append(presetLabel(preset));
    return labels;
}

QString SettingsPresenter::resetOffsetTitle() const
{
    return QStringLiteral("Reset to Default (0.0)");
}

bool SettingsPresenter::showsFallbackWarning() const
{
    return m_settings.allowUnsafeFallbackPairing();
}

QString SettingsPresenter::syncCaption() const
{
    return QStringLiteral("Verified against real P2 media (ffprobe packet timestamps + MediaInfo's DV delay "
                          "analysis): the video "
                          "and audio essence files already share the same start point with zero relative "
                          "delay, so Auto applies "
                          "no shift. Only switch to Manual if you've confirmed a specific camera/deck "
                          "genuinely needs an offset.");
}

QString SettingsPresenter::pairingCaption() const
{
    return QStringLiteral(
        "Tolvane only pairs video with audio it can verify against CLIP XML metadata (by UMID) — the same "
        "method "
        "Premiere uses. When this is off (recommended), any clip that can't be verified this way is skipped "
        "rather than converted with a guess.");
}

QString SettingsPresenter::fallbackWarning() const
{
    return QStringLiteral(
        "Unverified clips will be paired by filename, then by sort order. This can attach the "
        "wrong audio to a clip. Always check \"View Pairing Details\" before converting.");
}

QString SettingsPresenter::numberingCaption() const
{
    return m_numberingCaption;
}

QString SettingsPresenter::skipExistingCaption() const
{
    return QStringLiteral(
        "Re-running a batch skips any clip whose output .mov already exists. Turn off to always "
        "re-convert and overwrite.");
}

QString SettingsPresenter::joinSpannedCaption() const
{
    return QStringLiteral(
        "When the camera split one long recording across several clips, convert them into one movie — "
        "only when every piece is on the card, verified by UMID and consistent. Otherwise each clip stays "
        "its own movie.");
}

QString SettingsPresenter::clipMetadataCaption() const
{
    return QStringLiteral(
        "Each movie takes its clip’s name as its reel name, and its recording date and time, user clip "
        "name, camera, shooter, scene, take, memo and UMID from the CLIP XML as metadata.");
}

void SettingsPresenter::applyPreset(int index)
{
    if (index >= 0 && index < offsetPresets().size())
        m_settings.setAudioOffsetSeconds(offsetPresets().at(index));
}

void SettingsPresenter::resetOffset()
{
    m_settings.setAudioOffsetSeconds(0.0);
}

QString SettingsPresenter::offsetText(double seconds)
{
    return fixed(seconds, 2) + QStringLiteral(" s");
}

QString SettingsPresenter::presetLabel(double seconds)
{
    return fixed(seconds, 1);
}

double SettingsPresenter::sliderPosition(double seconds)
{
    const double clamped = std::clamp(seconds, sliderMinimum, sliderMaximum);
    // Whole hundredths, so a step landing at 0.15000000000000002 is stored as 0.15.
    return std::round(std::round(clamped / sliderStep) * sliderStep * 100.0) / 100.0;
}
