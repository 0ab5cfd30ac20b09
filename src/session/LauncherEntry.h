#pragma once

#include <optional>
#include <QDBusConnection>
#include <QString>

// The app's entry in docks and task managers that follow the launcher API
// (com.canonical.Unity.LauncherEntry): a progress bar over its icon, keyed by
// the desktop file that launches it.
class LauncherEntry
{
public:
    // `desktopFileId` like "org.example.App.desktop".
    LauncherEntry(QDBusConnection bus, QString desktopFileId);

    // Shows `fraction` of the bar, or removes the bar when there is none.
    // Only a change of a whole percent is sent.
    void show(std::optional<double> fraction);

private:
    QDBusConnection m_bus;
    QString m_appUri;
    std::optional<int> m_shownPercent;
};
