#include "run/ExportFilename.h"

namespace ExportFilename {

QString orderedBasename(int orderNumber)
{
    if (orderNumber <= 999)
        return QString::asprintf("%03d.mov", orderNumber);
    return QString::number(orderNumber) + QStringLiteral(".mov");
}

} // namespace ExportFilename
