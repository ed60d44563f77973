#pragma once

#include <QSortFilterProxyModel>

/**
 * One column of the feed: the items whose number of arrival, modulo the number of columns,
 * is the column's. So an item stays in its column while others come and go.
 */
class FeedColumnsModel : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    FeedColumnsModel(int column, int columns, QObject *parent);

    [[nodiscard]] bool filterAcceptsRow(int sourceRow,
                                        const QModelIndex &sourceParent) const override;

private:
    const int m_column;
    const int m_columns; // with 0 it shows nothing
};
