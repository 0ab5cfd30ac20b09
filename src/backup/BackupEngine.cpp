#include "backup/BackupEngine.h"

#include "backup/BackupText.h"
#include "backup/DirectoryHashes.h"
#include "backup/FileCopier.h"
#include "backup/MhlHistory.h"
#include "backup/ReadBack.h"
#include "backup/TreeListing.h"

#include <fcntl.h>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QFuture>
#include <QHash>
#include <QSet>
#include <QtConcurrent/QtConcurrentRun>
#include <QThreadPool>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace BackupEngine {

namespace {

// Room kept for each copy's history beside its files.
constexpr qint64 historyAllowance = 1024 * 1024;

struct Destination
{
    QString copyRoot;
    // Indexes into the listing of files to write here; the others are here already.
    QList<qsizetype> toWrite;
    // Per file of the listing: whether it is written here (or is here already).
    QList<bool> writes;
};

QString join(const QString& root, const QString& relative)
{
    return relative.isEmpty() ? root : root + QLatin1Char('/') + relative;
}

bool isInside(const QString& path, const QString& folder)
{
    return path == folder || path.startsWith(folder + QLatin1Char('/'));
}

// The nearest folder of `path` that exists, to ask its file system about.
QString existingAncestor(QString path)
{
    while (!QFileInfo::exists(path))
        path = QFileInfo(path).path();
    return path;
}

// Each file system's free bytes against what all its destinations need.
QStringList spaceProblems(const QList<Destination>& destinations, const QStringList& names,
                          const TreeListing& listing)
{
    struct Need
    {
        QString destination;
        qint64 needed = 0;
        qint64 free = 0;
    };
    QHash<quint64, Need> byDevice;
    QList<quint64> order;
    for (qsizetype i = 0; i < destinations.size(); ++i) {
        const QString probe = existingAncestor(destinations.at(i).copyRoot);
        struct stat status
        {
        };
        struct statvfs space
        {
        };
        if (::stat(QFile::encodeName(probe).constData(), &status) != 0 ||
            ::statvfs(QFile::encodeName(probe).constData(), &space) != 0)
            continue;
        const qint64 block = std::max<qint64>(space.f_frsize, 1);
        qint64 needed = historyAllowance;
        for (const qsizetype index : destinations.at(i).toWrite)
            needed += (listing.files.at(index).size + block - 1) / block * block;
        const quint64 device = status.st_dev;
        if (!byDevice.contains(device)) {
            order.append(device);
            byDevice.insert(device, {names.at(i), 0, qint64(space.f_bavail) * qint64(space.f_frsize)});
        }
        byDevice[device].needed += needed;
    }
    QStringList problems;
    for (const quint64 device : order) {
        const Need& need = byDevice.value(device);
        if (need.needed > need.free)
            problems.append(BackupText::notEnoughSpace(need.destination, need.needed, need.free));
    }
    return problems;
}

void setModified(const QString& path, qint64 seconds, long nanoseconds)
{
    const timespec times[2] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
    ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0);
}

// Gives each folder of a copy, deepest first, the time of the card's folder.
void keepFolderTimes(const QString& card, const QString& copyRoot, const QStringList& folders)
{
    QStringList all = folders;
    all.prepend(QString());
    for (auto folder = all.crbegin(); folder != all.crend(); ++folder) {
        struct stat status
        {
        };
        if (::stat(QFile::encodeName(join(card, *folder)).constData(), &status) == 0)
            setModified(join(copyRoot, *folder), status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
    }
}

QDateTime folderTime(const QString& path)
{
    struct stat status
    {
    };
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return {};
    return QDateTime::fromSecsSinceEpoch(status.st_mtim.tv_sec, Qt::UTC);
}

// The next generation of a copy's history: every file with the card's
// checksum, verified where an earlier generation holds the same.
std::optional<QString> recordHistory(const BackupRequest& request, const QString& copyRoot,
                                     const TreeListing& listing, const QList<quint64>& digests,
                                     QString& error)
{
    std::optional<MhlHistory> history = MhlHistory::load(copyRoot, error);
    if (!history)
        return std::nullopt;
    const QHash<QString, Mhl::FileRecord> recorded = history->recordedFiles();
    Mhl::Manifest manifest;
    manifest.created = QDateTime::currentDateTimeUtc();
    manifest.hostName = request.hostName;
    manifest.toolName = request.toolName;
    manifest.toolVersion = request.toolVersion;
    manifest.process = Mhl::Process::transfer;
    for (qsizetype i = 0; i < listing.files.size(); ++i) {
        const ListedFile& file = listing.files.at(i);
        if (isIgnoredByHistory(file.path))
            continue;
        Mhl::Action action = Mhl::Action::original;
        if (const auto earlier = recorded.constFind(file.path); earlier != recorded.cend())
            action = earlier->xxh64 == digests.at(i) ? Mhl::Action::verified : Mhl::Action::failed;
        manifest.files.append({file.path, file.size, file.lastModified(), digests.at(i), action});
    }
    QStringList folders;
    for (const QString& folder : listing.folders) {
        if (!isIgnoredByHistory(folder + QStringLiteral("/.")))
            folders.append(folder);
    }
    const DirectoryHashes::Result hashes = DirectoryHashes::compute(manifest.files, folders);
    for (const QString& folder : folders)
        manifest.directories.append(
            {folder, folderTime(join(request.card, folder)), hashes.folders.value(folder)});
    manifest.root = hashes.root;
    return history->append(manifest, request.started, error);
}

} // namespace

QString cardRoot(const QString& folder)
{
    const QFileInfo info(folder);
    const QString absolute = info.absoluteFilePath();
    if (info.fileName().compare(QLatin1String("CONTENTS"), Qt::CaseInsensitive) == 0)
        return QFileInfo(absolute).path();
    return QDir::cleanPath(absolute);
}

BackupResult run(const BackupRequest& request, BackupProgress& progress)
{
    BackupResult result;
    const auto refuse = [&result](QStringList problems) {
        result.status = BackupResult::Status::refused;
        result.problems = std::move(problems);
        return result;
    };
    const QString card = QFileInfo(request.card).canonicalFilePath();
    if (card.isEmpty() || !QFileInfo(card).isDir())
        return refuse({BackupText::noSuchCard(request.card)});
    if (QFileInfo::exists(join(card, QLatin1String(historyFolderName))))
        return refuse({BackupText::cardHasHistory(request.card)});
    const QString cardName = QFileInfo(card).fileName();

    QList<Destination> destinations;
    QStringList problems;
    QSet<QString> seen;
    for (const QString& given : request.destinations) {
        const QString destination = QFileInfo(given).canonicalFilePath();
        if (destination.isEmpty() || !QFileInfo(destination).isDir() ||
            !QFileInfo(destination).isWritable()) {
            problems.append(BackupText::noSuchDestination(given));
            continue;
        }
        if (isInside(destination, card)) {
            problems.append(BackupText::destinationOnCard(given));
            continue;
        }
        if (seen.contains(destination)) {
            problems.append(BackupText::sameDestinationTwice(given));
            continue;
        }
        seen.insert(destination);
        destinations.append({join(destination, cardName), {}, {}});
        result.copies.append(destinations.last().copyRoot);
    }
    if (!problems.isEmpty())
        return refuse(problems);

    const TreeListing listing = TreeListing::of(card, false);
    if (!listing.problems.isEmpty())
        return refuse(listing.problems);
    result.fileCount = int(listing.files.size());
    result.cardBytes = listing.totalBytes;

    // What is already in place: a file of another size is in the way.
    for (Destination& destination : destinations) {
        for (qsizetype i = 0; i < listing.files.size(); ++i) {
            const QString path = join(destination.copyRoot, listing.files.at(i).path);
            struct stat status
            {
            };
            const bool missing = ::lstat(QFile::encodeName(path).constData(), &status) != 0;
            if (missing)
                destination.toWrite.append(i);
            else if (!S_ISREG(status.st_mode) || status.st_size != listing.files.at(i).size)
                problems.append(BackupText::existingDiffers(path));
            destination.writes.append(missing);
        }
    }
    if (!problems.isEmpty()) {
        result.status = BackupResult::Status::failed;
        result.problems = problems;
        return result;
    }
    problems = spaceProblems(destinations, request.destinations, listing);
    if (!problems.isEmpty())
        return refuse(problems);
    QStringList folders = listing.folders;
    folders.prepend(QString());
    for (const Destination& destination : destinations) {
        for (const QString& folder : std::as_const(folders)) {
            if (!QDir().mkpath(join(destination.copyRoot, folder)))
                return refuse({BackupText::noSuchDestination(join(destination.copyRoot, folder))});
        }
    }

    const auto fail = [&result](BackupResult::Status status, QStringList problems) {
        result.status = status;
        result.problems = std::move(problems);
        return result;
    };

    // Copying: each file read once, written wherever it is missing; a copy
    // already there is read back and compared instead.
    QElapsedTimer timer;
    timer.start();
    progress.enter(BackupProgress::Stage::copying, listing.totalBytes);
    QList<quint64> digests(listing.files.size(), 0);
    FileCopier copier(int(destinations.size()));
    ReadBack present;
    std::atomic<qint64> presentBytes{0};
    for (qsizetype i = 0; i < listing.files.size(); ++i) {
        const ListedFile& file = listing.files.at(i);
        QStringList writeTo;
        QStringList checkAt;
        for (const Destination& destination : destinations) {
            const QString path = join(destination.copyRoot, file.path);
            writeTo.append(destination.writes.at(i) ? path : QString());
            if (!destination.writes.at(i))
                checkAt.append(path);
        }
        const FileCopier::Outcome copied =
            copier.copy(join(card, file.path), file, writeTo, progress.bytesDone, progress.cancelRequested);
        if (progress.cancelRequested.load())
            return fail(BackupResult::Status::cancelled, {BackupText::cancelledSentence()});
        if (!copied.digest)
            return fail(BackupResult::Status::failed,
                        {BackupText::cannotCopy(copied.failedPath, copied.error)});
        digests[i] = *copied.digest;
        for (const QString& path : checkAt) {
            QString error;
            const std::optional<quint64> there =
                present.digest(path, presentBytes, progress.cancelRequested, error);
            if (progress.cancelRequested.load())
                return fail(BackupResult::Status::cancelled, {BackupText::cancelledSentence()});
            if (!there)
                return fail(BackupResult::Status::failed, {BackupText::cannotCopy(path, error)});
            if (*there != *copied.digest)
                return fail(BackupResult::Status::failed, {BackupText::existingDiffers(path)});
            ++result.alreadyCopied;
        }
    }
    if (const std::optional<CopyFinisher::Failure> failed = copier.finish())
        return fail(BackupResult::Status::failed, {BackupText::cannotCopy(failed->finalPath, failed->error)});
    result.alreadyCopied /= int(destinations.size());
    result.copySeconds = timer.nsecsElapsed() / 1e9;

    // Proving: every new copy read back from disk, each destination on its own thread.
    if (request.beforeProving) {
        QStringList written;
        for (const Destination& destination : destinations) {
            for (const qsizetype index : destination.toWrite)
                written.append(join(destination.copyRoot, listing.files.at(index).path));
        }
        request.beforeProving(written);
    }
    timer.restart();
    qint64 toVerify = 0;
    for (const Destination& destination : destinations) {
        for (const qsizetype index : destination.toWrite)
            toVerify += listing.files.at(index).size;
    }
    progress.enter(BackupProgress::Stage::verifying, toVerify);
    QThreadPool readers;
    readers.setMaxThreadCount(int(destinations.size()));
    QList<QFuture<QStringList>> verifying;
    for (const Destination& destination : destinations) {
        verifying.append(QtConcurrent::run(&readers, [&destination, &listing, &digests, &progress] {
            QStringList mismatches;
            ReadBack readBack;
            for (const qsizetype index : destination.toWrite) {
                const QString path = join(destination.copyRoot, listing.files.at(index).path);
                QString error;
                const std::optional<quint64> digest =
                    readBack.digest(path, progress.bytesDone, progress.cancelRequested, error);
                if (progress.cancelRequested.load())
                    break;
                if (digest != digests.at(index))
                    mismatches.append(path);
            }
            return mismatches;
        }));
    }
    for (QFuture<QStringList>& future : verifying)
        result.mismatches += future.result();
    result.verifySeconds = timer.nsecsElapsed() / 1e9;
    if (progress.cancelRequested.load())
        return fail(BackupResult::Status::cancelled, {BackupText::cancelledSentence()});
    if (!result.mismatches.isEmpty()) {
        QStringList sentences;
        for (const QString& path : std::as_const(result.mismatches))
            sentences.append(BackupText::mismatch(path));
        return fail(BackupResult::Status::failed, sentences);
    }

    progress.enter(BackupProgress::Stage::recording, 0);
    for (const Destination& destination : destinations) {
        QString error;
        const std::optional<QString> manifest = recordHistory(
            {card, {}, request.hostName, request.toolName, request.toolVersion, request.started, {}},
            destination.copyRoot, listing, digests, error);
        if (!manifest)
            return fail(BackupResult::Status::failed, {error});
        result.manifests.append(*manifest);
        keepFolderTimes(card, destination.copyRoot, listing.folders);
    }
    progress.enter(BackupProgress::Stage::finished, 0);
    result.status = BackupResult::Status::proven;
    return result;
}

} // namespace BackupEngine
