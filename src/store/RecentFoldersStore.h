#pragma once

#include "store/KeyValueStore.h"

#include <memory>
#include <QObject>
#include <QStringList>

// The card folders most recently scanned, newest first, as paths under
// "recentP2FoldersV1". Folders that have gone are kept: the menu lists what was
// stored. Lives on the main thread.
class RecentFoldersStore : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QStringList folders READ folders NOTIFY foldersChanged)

public:
    static constexpr qsizetype capacity = 8;

    // Starts empty, then loads what is stored.
    explicit RecentFoldersStore(std::shared_ptr<KeyValueStore> defaults, QObject* parent = nullptr);

    QStringList folders() const { return m_folders; }

    // Takes the stored list; nothing stored, or a value that is not a list of
    // strings, leaves the folders as they are.
    void load();

    // Moves `folder` to the front (paths compared exactly, case and trailing
    // slash included), keeps the newest 8 and saves. The stored list is re-read
    // first, so folders recorded meanwhile by another program are kept.
    void record(const QString& folder);

    void save();

    // Empties the list and saves at once.
    void clear();

signals:
    void foldersChanged();

private:
    void setFolders(QStringList folders);

    std::shared_ptr<KeyValueStore> m_defaults;
    QStringList m_folders;
};
