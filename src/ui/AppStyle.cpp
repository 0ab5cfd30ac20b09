#include "ui/AppStyle.h"

#include <QIcon>
#include <QQuickStyle>

void applyAppStyle()
{
    QIcon::setFallbackThemeName(QStringLiteral("breeze"));
    QIcon::setFallbackSearchPaths(QIcon::fallbackSearchPaths() << QStringLiteral(":/Tolvane/icons"));
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
}
