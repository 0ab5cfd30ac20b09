#include "backup/BackupVerifier.h"

#include "backup/DirectoryHashes.h"
#include "backup/MhlHistory.h"
#include "backup/ReadBack.h"
#include "backup/TreeListing.h"

#include <QFileInfo>
#include <QSet>

namespace BackupVerifier {

VerifyResult run(const QString& copyRoot, const QString& hostName, const QString& toolName,
                 const QString& toolVersion, const QDateTime& started, BackupProgress& progress)
{
    VerifyResult result;
    const QString scope = QFileInfo(copyRoot).absoluteFilePath();
    std::optional<MhlHistory> history = MhlHistory::load(scope, result.error);
    if (!history)
        return result;
    if (history->isEmpty()) {
        result.error = QStringLiteral("“%1” holds no ASC MHL history (ascmhl/%2).")
                           .arg(copyRoot, MhlHistory::chainFileName());
        return result;
    }

    // Every path ever recorded, with the latest hash that may be verified against.
    const QHash<QString, Mhl::FileRecord> usable = history->recordedFiles();
    QSet<QString> recorded;
    for (const MhlHistory::Generation& generation : history->generations()) {
        for (const Mhl::FileRecord& file : generation.manifest.files)
            recorded.insert(file.path);
    }

    const TreeListing listing = TreeListing::of(scope, true);
    QSet<QString> present;
    qint64 toRead = 0;
    for (const ListedFile& file : listing.files) {
        if (isIgnoredByHistory(file.path))
            continue;
        present.insert(file.path);
        if (recorded.contains(file.path))
            toRead += file.size;
        else
            result.added.append(file.path);
    }
    for (const QString& path : std::as_const(recorded)) {
        if (!present.contains(path))
            result.missing.append(path);
    }
    result.missing.sort();

    progress.enter(BackupProgress::Stage::verifying, toRead);
    Mhl::Manifest manifest;
    manifest.created = QDateTime::currentDateTimeUtc();
    manifest.hostName = hostName;
    manifest.toolName = toolName;
    manifest.toolVersion = toolVersion;
    manifest.process = Mhl::Process::inPlace;
    ReadBack readBack;
    for (const ListedFile& file : listing.files) {
        if (!present.contains(file.path) || !recorded.contains(file.path))
            continue;
        QString error;
        const std::optional<quint64> digest = readBack.digest(
            scope + QLatin1Char('/') + file.path, progress.bytesDone, progress.cancelRequested, error);
        if (progress.cancelRequested.load()) {
            result.error = QStringLiteral("The verification was cancelled; the history is unchanged.");
            return result;
        }
        const auto expected = usable.constFind(file.path);
        const bool matches = digest && expected != usable.cend() && expected->xxh64 == *digest;
        if (matches)
            ++result.verifiedCount;
        else
            result.failed.append(file.path);
        // A file that cannot be read is recorded as failed with the hash it should have had.
        const quint64 recordedHash = digest.value_or(expected != usable.cend() ? expected->xxh64 : 0);
        manifest.files.append({file.path, file.size, file.lastModified(), recordedHash,
                               matches ? Mhl::Action::verified : Mhl::Action::failed});
    }
    QStringList folders;
    for (const QString& folder : listing.folders) {
        if (!isIgnoredByHistory(folder + QStringLiteral("/.")))
            folders.append(folder);
    }
    const DirectoryHashes::Result hashes = DirectoryHashes::compute(manifest.files, folders);
    manifest.root = hashes.root;

    progress.enter(BackupProgress::Stage::recording, 0);
    QString error;
    if (const std::optional<QString> written = history->append(manifest, started, error))
        result.manifest = *written;
    else
        result.error = error;
    progress.enter(BackupProgress::Stage::finished, 0);
    return result;
}

} // namespace BackupVerifier
