#pragma once

#include <QString>

namespace UiText {

// "1 clip", "0 clips", "3 files": the plural "s" exactly when the count is not 1.
QString counted(qint64 count, const QString& noun);

} // namespace UiText
