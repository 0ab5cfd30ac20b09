#include "backup/TreeListing.h"

#include <QDir>
#include <QFile>
#include <sys/stat.h>

namespace {

void listFolder(const QString& root, const QString& relative, bool skipHistory, TreeListing& listing)
{
    const QString absolute = relative.isEmpty() ? root : root + QLatin1Char('/') + relative;
    const QDir folder(absolute);
    if (!folder.isReadable()) {
        listing.problems.append(QStringLiteral("“%1” cannot be read.").arg(absolute));
        return;
    }
    const QStringList names =
        folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& name : names) {
        const QString path = relative.isEmpty() ? name : relative + QLatin1Char('/') + name;
        if (skipHistory && relative.isEmpty() && name == QLatin1String(historyFolderName))
            continue;
        struct stat status
        {
        };
        if (::lstat(QFile::encodeName(root + QLatin1Char('/') + path).constData(), &status) != 0) {
            listing.problems.append(QStringLiteral("“%1” cannot be read.").arg(path));
        } else if (S_ISDIR(status.st_mode)) {
            listing.folders.append(path);
            listFolder(root, path, skipHistory, listing);
        } else if (S_ISREG(status.st_mode)) {
            listing.files.append(
                {path, static_cast<qint64>(status.st_size), status.st_mtim.tv_sec, status.st_mtim.tv_nsec});
            listing.totalBytes += status.st_size;
        } else {
            listing.problems.append(
                QStringLiteral("“%1” is a link or a special file, which a backup does not copy.").arg(path));
        }
    }
}

} // namespace

QDateTime ListedFile::lastModified() const
{
    return QDateTime::fromSecsSinceEpoch(modifiedSeconds, Qt::UTC);
}

TreeListing TreeListing::of(const QString& root, bool skipHistory)
{
    TreeListing listing;
    listFolder(root, QString(), skipHistory, listing);
    return listing;
}

bool isIgnoredByHistory(const QString& path)
{
    const QStringList parts = path.split(QLatin1Char('/'));
    if (parts.last() == QLatin1String(".DS_Store"))
        return true;
    return parts.mid(0, parts.size() - 1).contains(QLatin1String(historyFolderName));
}
