#include "feedcolumnsmodel.h"

FeedColumnsModel::FeedColumnsModel(int column, int columns, QObject *parent)
    : QSortFilterProxyModel(parent)
    , m_column(column)
    , m_columns(columns)
{ }

bool FeedColumnsModel::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    if (m_columns == 0)
        return false;
    const QModelIndex index = sourceModel()->index(sourceRow, 0, sourceParent);
    return sourceModel()->data(index, filterRole()).toInt() % m_columns == m_column;
}
