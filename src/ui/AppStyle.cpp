#include "ui/AppStyle.h"

#include <QIcon>
#include <QQuickStyle>
#include <QStandardPaths>
#include <QStringList>

void applyAppStyle()
{
    // Platforms without a desktop theme (offscreen, minimal) look for icons
    // only in the resources; the desktop's icon folders are added for them.
    QStringList searchPaths = QIcon::themeSearchPaths();
    for (const QString& folder : QStandardPaths::locateAll(
             QStandardPaths::GenericDataLocation, QStringLiteral("icons"), QStandardPaths::LocateDirectory))
        if (!searchPaths.contains(folder))
            searchPaths.append(folder);
    QIcon::setThemeSearchPaths(searchPaths);
    QIcon::setFallbackThemeName(QStringLiteral("breeze"));
    if (QIcon::themeName().isEmpty() || QIcon::themeName() == QLatin1String("hicolor"))
        QIcon::setThemeName(QStringLiteral("breeze"));
    QIcon::setFallbackSearchPaths(QIcon::fallbackSearchPaths() << QStringLiteral(":/Tolvane/icons"));
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
}
