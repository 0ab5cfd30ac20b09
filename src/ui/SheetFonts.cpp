#include "ui/SheetFonts.h"

#include <QFontDatabase>
#include <QGuiApplication>

namespace {

qreal scaled(qreal factor)
{
    const QFont font = QGuiApplication::font();
    const qreal base = font.pointSizeF() > 0 ? font.pointSizeF() : 10.0;
    return base * factor;
}

} // namespace

QString SheetFonts::fixedFamily()
{
    return QFontDatabase::systemFont(QFontDatabase::FixedFont).family();
}

qreal SheetFonts::captionSize()
{
    return scaled(0.9);
}

qreal SheetFonts::headlineSize()
{
    return scaled(1.15);
}

qreal SheetFonts::titleSize()
{
    return scaled(1.6);
}

qreal SheetFonts::symbolSize()
{
    return scaled(3.0);
}
