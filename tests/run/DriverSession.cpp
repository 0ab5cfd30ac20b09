#include "DriverSession.h"

#include "base/Workers.h"
#include "store/MemoryKeyValueStore.h"

#include <QCoreApplication>
#include <QThreadPool>

void drainBackgroundWork()
{
    for (int round = 0; round < 3; ++round) {
        Workers::pool()->waitForDone();
        QCoreApplication::processEvents();
    }
}

void DriverSession::open()
{
    desktop = std::make_shared<ScriptedDesktop>();
    settings = std::make_unique<SettingsStore>(std::make_shared<MemoryKeyValueStore>(), desktop);
    recent = std::make_unique<RecentFoldersStore>(std::make_shared<MemoryKeyValueStore>());
    history = std::make_unique<ConversionHistoryStore>(std::make_shared<MemoryKeyValueStore>());
    driver = std::make_unique<ConversionViewModel>(*settings, *recent, *history, desktop);
}

void DriverSession::openConverting(const QString& outputFolder)
{
    open();
    settings->setOutputFolderPath(outputFolder);
    settings->setProResProfile(ProResProfile::proxy);
    settings->setOpenOutputFolderWhenFinished(false);
}

void DriverSession::close()
{
    driver.reset();
    drainBackgroundWork();
    history.reset();
    recent.reset();
    settings.reset();
    desktop.reset();
}
