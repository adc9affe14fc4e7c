#include "ListModel.h"

#include "ListView.h"

#include <algorithm>

ListModel::ListModel(ListView *list) : QAbstractTableModel(list), m_list(list) {}

int ListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_list->ShownCount();
}

int ListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : std::max(1, m_list->ColumnCount());
}

QVariant ListModel::data(const QModelIndex &index, int role) const
{
    const ListItem *item = m_list->m_rows.value(index.row());
    if (!item)
        return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole: return item->ColumnText(index.column());
    case Qt::DecorationRole: return index.column() == 0 ? m_list->m_images.value(item->Icon()) : QVariant();
    default: return {};
    }
}

QVariant ListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole)
        return m_list->ColumnCaption(section);
    return {};
}

void ListModel::rowChanged(int row)
{
    Q_EMIT dataChanged(index(row, 0), index(row, columnCount({}) - 1));
}
