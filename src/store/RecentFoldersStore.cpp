#include "store/RecentFoldersStore.h"

namespace {

const QString recentFoldersKey = QStringLiteral("recentP2FoldersV1");

} // namespace

RecentFoldersStore::RecentFoldersStore(std::shared_ptr<KeyValueStore> defaults, QObject* parent)
    : QObject(parent), m_defaults(std::move(defaults))
{
    load();
}

void RecentFoldersStore::load()
{
    if (auto stored = m_defaults->stringListValue(recentFoldersKey))
        setFolders(std::move(*stored));
}

void RecentFoldersStore::record(const QString& folder)
{
    m_defaults->exclusively([&] {
        load();
        QStringList folders = m_folders;
        folders.removeAll(folder);
        folders.prepend(folder);
        if (folders.size() > capacity)
            folders.resize(capacity);
        setFolders(std::move(folders));
        save();
    });
}

void RecentFoldersStore::save()
{
    m_defaults->setStringList(recentFoldersKey, m_folders);
}

void RecentFoldersStore::clear()
{
    setFolders({});
    save();
}

void RecentFoldersStore::setFolders(QStringList folders)
{
    if (folders == m_folders)
        return;
    m_folders = std::move(folders);
    emit foldersChanged();
}
