#include "ui/MonospaceFont.h"

#include <QFontDatabase>

QFont MonospaceFont::font()
{
    return QFontDatabase::systemFont(QFontDatabase::FixedFont);
}
