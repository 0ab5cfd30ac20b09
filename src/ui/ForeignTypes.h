#pragma once

#include "run/BackupFirst.h"
#include "run/ConversionViewModel.h"
#include "store/BackupSettings.h"
#include "store/ConversionHistoryStore.h"
#include "store/RecentFoldersStore.h"
#include "store/SettingsStore.h"

#include <QtQml/qqml.h>

// The core's observable objects, known to QML by their own names so that
// bindings are typed and checked. QML never makes them: the application's
// single instances are reached through the App singleton.

struct ConversionViewModelForeign
{
    Q_GADGET
    QML_FOREIGN(ConversionViewModel)
    QML_NAMED_ELEMENT(ConversionViewModel)
    QML_UNCREATABLE("The session driver is App.driver.")
};

struct SettingsStoreForeign
{
    Q_GADGET
    QML_FOREIGN(SettingsStore)
    QML_NAMED_ELEMENT(SettingsStore)
    QML_UNCREATABLE("The settings are App.settings.")
};

struct RecentFoldersStoreForeign
{
    Q_GADGET
    QML_FOREIGN(RecentFoldersStore)
    QML_NAMED_ELEMENT(RecentFoldersStore)
    QML_UNCREATABLE("The recent folders are App.recentFolders.")
};

struct ConversionHistoryStoreForeign
{
    Q_GADGET
    QML_FOREIGN(ConversionHistoryStore)
    QML_NAMED_ELEMENT(ConversionHistoryStore)
    QML_UNCREATABLE("The history is App.history.")
};

struct BackupSettingsForeign
{
    Q_GADGET
    QML_FOREIGN(BackupSettings)
    QML_NAMED_ELEMENT(BackupSettings)
    QML_UNCREATABLE("The backup settings are App.backupSettings.")
};

struct BackupFirstForeign
{
    Q_GADGET
    QML_FOREIGN(BackupFirst)
    QML_NAMED_ELEMENT(BackupFirst)
    QML_UNCREATABLE("Backing up before converting is App.backupFirst.")
};
