#pragma once

#include "base/Platform.h"
#include "store/Desktop.h"

#include <optional>
#include <QCoro/QCoroTask>
#include <QObject>
#include <QtQml/qqmlregistration.h>

class ConversionViewModel;
class SettingsStore;

// The two menu commands that answer with an alert: checking the media tools
// and resetting the preferences.
class AppMaintenance : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The maintenance commands are App.maintenance.")

public:
    AppMaintenance(ConversionViewModel& driver, SettingsStore& settings, Desktop& desktop,
                   QObject* parent = nullptr);

    // Searches for the tools again, updates the driver's ffmpeg availability
    // and tells what was found.
    Q_INVOKABLE void checkFFmpegInstall();
    // Asks first; only "Reset" puts every setting back to its default.
    Q_INVOKABLE void resetPreferences();

    // The alert's informative text when ffmpeg was found.
    static QString toolPathsText(const std::optional<QString>& ffmpeg, const std::optional<QString>& ffprobe);
    // The alert's informative text when ffmpeg is missing, in `facts`' words.
    static QString ffmpegMissingText(const PlatformFacts& facts);

private:
    QCoro::Task<> runFFmpegCheck();
    QCoro::Task<> runReset();

    ConversionViewModel& m_driver;
    SettingsStore& m_settings;
    Desktop& m_desktop;
    QCoro::Task<> m_alert;
};
