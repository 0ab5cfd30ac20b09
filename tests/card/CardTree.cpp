#include "CardTree.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <sys/fsuid.h>
#include <unistd.h>

namespace CardTree {

bool make(const QString& root, const QStringList& entries)
{
    for (const QString& entry : entries) {
        const QString path = root + QLatin1Char('/') + entry;
        const bool ok = entry.endsWith(QLatin1Char('/')) ? QDir().mkpath(path) : writeFile(path, {});
        if (!ok)
            return false;
    }
    return true;
}

bool writeFile(const QString& path, const QByteArray& content)
{
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(content) == content.size();
}

QStringList relative(const QString& root, const QStringList& paths)
{
    const QDir base(root);
    QStringList result;
    for (const QString& path : paths)
        result.append(base.relativeFilePath(path));
    return result;
}

QStringList fingerprint(const QString& root)
{
    QStringList lines;
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        QByteArray hash;
        QFile file(info.filePath());
        if (info.isFile() && file.open(QIODevice::ReadOnly))
            hash = QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256).toHex();
        lines.append(QStringLiteral("%1 %2 %3 %4 %5 %6")
                         .arg(QDir(root).relativeFilePath(info.filePath()),
                              info.isDir() ? QStringLiteral("d") : QStringLiteral("f"))
                         .arg(info.size())
                         .arg(info.lastModified().toMSecsSinceEpoch())
                         .arg(int(info.permissions()), 0, 16)
                         .arg(QString::fromLatin1(hash)));
    }
    lines.sort();
    return lines;
}

namespace {

// `root` and every entry below it.
QStringList treeEntries(const QString& root)
{
    QStringList paths{root};
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        paths.append(it.next());
    return paths;
}

bool changePermissions(const QString& root, QFileDevice::Permissions add, QFileDevice::Permissions remove)
{
    bool ok = true;
    for (const QString& path : treeEntries(root)) {
        const QFileDevice::Permissions current = QFile::permissions(path);
        ok = QFile::setPermissions(path, (current | add) & ~remove) && ok;
    }
    return ok;
}

} // namespace

bool setWritable(const QString& root, bool writable)
{
    const QFileDevice::Permissions writeBits =
        QFileDevice::WriteOwner | QFileDevice::WriteUser | QFileDevice::WriteGroup | QFileDevice::WriteOther;
    return writable ? changePermissions(root, QFileDevice::WriteOwner, {})
                    : changePermissions(root, {}, writeBits);
}

bool grantReadToEveryone(const QString& root)
{
    return changePermissions(
        root, QFileDevice::ReadGroup | QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::ExeOther,
        {});
}

namespace {

constexpr uid_t nobody = 65534;

} // namespace

UnprivilegedFileAccess::UnprivilegedFileAccess()
{
    if (geteuid() != 0)
        return;
    setfsuid(nobody);
    m_switched = setfsuid(uid_t(-1)) == nobody;
}

UnprivilegedFileAccess::~UnprivilegedFileAccess()
{
    if (m_switched)
        setfsuid(0);
}

bool UnprivilegedFileAccess::effective() const
{
    return geteuid() != 0 || m_switched;
}

} // namespace CardTree
