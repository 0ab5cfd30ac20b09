#include "session/LauncherEntry.h"

#include <cmath>
#include <QDBusMessage>
#include <QVariantMap>

LauncherEntry::LauncherEntry(QDBusConnection bus, QString desktopFileId)
    : m_bus(std::move(bus)), m_appUri(QStringLiteral("application://") + desktopFileId)
{
}

void LauncherEntry::show(std::optional<double> fraction)
{
    std::optional<int> percent;
    if (fraction)
        percent = static_cast<int>(std::floor(std::clamp(*fraction, 0.0, 1.0) * 100));
    if (percent == m_shownPercent)
        return;
    m_shownPercent = percent;
    QDBusMessage update = QDBusMessage::createSignal(QStringLiteral("/org/tolvane/Tolvane/LauncherEntry"),
                                                     QStringLiteral("com.canonical.Unity.LauncherEntry"),
                                                     QStringLiteral("Update"));
    update << m_appUri
           << QVariantMap{{QStringLiteral("progress"), percent.value_or(0) / 100.0},
                          {QStringLiteral("progress-visible"), percent.has_value()}};
    m_bus.send(update);
}
