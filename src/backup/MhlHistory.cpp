#include "backup/MhlHistory.h"

#include "backup/C4Id.h"
#include "backup/DiskFile.h"
#include "backup/TreeListing.h"
#include "base/Durability.h"
#include "base/UnfinishedFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <unistd.h>

namespace {

QString historyFolder(const QString& scope)
{
    return scope + QLatin1Char('/') + QLatin1String(historyFolderName);
}

// Writes `bytes` under a temporary name, listed as unfinished before it
// exists, flushes it and renames it to `path`; the caller flushes the folder.
bool writeDurably(const QString& path, const QByteArray& bytes, QString& error)
{
    const QString temporary = DiskFile::temporaryPath(path);
    UnfinishedFiles::Entry unfinished(temporary);
    const QByteArray encoded = QFile::encodeName(temporary);
    const auto fail = [&](const QString& reason) {
        ::unlink(encoded.constData());
        error = QStringLiteral("“%1” could not be written: %2").arg(path, reason);
        return false;
    };
    const int fd = DiskFile::createTemporary(unfinished);
    if (fd < 0)
        return fail(DiskFile::systemError());
    QString reason;
    if (!DiskFile::writeAll(fd, bytes.constData(), bytes.size(), reason)) {
        ::close(fd);
        return fail(reason);
    }
    if (const std::optional<QString> unflushed = Durability::flushDescriptor(fd)) {
        ::close(fd);
        return fail(*unflushed);
    }
    if (::close(fd) != 0 || ::rename(encoded.constData(), QFile::encodeName(path).constData()) != 0)
        return fail(DiskFile::systemError());
    return true;
}

} // namespace

QString MhlHistory::chainFileName()
{
    return QStringLiteral("ascmhl_chain.xml");
}

QString MhlHistory::manifestFileName(int number, const QString& folderName, const QDateTime& started)
{
    return QStringLiteral("%1_%2_%3.mhl")
        .arg(number, 4, 10, QLatin1Char('0'))
        .arg(folderName, started.toUTC().toString(QStringLiteral("yyyy-MM-dd_HHmmss'Z'")));
}

std::optional<MhlHistory> MhlHistory::load(const QString& scope, QString& error)
{
    MhlHistory history;
    history.m_scope = scope;
    const QString folder = historyFolder(scope);
    QFile chainFile(folder + QLatin1Char('/') + chainFileName());
    if (!chainFile.exists())
        return history;
    if (!chainFile.open(QIODevice::ReadOnly)) {
        error = QStringLiteral("“%1” cannot be read: %2").arg(chainFile.fileName(), chainFile.errorString());
        return std::nullopt;
    }
    QString problem;
    const std::optional<QList<MhlXml::ChainEntry>> chain = MhlXml::readChain(chainFile.readAll(), problem);
    if (!chain) {
        error = QStringLiteral("“%1” is no ASC MHL chain: %2").arg(chainFile.fileName(), problem);
        return std::nullopt;
    }
    for (const MhlXml::ChainEntry& entry : *chain) {
        QFile manifestFile(folder + QLatin1Char('/') + entry.fileName);
        if (!manifestFile.open(QIODevice::ReadOnly)) {
            error = QStringLiteral("The history’s manifest “%1” cannot be read: %2")
                        .arg(manifestFile.fileName(), manifestFile.errorString());
            return std::nullopt;
        }
        const QByteArray bytes = manifestFile.readAll();
        if (C4Id::of(bytes) != entry.c4) {
            error =
                QStringLiteral("The history’s manifest “%1” is not the one its chain names: it was changed.")
                    .arg(manifestFile.fileName());
            return std::nullopt;
        }
        const std::optional<Mhl::Manifest> manifest = MhlXml::readManifest(bytes, problem);
        if (!manifest) {
            error = QStringLiteral("The history’s manifest “%1” cannot be read: %2")
                        .arg(manifestFile.fileName(), problem);
            return std::nullopt;
        }
        history.m_generations.append({entry, *manifest});
    }
    return history;
}

QHash<QString, Mhl::FileRecord> MhlHistory::recordedFiles() const
{
    QHash<QString, Mhl::FileRecord> recorded;
    for (const Generation& generation : m_generations) {
        for (const Mhl::FileRecord& file : generation.manifest.files) {
            if (file.action != Mhl::Action::failed)
                recorded.insert(file.path, file);
        }
    }
    return recorded;
}

std::optional<QString> MhlHistory::append(const Mhl::Manifest& manifest, const QDateTime& started,
                                          QString& error)
{
    const QString folder = historyFolder(m_scope);
    if (!QDir().mkpath(folder)) {
        error = QStringLiteral("The folder “%1” could not be created.").arg(folder);
        return std::nullopt;
    }
    const int number = m_generations.isEmpty() ? 1 : m_generations.last().entry.sequence + 1;
    const QString fileName = manifestFileName(number, QFileInfo(m_scope).fileName(), started);
    const QByteArray bytes = MhlXml::manifest(manifest);
    const QString path = folder + QLatin1Char('/') + fileName;
    if (!writeDurably(path, bytes, error))
        return std::nullopt;

    QList<MhlXml::ChainEntry> chain;
    for (const Generation& generation : m_generations)
        chain.append(generation.entry);
    const MhlXml::ChainEntry entry{number, fileName, C4Id::of(bytes)};
    chain.append(entry);
    if (!writeDurably(folder + QLatin1Char('/') + chainFileName(), MhlXml::chain(chain), error))
        return std::nullopt;
    DiskFile::syncFolder(folder);
    m_generations.append({entry, manifest});
    return path;
}
