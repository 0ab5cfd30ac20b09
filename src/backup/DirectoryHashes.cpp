#include "backup/DirectoryHashes.h"

#include "backup/Xxh64.h"

#include <algorithm>
#include <QMap>

namespace DirectoryHashes {

namespace {

QString parentOf(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? QString() : path.left(slash);
}

QString nameOf(const QString& path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

quint64 namedHash(const QString& path, quint64 hash)
{
    return Xxh64::of(nameOf(path).toUtf8() + Xxh64::bytes(hash));
}

struct Children
{
    QList<quint64> content;
    QList<quint64> structure;
};

} // namespace

quint64 ofHashes(QList<quint64> hashes)
{
    // Ordering the numbers orders their big-endian bytes the same way.
    std::sort(hashes.begin(), hashes.end());
    Xxh64 hash;
    for (const quint64 value : hashes)
        hash.add(Xxh64::bytes(value));
    return hash.digest();
}

Result compute(const QList<Mhl::FileRecord>& files, const QStringList& folders)
{
    // Every folder on the way to each file and listed folder, the root as "".
    QMap<QString, Children> children;
    const auto addWithParents = [&children](QString folder) {
        while (!children.contains(folder)) {
            children.insert(folder, {});
            if (folder.isEmpty())
                break;
            folder = parentOf(folder);
        }
    };
    addWithParents(QString());
    for (const QString& folder : folders)
        addWithParents(folder);
    for (const Mhl::FileRecord& file : files) {
        addWithParents(parentOf(file.path));
        Children& parent = children[parentOf(file.path)];
        parent.content.append(file.xxh64);
        parent.structure.append(namedHash(file.path, file.xxh64));
    }

    // Deepest first, so each folder's own hashes are known before its parent's.
    QStringList order = children.keys();
    std::stable_sort(order.begin(), order.end(), [](const QString& a, const QString& b) {
        return a.count(QLatin1Char('/')) + !a.isEmpty() > b.count(QLatin1Char('/')) + !b.isEmpty();
    });
    Result result;
    for (const QString& folder : order) {
        const Children& own = children.value(folder);
        const Mhl::DirectoryHash hash{ofHashes(own.content), ofHashes(own.structure)};
        if (folder.isEmpty()) {
            result.root = hash;
            continue;
        }
        result.folders.insert(folder, hash);
        Children& parent = children[parentOf(folder)];
        parent.content.append(hash.content);
        parent.structure.append(namedHash(folder, hash.structure));
    }
    return result;
}

} // namespace DirectoryHashes
