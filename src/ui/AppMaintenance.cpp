#include "ui/AppMaintenance.h"

#include "media/FFmpegService.h"
#include "run/ConversionViewModel.h"
#include "store/SettingsStore.h"

#include <QPointer>

AppMaintenance::AppMaintenance(ConversionViewModel& driver, SettingsStore& settings, Desktop& desktop,
                               QObject* parent)
    : QObject(parent), m_driver(driver), m_settings(settings), m_desktop(desktop)
{
}

void AppMaintenance::checkFFmpegInstall()
{
    m_alert = runFFmpegCheck();
}

void AppMaintenance::resetPreferences()
{
    m_alert = runReset();
}

QString AppMaintenance::toolPathsText(const std::optional<QString>& ffmpeg,
                                      const std::optional<QString>& ffprobe)
{
    return QStringLiteral("ffmpeg: ") + ffmpeg.value_or(QStringLiteral("unknown")) +
           QStringLiteral("\nffprobe: ") + ffprobe.value_or(QStringLiteral("not found"));
}

QString AppMaintenance::ffmpegMissingText(const PlatformFacts& facts)
{
    return QStringLiteral(
               "Tolvane looks for ffmpeg/ffprobe at %1. Install it with %2, then check again:\n\n%3")
        .arg(Platform::toolFoldersText(facts), facts.packageManagerName, facts.ffmpegInstallCommand);
}

QCoro::Task<> AppMaintenance::runFFmpegCheck()
{
    // Arguments are named first: g++ 12 mishandles temporaries inside co_await.
    const QStringList buttons{QStringLiteral("OK")};
    if (m_driver.recheckFFmpegAvailability()) {
        const QString paths =
            toolPathsText(FFmpegService::resolvedFFmpegPath(), FFmpegService::resolvedFFprobePath());
        co_await m_desktop.showAlert(AlertStyle::informational, QStringLiteral("ffmpeg is installed"), paths,
                                     buttons);
    } else {
        const QString missing = ffmpegMissingText(Platform::current());
        co_await m_desktop.showAlert(AlertStyle::warning, QStringLiteral("ffmpeg not found"), missing,
                                     buttons);
    }
}

QCoro::Task<> AppMaintenance::runReset()
{
    const QPointer<AppMaintenance> self(this);
    const QString question = QStringLiteral("Reset Preferences?");
    const QString detail =
        QStringLiteral("This restores output folder, codec, audio sync, pairing safety, and "
                       "all other settings to their defaults.");
    const QStringList buttons{QStringLiteral("Reset"), QStringLiteral("Cancel")};
    const int chosen = co_await m_desktop.showAlert(AlertStyle::warning, question, detail, buttons);
    if (self && chosen == 0)
        m_settings.resetToDefaults();
}
