#include "run/ExportFilename.h"

#include "card/FileSystemUtilities.h"
#include "run/OutputFolderNamer.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

namespace ExportFilename {

QString uniqueOutputURL(const QString& baseFilename, const QString& folder)
{
    return uniqueOutputURL(baseFilename, folder, locationTaken);
}

QString uniqueOutputURL(const QString& baseFilename, const QString& folder, const LocationTaken& taken)
{
    const QDir directory(folder);
    const QString base = directory.filePath(baseFilename);
    if (!taken(base))
        return base;

    // A leading point starts a hidden name and a trailing one ends no extension.
    const qsizetype dot = baseFilename.lastIndexOf(QLatin1Char('.'));
    const bool hasExtension = dot > 0 && dot < baseFilename.size() - 1;
    const QString stem = hasExtension ? baseFilename.left(dot) : baseFilename;
    const QString extension = hasExtension ? baseFilename.mid(dot + 1) : QStringLiteral("mov");
    for (int number = 2; number <= 9999; ++number) {
        const QString candidate = directory.filePath(stem + QLatin1Char('-') + QString::number(number) +
                                                     QLatin1Char('.') + extension);
        if (!taken(candidate))
            return candidate;
    }
    return base;
}

QStringList uniqueOutputURLs(const QStringList& baseFilenames, const QString& folder,
                             const LocationTaken& taken)
{
    QSet<QString> claimed;
    const LocationTaken takenInRun = [&claimed, &taken](const QString& path) {
        return claimed.contains(path.toCaseFolded()) || taken(path);
    };
    QStringList locations;
    locations.reserve(baseFilenames.size());
    for (const QString& base : baseFilenames) {
        locations.append(uniqueOutputURL(base, folder, takenInRun));
        claimed.insert(locations.last().toCaseFolded());
    }
    return locations;
}

bool locationTaken(const QString& path)
{
    if (!OutputFolderNamer::entryExists(path))
        return false;
    return !QFileInfo(path).isFile() || FileSystemUtilities::fileSize(path) > 0;
}

} // namespace ExportFilename
