#include "contentgridmodel.h"

#include "contentfiltermodel.h"
#include "contentmodel.h"

#include <QQmlEngine>
#include <QTimer>

#include <utility>

ContentGridModel::ContentGridModel(QSharedPointer<ContentModel> source, QObject *parent)
    : QObject(parent)
    , m_source(std::move(source))
{
    connect(m_source.data(), &ContentModel::dataChanged, this, &ContentGridModel::onDataChanged);
    connect(m_source.data(), &ContentModel::rowsInserted, this, &ContentGridModel::onRowsInserted);
    connect(m_source.data(), &ContentModel::rowsMoved, this, &ContentGridModel::onRowsMoved);
    connect(m_source.data(), &ContentModel::rowsRemoved, this, &ContentGridModel::onRowsRemoved);
    resetModel();
}

ContentGridModel::~ContentGridModel()
{
    clear();
}

int ContentGridModel::columns() const
{
    return m_columns;
}

void ContentGridModel::setColumns(int columns)
{
    if (columns == m_columns)
        return;
    m_columns = columns;
    Q_EMIT columnsChanged();
    scheduleReset();
}

QList<QObject *> ContentGridModel::list() const
{
    QList<QObject *> objects;
    objects.reserve(m_list.size());
    for (ContentFilterModel *row : m_list)
        objects.append(row);
    return objects;
}

void ContentGridModel::onDataChanged(QModelIndex topLeft, QModelIndex bottomRight,
                                     QVector<int> roles)
{
    if (topLeft != bottomRight) {
        scheduleReset();
        return;
    }
    for (ContentFilterModel *row : qAsConst(m_list)) {
        const int position = row->rows().indexOf(topLeft.row());
        if (position >= 0)
            row->notifyRow(position, roles);
    }
}

void ContentGridModel::onRowsInserted(QModelIndex, int, int)
{
    scheduleReset();
}

void ContentGridModel::onRowsMoved(QModelIndex, int, int, QModelIndex, int)
{
    scheduleReset();
}

void ContentGridModel::onRowsRemoved(QModelIndex, int, int)
{
    scheduleReset();
}

void ContentGridModel::resetModel()
{
    clear();
    m_pending = false;
    if (m_columns <= 0)
        return;
    int row = 0;
    while (row < m_source->rowCount()) {
        const int section = m_source->appSection(row);
        QList<int> rows;
        while (rows.size() < m_columns && row < m_source->rowCount()
               && m_source->appSection(row) == section)
            rows.append(row++);
        auto *gridRow =
            new ContentFilterModel(ApplicationState::State(section), m_source, rows, nullptr);
        QQmlEngine::setObjectOwnership(gridRow, QQmlEngine::CppOwnership);
        m_list.append(gridRow);
    }
    Q_EMIT listChanged();
}

void ContentGridModel::scheduleReset()
{
    if (m_pending)
        return;
    m_pending = true;
    QTimer::singleShot(0, this, &ContentGridModel::resetModel);
}

void ContentGridModel::clear()
{
    // Emptied first: the scene may read the list while a row goes.
    const QList<ContentFilterModel *> rows = std::exchange(m_list, {});
    qDeleteAll(rows);
}
