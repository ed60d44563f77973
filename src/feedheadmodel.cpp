#include "feedheadmodel.h"

#include <QTimer>

#include <algorithm>

FeedHeadModel::FeedHeadModel(QObject *parent)
    : QAbstractListModel(parent)
{ }

FeedHeadModel::~FeedHeadModel() = default;

int FeedHeadModel::rowCount(const QModelIndex &) const
{
    return m_map.size();
}

QVariant FeedHeadModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_map.size() || !m_sourceModel)
        return QVariant();
    return m_sourceModel->data(m_sourceModel->index(m_map.at(index.row()), 0), role);
}

QHash<int, QByteArray> FeedHeadModel::roleNames() const
{
    return m_sourceModel ? m_sourceModel->roleNames() : QAbstractListModel::roleNames();
}

int FeedHeadModel::length() const
{
    return m_length;
}

void FeedHeadModel::setLength(int length)
{
    if (length == m_length)
        return;
    m_length = length;
    Q_EMIT lengthChanged();
    scheduleReset();
}

FeedModel *FeedHeadModel::sourceModel() const
{
    return m_sourceModel;
}

void FeedHeadModel::setSourceModel(FeedModel *source)
{
    if (source == m_sourceModel)
        return;
    if (m_sourceModel) {
        disconnect(m_sourceModel, &FeedModel::dataChanged, this, &FeedHeadModel::onDataChanged);
        disconnect(m_sourceModel, &FeedModel::rowsInserted, this, &FeedHeadModel::onRowsInserted);
        disconnect(m_sourceModel, &FeedModel::rowsMoved, this, &FeedHeadModel::onRowsMoved);
        disconnect(m_sourceModel, &FeedModel::rowsRemoved, this, &FeedHeadModel::onRowsRemoved);
    }
    m_sourceModel = source;
    if (source) {
        connect(source, &FeedModel::dataChanged, this, &FeedHeadModel::onDataChanged);
        connect(source, &FeedModel::rowsInserted, this, &FeedHeadModel::onRowsInserted);
        connect(source, &FeedModel::rowsMoved, this, &FeedHeadModel::onRowsMoved);
        connect(source, &FeedModel::rowsRemoved, this, &FeedHeadModel::onRowsRemoved);
    }
    Q_EMIT sourceModelChanged();
}

void FeedHeadModel::onDataChanged(QModelIndex topLeft, QModelIndex bottomRight, QVector<int> roles)
{
    if (m_length < 1)
        return;
    if (topLeft != bottomRight) {
        scheduleReset();
        return;
    }
    const int row = m_map.indexOf(topLeft.row());
    if (row >= 0)
        Q_EMIT dataChanged(index(row), index(row), roles);
}

void FeedHeadModel::onRowsInserted(QModelIndex, int first, int last)
{
    if (m_length < 1)
        return;
    if (first != 0 || last != 0) {
        scheduleReset();
        return;
    }
    for (int &sourceRow : m_map)
        ++sourceRow;
    if (!m_map.isEmpty() && m_map.size() >= m_length) {
        const auto oldest = std::max_element(m_map.begin(), m_map.end());
        *oldest = 0;
        const QModelIndex slot = index(int(oldest - m_map.begin()));
        Q_EMIT dataChanged(slot, slot, QVector<int>());
        return;
    }
    beginInsertRows(QModelIndex(), m_map.size(), m_map.size());
    m_map.append(0);
    endInsertRows();
}

void FeedHeadModel::onRowsMoved(QModelIndex, int, int, QModelIndex, int)
{
    if (m_length >= 1)
        scheduleReset();
}

void FeedHeadModel::onRowsRemoved(QModelIndex, int first, int last)
{
    if (m_length < 1)
        return;
    // The feed evicts its last row at each arrival, which is far from the head.
    if (first == last && !m_map.contains(first))
        return;
    scheduleReset();
}

void FeedHeadModel::resetModel()
{
    m_pending = false;
    beginResetModel();
    m_map.clear();
    const int rows = m_sourceModel ? m_sourceModel->rowCount() : 0;
    for (int row = 0; row < m_length && row < rows; ++row)
        m_map.append(row);
    endResetModel();
}

void FeedHeadModel::scheduleReset()
{
    if (m_pending)
        return;
    m_pending = true;
    QTimer::singleShot(0, this, &FeedHeadModel::resetModel);
}
