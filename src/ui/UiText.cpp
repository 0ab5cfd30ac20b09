#include "ui/UiText.h"

QString UiText::counted(qint64 count, const QString& noun)
{
    return QString::number(count) + QLatin1Char(' ') + noun + (count == 1 ? QString() : QStringLiteral("s"));
}
