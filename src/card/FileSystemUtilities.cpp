#include "card/FileSystemUtilities.h"

#include "base/DisplayText.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <numeric>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>
#include <QtConcurrentMap>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace FileSystemUtilities {

namespace {

fs::path nativePath(const QString& path)
{
    return fs::path(QFile::encodeName(path).toStdString());
}

QString reasonOf(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// `folder` + "/" + `name`, without doubling the slash of "/".
QByteArray joined(const QByteArray& folder, const QByteArray& name)
{
    return folder.endsWith('/') ? folder + name : folder + '/' + name;
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

std::function<void(const QByteArray&)>& listedHook()
{
    static std::function<void(const QByteArray&)> hook;
    return hook;
}

// Names travel as native bytes while walking, so a folder whose name is not
// valid UTF-8 can still be entered; only the paths handed out are decoded.
FolderListing listNative(const QByteArray& folder, const std::function<bool(const QString&)>& wantsState)
{
    FolderListing listing;
    DIR* directory = ::opendir(folder.constData());
    if (!directory) {
        listing.unlisted = Unreadable{QFile::decodeName(folder), reasonOf(errno)};
        return listing;
    }
    // Entries are looked at relative to the open folder: no path is walked again per file.
    const int descriptor = ::dirfd(directory);
    while (true) {
        errno = 0;
        const dirent* entry = ::readdir(directory);
        if (!entry) {
            // A listing that fails half-way keeps what it got.
            if (errno != 0)
                listing.unlisted = Unreadable{QFile::decodeName(folder), reasonOf(errno)};
            break;
        }
        if (entry->d_name[0] == '.') {
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
                listing.hidden.emplace_back(entry->d_name);
            continue;
        }
        ListedEntry listed{QByteArray(entry->d_name), ListedEntry::Kind::other, false, std::nullopt};
        unsigned char type = entry->d_type;
        bool isLink = type == DT_LNK;
        if (type == DT_UNKNOWN || type == DT_LNK) {
            // The type the file system did not tell, and where a link leads.
            struct stat own
            {
            };
            struct stat target
            {
            };
            if (::fstatat(descriptor, entry->d_name, &own, AT_SYMLINK_NOFOLLOW) != 0) {
                listed.lookError = errno;
                listing.entries.push_back(std::move(listed));
                continue;
            }
            isLink = S_ISLNK(own.st_mode);
            if (::fstatat(descriptor, entry->d_name, &target, 0) != 0)
                target = own;
            type = S_ISDIR(target.st_mode) ? DT_DIR : S_ISREG(target.st_mode) ? DT_REG : DT_UNKNOWN;
        }
        listed.isLink = isLink;
        if (type == DT_DIR) {
            listed.kind = isLink ? ListedEntry::Kind::linkToFolder : ListedEntry::Kind::folder;
        } else if (type == DT_REG) {
            listed.kind = ListedEntry::Kind::file;
        }
        listing.entries.push_back(std::move(listed));
    }
    if (wantsState && listedHook())
        listedHook()(folder);
    std::vector<ListedEntry*> wanted;
    for (ListedEntry& entry : listing.entries) {
        if (entry.kind == ListedEntry::Kind::file && wantsState && wantsState(QFile::decodeName(entry.name)))
            wanted.push_back(&entry);
    }
    // One system call per file is all that seeing an unchanged card costs, so
    // a large folder's files are looked at from as many threads as there are
    // cores (as git does for its index).
    const auto lookAt = [descriptor](ListedEntry* entry) {
        entry->state = FileState::ofEntry(descriptor, entry->name.constData());
        if (!entry->state)
            entry->lookError = errno;
    };
    constexpr std::size_t filesWorthAThread = 64;
    if (wanted.size() >= filesWorthAThread)
        QtConcurrent::blockingMap(wanted, lookAt);
    else
        std::for_each(wanted.begin(), wanted.end(), lookAt);
    ::closedir(directory);
    std::sort(listing.entries.begin(), listing.entries.end(),
              [](const ListedEntry& a, const ListedEntry& b) { return a.name < b.name; });
    std::sort(listing.hidden.begin(), listing.hidden.end());
    return listing;
}

} // namespace

QString notRegularFileReason()
{
    return QStringLiteral("not a regular file");
}

QString linkToFolderReason()
{
    return QStringLiteral("a link to a folder, which is not followed");
}

QString hiddenReason()
{
    return QStringLiteral("hidden (its name starts with a dot)");
}

QString lookFailureReason(int error)
{
    if (error == ENOENT)
        return QStringLiteral("vanished while the card was read");
    return QStringLiteral("cannot be looked at: %1").arg(reasonOf(error));
}

QString otherExtensionReason(const QSet<QString>& extensions)
{
    QStringList sorted = extensions.values();
    sorted.sort();
    return QStringLiteral("not a .%1 file").arg(sorted.join(QStringLiteral(" or .")));
}

FolderListing listFolder(const QString& folder)
{
    return listNative(QFile::encodeName(folder), nullptr);
}

void setListedHookForTesting(std::function<void(const QByteArray& folder)> hook)
{
    listedHook() = std::move(hook);
}

std::optional<QString> findSubdirectory(const QString& name, const QString& folder,
                                        const FolderListing& listing)
{
    for (const ListedEntry& entry : listing.entries) {
        if (entry.kind != ListedEntry::Kind::folder && entry.kind != ListedEntry::Kind::linkToFolder)
            continue;
        if (QString::compare(QFile::decodeName(entry.name), name, Qt::CaseInsensitive) == 0)
            return QFile::decodeName(joined(QFile::encodeName(folder), entry.name));
    }
    return std::nullopt;
}

Walk walk(const QString& folder, const QSet<QString>& extensions, const WalkBounds* bounds)
{
    struct Pending
    {
        QByteArray path;
        int depth;
    };
    const QByteArray root = QFile::encodeName(folder);
    struct stat rootStatus
    {
    };
    const bool knowDevice = bounds && ::stat(root.constData(), &rootStatus) == 0;
    if (bounds) {
        const QString type = QString::fromUtf8(QStorageInfo(folder).fileSystemType());
        if (bounds->virtualFileSystems.contains(type))
            return {.files = {},
                    .unlisted = {},
                    .passedOver = {},
                    .folders = {},
                    .stopped = QStringLiteral("“%1” is on a %2 file system, which the system makes up; it "
                                              "holds no camera files.")
                                   .arg(DisplayText::escaped(folder), type)};
    }
    const auto wanted = [&extensions](const QString& name) {
        return extensions.contains(lowerCasedExtension(name));
    };

    Walk result;
    qsizetype filesSeen = 0;
    std::vector<Pending> pending{{root, 0}};
    while (!pending.empty()) {
        const Pending current = std::move(pending.back());
        pending.pop_back();
        const FolderListing listing = listNative(current.path, wanted);
        result.folders.push_back(current.path);
        if (listing.unlisted)
            result.unlisted.append(*listing.unlisted);
        // A card's folders are small: everything in them is accounted for.
        const auto passOver = [&](const QByteArray& path, const QString& reason) {
            if (!bounds)
                result.passedOver.push_back({QFile::decodeName(path), reason});
        };
        for (const QByteArray& name : listing.hidden)
            passOver(joined(current.path, name), hiddenReason());
        std::vector<QByteArray> subfolders;
        for (const ListedEntry& entry : listing.entries) {
            const QByteArray path = joined(current.path, entry.name);
            if (entry.lookError != 0) {
                passOver(path, lookFailureReason(entry.lookError));
                continue;
            }
            if (entry.kind == ListedEntry::Kind::linkToFolder)
                passOver(path, linkToFolderReason());
            if (entry.kind == ListedEntry::Kind::other)
                passOver(path, notRegularFileReason());
            // Only real folders are entered: following a link could walk in circles.
            if (entry.kind == ListedEntry::Kind::folder) {
                if (bounds && current.depth >= bounds->maximumDepth)
                    continue;
                struct stat status
                {
                };
                if (knowDevice &&
                    (::stat(path.constData(), &status) != 0 || status.st_dev != rootStatus.st_dev))
                    continue;
                subfolders.push_back(path);
                continue;
            }
            if (entry.kind != ListedEntry::Kind::file)
                continue;
            if (bounds && ++filesSeen > bounds->maximumFiles)
                return {.files = {},
                        .unlisted = {},
                        .passedOver = {},
                        .folders = {},
                        .stopped =
                            QStringLiteral("Stopped looking after %1 files below “%2” without finding a "
                                           "P2 card (a CONTENTS or VIDEO folder). Choose the card "
                                           "itself, or a folder that holds just its clips.")
                                .arg(bounds->maximumFiles)
                                .arg(DisplayText::escaped(folder))};
            if (entry.state)
                result.files.push_back({QFile::decodeName(path), path, *entry.state, entry.isLink});
            else if (!wanted(QFile::decodeName(entry.name)))
                passOver(path, otherExtensionReason(extensions));
        }
        // Reversed, so sub-folders are walked in listing order.
        for (auto it = subfolders.rbegin(); it != subfolders.rend(); ++it)
            pending.push_back({*it, current.depth + 1});
    }
    return result;
}

QStringList readableFiles(const Walk& walk, QList<Unreadable>& unreadable)
{
    unreadable.append(walk.unlisted);
    QStringList files;
    files.reserve(qsizetype(walk.files.size()));
    for (const FoundFile& file : walk.files) {
        // Only asked, never opened: the walk reads listings alone. Asked as
        // opening would be, with the identity file access uses.
        if (::faccessat(AT_FDCWD, file.nativePath.constData(), R_OK, AT_EACCESS) != 0) {
            unreadable.append({file.path, reasonOf(errno)});
            continue;
        }
        files.append(file.path);
    }
    sortByFileName(files);
    return files;
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
    if (inner == outer || inner.startsWith(outer == QLatin1String("/") ? outer : outer + QLatin1Char('/')))
        return true;
    // A bind mount or a second mount of the same disk shows the folder under
    // another path: the system's identity of the folder tells.
    struct stat outerStatus
    {
    };
    if (::stat(QFile::encodeName(outer).constData(), &outerStatus) != 0)
        return false;
    for (QString part = inner; !part.isEmpty(); part = QFileInfo(part).path()) {
        struct stat status
        {
        };
        if (::stat(QFile::encodeName(part).constData(), &status) == 0 &&
            status.st_dev == outerStatus.st_dev && status.st_ino == outerStatus.st_ino)
            return true;
        if (part == QLatin1String("/"))
            break;
    }
    return false;
}

} // namespace FileSystemUtilities
