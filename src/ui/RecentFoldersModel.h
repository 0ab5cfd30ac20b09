#pragma once

#include "store/RecentFoldersStore.h"

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>

// The recent card folders, newest first, for the "Open Recent" menu.
class RecentFoldersModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The recent folders are App.recentFoldersModel.")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    // The folder's path, and the same as shown: on one line, escaped as every name shown is.
    enum Role { PathRole = Qt::UserRole + 1, PathTextRole };

    explicit RecentFoldersModel(RecentFoldersStore& store, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    int count() const { return static_cast<int>(m_folders.size()); }

signals:
    void countChanged();

private:
    void reload();

    RecentFoldersStore& m_store;
    QStringList m_folders;
};
