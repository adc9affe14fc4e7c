#pragma once

#include <QAbstractTableModel>

class ListView;

// The rows of a ListView as Qt's views read them; the rows themselves live in the ListView, which
// drives the model's change notifications itself.
class ListModel final : public QAbstractTableModel
{
public:
    explicit ListModel(ListView *list);

    int rowCount(const QModelIndex &parent) const override;
    int columnCount(const QModelIndex &parent) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    void rowChanged(int row);

    using QAbstractTableModel::beginInsertRows;
    using QAbstractTableModel::beginMoveRows;
    using QAbstractTableModel::beginRemoveRows;
    using QAbstractTableModel::beginResetModel;
    using QAbstractTableModel::changePersistentIndexList;
    using QAbstractTableModel::endInsertRows;
    using QAbstractTableModel::endMoveRows;
    using QAbstractTableModel::endRemoveRows;
    using QAbstractTableModel::endResetModel;
    using QAbstractTableModel::headerDataChanged;
    using QAbstractTableModel::persistentIndexList;

private:
    ListView *m_list;
};
