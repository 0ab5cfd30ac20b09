#include "run/OutputFolderNamer.h"

#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>

namespace OutputFolderNamer {

QString todayFolderName(const QDateTime& date)
{
    // The C locale keeps the digits ASCII whatever the user's language is.
    return QLocale::c().toString(date.toLocalTime(), QStringLiteral("MM-dd-yyyy"));
}

QString availableURL(const QString& baseDirectory, const QString& baseName)
{
    return availableURL(baseDirectory, baseName, entryExists);
}

QString availableURL(const QString& baseDirectory, const QString& baseName, const EntryExists& exists)
{
    const QDir base(baseDirectory);
    const QString candidate = base.filePath(baseName);
    if (!exists(candidate))
        return candidate;
    for (qint64 number = 2;; ++number) {
        const QString numbered = base.filePath(baseName + QStringLiteral(" (%1)").arg(number));
        if (!exists(numbered))
            return numbered;
    }
}

bool isRunFolderName(const QString& name)
{
    static const QRegularExpression pattern(QStringLiteral("^\\d{2}-\\d{2}-\\d{4}( \\([1-9]\\d*\\))?$"));
    return pattern.match(name).hasMatch();
}

bool entryExists(const QString& path)
{
    // exists() follows links, so a dangling link needs its own check.
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

} // namespace OutputFolderNamer
