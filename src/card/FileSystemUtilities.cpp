#include "card/FileSystemUtilities.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace FileSystemUtilities {

namespace {

// Names travel as native bytes while walking, so a folder whose name is not
// valid UTF-8 can still be entered; only the paths handed out are decoded.
fs::path nativePath(const QString& path)
{
    return fs::path(QFile::encodeName(path).toStdString());
}

QString decodedPath(const fs::path& path)
{
    return QFile::decodeName(QByteArray::fromStdString(path.native()));
}

bool isHidden(const fs::path& path)
{
    return path.filename().native().starts_with('.');
}

// The non-hidden entries of one folder in byte order of their names; empty when
// the folder cannot be listed. A listing that fails half-way keeps what it got.
std::vector<fs::directory_entry> listDirectory(const fs::path& folder,
                                               QList<Unreadable>* unreadable = nullptr)
{
    std::vector<fs::directory_entry> entries;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        if (!isHidden(it->path()))
            entries.push_back(*it);
    }
    if (error && unreadable)
        unreadable->append({decodedPath(folder), QString::fromLocal8Bit(error.message())});
    std::sort(entries.begin(), entries.end(),
              [](const auto& a, const auto& b) { return a.path().filename() < b.path().filename(); });
    return entries;
}

QStringView lastComponent(QStringView path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

QString lowerCasedExtension(QStringView fileName)
{
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? fileName.mid(dot + 1).toString().toLower() : QString();
}

// A name folded for comparison once, instead of on every comparison of a sort.
using FoldedName = QList<uint>;

FoldedName foldedName(QStringView name)
{
    return name.toString().toCaseFolded().toUcs4();
}

int compareFolded(const FoldedName& a, const FoldedName& b)
{
    const auto digitRunEnd = [](const FoldedName& text, qsizetype from) {
        while (from < text.size() && QChar::isDigit(text[from]))
            ++from;
        return from;
    };
    const auto skipZeros = [](const FoldedName& text, qsizetype from, qsizetype end) {
        while (from < end && QChar::digitValue(text[from]) == 0)
            ++from;
        return from;
    };

    int zeroPaddingOrder = 0;
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (QChar::isDigit(a[i]) && QChar::isDigit(b[j])) {
            const qsizetype aEnd = digitRunEnd(a, i);
            const qsizetype bEnd = digitRunEnd(b, j);
            const qsizetype aDigits = skipZeros(a, i, aEnd);
            const qsizetype bDigits = skipZeros(b, j, bEnd);
            // Without leading zeros a longer run is a larger number, however long.
            if (aEnd - aDigits != bEnd - bDigits)
                return aEnd - aDigits < bEnd - bDigits ? -1 : 1;
            for (qsizetype k = 0; k < aEnd - aDigits; ++k) {
                const int difference = QChar::digitValue(a[aDigits + k]) - QChar::digitValue(b[bDigits + k]);
                if (difference != 0)
                    return difference;
            }
            if (zeroPaddingOrder == 0 && aEnd - i != bEnd - j)
                zeroPaddingOrder = aEnd - i < bEnd - j ? -1 : 1;
            i = aEnd;
            j = bEnd;
            continue;
        }
        if (a[i] != b[j])
            return a[i] < b[j] ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size())
        return 1;
    if (j < b.size())
        return -1;
    return zeroPaddingOrder;
}

} // namespace

std::optional<QString> findSubdirectory(const QString& name, const QString& folder,
                                        QList<Unreadable>* unreadable)
{
    for (const fs::directory_entry& entry : listDirectory(nativePath(folder), unreadable)) {
        std::error_code error;
        if (!entry.is_directory(error))
            continue;
        const QString childName = decodedPath(entry.path().filename());
        if (QString::compare(childName, name, Qt::CaseInsensitive) == 0)
            return decodedPath(entry.path());
    }
    return std::nullopt;
}

namespace {

// The walk behind `files` and `boundedFiles`; without bounds it goes everywhere
// below `folder` except through links.
BoundedFiles walk(const QString& folder, const QSet<QString>& extensions, const WalkBounds* bounds,
                  QList<Unreadable>* unreadable)
{
    struct Pending
    {
        fs::path path;
        int depth;
    };
    const fs::path root = nativePath(folder);
    struct stat rootStatus
    {
    };
    const bool knowDevice = bounds && stat(root.c_str(), &rootStatus) == 0;
    if (bounds) {
        const QString type = QString::fromUtf8(QStorageInfo(folder).fileSystemType());
        if (bounds->virtualFileSystems.contains(type))
            return {{},
                    QStringLiteral("“%1” is on a %2 file system, which the system makes up; it holds no "
                                   "camera files.")
                        .arg(folder, type)};
    }

    BoundedFiles result;
    qsizetype filesSeen = 0;
    std::vector<Pending> pending{{root, 0}};
    while (!pending.empty()) {
        const Pending current = std::move(pending.back());
        pending.pop_back();
        std::vector<fs::path> subfolders;
        for (const fs::directory_entry& entry : listDirectory(current.path, unreadable)) {
            std::error_code error;
            // Only real folders are entered: following a link could walk in circles.
            if (entry.is_directory(error) && !entry.is_symlink(error)) {
                if (bounds && current.depth >= bounds->maximumDepth)
                    continue;
                struct stat status
                {
                };
                if (knowDevice &&
                    (stat(entry.path().c_str(), &status) != 0 || status.st_dev != rootStatus.st_dev))
                    continue;
                subfolders.push_back(entry.path());
                continue;
            }
            if (!entry.is_regular_file(error))
                continue;
            if (bounds && ++filesSeen > bounds->maximumFiles)
                return {
                    {},
                    QStringLiteral("Stopped looking after %1 files below “%2” without finding a P2 card "
                                   "(a CONTENTS or VIDEO folder). Choose the card itself, or a folder that "
                                   "holds just its clips.")
                        .arg(bounds->maximumFiles)
                        .arg(folder)};
            const QString path = decodedPath(entry.path());
            if (!extensions.contains(lowerCasedExtension(lastComponent(path))))
                continue;
            // Only asked, never opened: the walk reads listings alone.
            if (unreadable && access(entry.path().c_str(), R_OK) != 0) {
                unreadable->append({path, QString::fromLocal8Bit(std::strerror(errno))});
                continue;
            }
            result.files.append(path);
        }
        // Reversed, so sub-folders are walked in listing order.
        for (auto it = subfolders.rbegin(); it != subfolders.rend(); ++it)
            pending.push_back({*it, current.depth + 1});
    }
    sortByFileName(result.files);
    return result;
}

} // namespace

QStringList files(const QString& folder, const QSet<QString>& extensions, QList<Unreadable>* unreadable)
{
    return walk(folder, extensions, nullptr, unreadable).files;
}

BoundedFiles boundedFiles(const QString& folder, const QSet<QString>& extensions, const WalkBounds& bounds,
                          QList<Unreadable>* unreadable)
{
    return walk(folder, extensions, &bounds, unreadable);
}

int compareFileNames(QStringView a, QStringView b)
{
    return compareFolded(foldedName(a), foldedName(b));
}

void sortByFileName(QStringList& paths)
{
    std::vector<FoldedName> names;
    names.reserve(paths.size());
    for (const QString& path : paths)
        names.push_back(foldedName(lastComponent(path)));
    std::vector<qsizetype> order(paths.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](qsizetype a, qsizetype b) { return compareFolded(names[a], names[b]) < 0; });
    QStringList sorted;
    sorted.reserve(paths.size());
    for (const qsizetype index : order)
        sorted.append(paths[index]);
    paths = std::move(sorted);
}

qint64 fileSize(const QString& path)
{
    const QFileInfo info(path);
    return info.isFile() ? info.size() : 0;
}

std::optional<QString> createDirectories(const QString& folder)
{
    std::error_code error;
    fs::create_directories(nativePath(folder), error);
    if (!error && QFileInfo(folder).isDir())
        return std::nullopt;
    // "File exists" would hide the cause when a folder on the way is a
    // symbolic link to something that is gone.
    for (QString part = QDir::cleanPath(QFileInfo(folder).absoluteFilePath()); part.size() > 1;
         part = QFileInfo(part).path()) {
        const QFileInfo entry(part);
        if (entry.isSymLink() && !entry.exists())
            return QStringLiteral("Symbolic link to “%1”, which does not exist (%2)")
                .arg(entry.symLinkTarget(), part);
    }
    const QString reason =
        error ? QString::fromLocal8Bit(error.message()) : QStringLiteral("Not a directory");
    return QStringLiteral("%1 (%2)").arg(reason, folder);
}

namespace {

// `path` with every existing part resolved to its real location.
QString resolvedPath(const QString& path)
{
    QString existing = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    QString rest;
    while (!QFileInfo::exists(existing)) {
        const qsizetype slash = existing.lastIndexOf(QLatin1Char('/'));
        if (slash <= 0)
            return QDir::cleanPath(path);
        rest.prepend(existing.mid(slash));
        existing.truncate(slash);
    }
    return QDir::cleanPath(QFileInfo(existing).canonicalFilePath() + rest);
}

} // namespace

bool isWithin(const QString& path, const QString& folder)
{
    const QString inner = resolvedPath(path);
    const QString outer = resolvedPath(folder);
    return inner == outer || inner.startsWith(outer == QLatin1String("/") ? outer : outer + QLatin1Char('/'));
}

} // namespace FileSystemUtilities
