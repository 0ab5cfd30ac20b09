#include "ui/RecentFoldersModel.h"

#include "base/DisplayText.h"

RecentFoldersModel::RecentFoldersModel(RecentFoldersStore& store, QObject* parent)
    : QAbstractListModel(parent), m_store(store), m_folders(store.folders())
{
    connect(&m_store, &RecentFoldersStore::foldersChanged, this, &RecentFoldersModel::reload);
}

int RecentFoldersModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant RecentFoldersModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    if (role == PathRole)
        return m_folders.at(index.row());
    if (role == PathTextRole)
        return DisplayText::escaped(m_folders.at(index.row()));
    return {};
}

QHash<int, QByteArray> RecentFoldersModel::roleNames() const
{
    return {{PathRole, "path"}, {PathTextRole, "pathText"}};
}

void RecentFoldersModel::reload()
{
    const int before = count();
    beginResetModel();
    m_folders = m_store.folders();
    endResetModel();
    if (count() != before)
        emit countChanged();
}
