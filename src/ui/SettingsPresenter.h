#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

class SettingsStore;
struct PlatformFacts;

// The settings sheet: every control reads and writes the settings store at
// once; this adds what the controls need beyond the store's own properties
// (picker indices, the offset's text, the presets, which blocks show).
class SettingsPresenter : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the application with its settings store.")
    Q_PROPERTY(int profileIndex READ profileIndex WRITE setProfileIndex NOTIFY profileIndexChanged)
    Q_PROPERTY(QStringList profileLabels READ profileLabels CONSTANT)
    Q_PROPERTY(int syncModeIndex READ syncModeIndex WRITE setSyncModeIndex NOTIFY syncModeIndexChanged)
    Q_PROPERTY(QStringList syncModeLabels READ syncModeLabels CONSTANT)
    Q_PROPERTY(bool showsManualOffset READ showsManualOffset NOTIFY syncModeIndexChanged)
    Q_PROPERTY(double sliderValue READ sliderValue WRITE setSliderValue NOTIFY offsetChanged)
    Q_PROPERTY(double sliderMinimum READ sliderMinimumValue CONSTANT)
    Q_PROPERTY(double sliderMaximum READ sliderMaximumValue CONSTANT)
    Q_PROPERTY(double sliderStep READ sliderStepValue CONSTANT)
    Q_PROPERTY(QString offsetText READ offsetText NOTIFY offsetChanged)
    Q_PROPERTY(QStringList presetLabels READ presetLabels CONSTANT)
    Q_PROPERTY(QString resetOffsetTitle READ resetOffsetTitle CONSTANT)
    Q_PROPERTY(bool showsFallbackWarning READ showsFallbackWarning NOTIFY showsFallbackWarningChanged)
    Q_PROPERTY(QString syncCaption READ syncCaption CONSTANT)
    Q_PROPERTY(QString pairingCaption READ pairingCaption CONSTANT)
    Q_PROPERTY(QString fallbackWarning READ fallbackWarning CONSTANT)
    Q_PROPERTY(QString numberingCaption READ numberingCaption CONSTANT)
    Q_PROPERTY(QString skipExistingCaption READ skipExistingCaption CONSTANT)
    Q_PROPERTY(QString joinSpannedCaption READ joinSpannedCaption CONSTANT)
    Q_PROPERTY(QString clipMetadataCaption READ clipMetadataCaption CONSTANT)

public:
    static constexpr double sliderMinimum = -2.0;
    static constexpr double sliderMaximum = 2.0;
    static constexpr double sliderStep = 0.05;
    // The one-click manual offsets, in seconds, in the order shown.
    static const QList<double>& offsetPresets();

    // `settings` must outlive the presenter; `platform` words the captions.
    SettingsPresenter(SettingsStore& settings, const PlatformFacts& platform, QObject* parent = nullptr);

    int profileIndex() const;
    void setProfileIndex(int index);
    QStringList profileLabels() const;
    int syncModeIndex() const;
    void setSyncModeIndex(int index);
    QStringList syncModeLabels() const;
    bool showsManualOffset() const;

    double sliderMinimumValue() const { return sliderMinimum; }
    double sliderMaximumValue() const { return sliderMaximum; }
    double sliderStepValue() const { return sliderStep; }
    // The stored offset as far as the slider can show it.
    double sliderValue() const;
    // Stores a slider position: kept within the slider's range, on its step.
    void setSliderValue(double seconds);
    QString offsetText() const;
    QStringList presetLabels() const;
    QString resetOffsetTitle() const;
    bool showsFallbackWarning() const;

    QString syncCaption() const;
    QString pairingCaption() const;
    QString fallbackWarning() const;
    QString numberingCaption() const;
    QString skipExistingCaption() const;
    QString joinSpannedCaption() const;
    QString clipMetadataCaption() const;

    // Sets the offset to the preset at `index` of offsetPresets().
    Q_INVOKABLE void applyPreset(int index);
    // Sets the offset back to 0.0.
    Q_INVOKABLE void resetOffset();

    // "-0.50 s": an offset as the slider's label shows it; never "-0.00".
    static QString offsetText(double seconds);
    // "-0.5": a preset as its button is labelled.
    static QString presetLabel(double seconds);
    // `seconds` within the slider's range, on the nearest step.
    static double sliderPosition(double seconds);

signals:
    void profileIndexChanged();
    void syncModeIndexChanged();
    void offsetChanged();
    void showsFallbackWarningChanged();

private:
    SettingsStore& m_settings;
    QString m_numberingCaption;
};
