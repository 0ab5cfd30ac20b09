#pragma once

#include "run/ConversionViewModel.h"
#include "ScriptedDesktop.h"
#include "store/ConversionHistoryStore.h"
#include "store/RecentFoldersStore.h"
#include "store/SettingsStore.h"

#include <memory>

// Lets every worker and the event loop run until nothing is left to deliver.
void drainBackgroundWork();

// The session driver as a test owns it: a scripted desktop and stores kept in
// memory, made afresh for every test function.
struct DriverSession
{
    std::shared_ptr<ScriptedDesktop> desktop;
    std::unique_ptr<SettingsStore> settings;
    std::unique_ptr<RecentFoldersStore> recent;
    std::unique_ptr<ConversionHistoryStore> history;
    std::unique_ptr<ConversionViewModel> driver;

    void open();
    // Opens a session whose runs write proxy movies into `outputFolder` and
    // leave the desktop alone.
    void openConverting(const QString& outputFolder);
    // The driver goes first, and its background work ends before the stores
    // it may still reach go away.
    void close();
};
