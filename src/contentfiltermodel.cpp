#include "contentfiltermodel.h"

#include "contentmodel.h"

ContentFilterModel::ContentFilterModel(ApplicationState::State appSection,
                                       QSharedPointer<ContentModel> source, const QList<int> &rows,
                                       QObject *parent)
    : QAbstractListModel(parent)
    , m_appSection(appSection)
    , m_source(std::move(source))
    , m_rows(rows)
{ }

ContentFilterModel::~ContentFilterModel() = default;

int ContentFilterModel::rowCount(const QModelIndex &) const
{
    return m_rows.size();
}

QVariant ContentFilterModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return QVariant();
    return m_source->data(m_source->index(m_rows.at(index.row()), 0), role);
}

QHash<int, QByteArray> ContentFilterModel::roleNames() const
{
    return m_source->roleNames();
}

ApplicationState::State ContentFilterModel::appSection() const
{
    return m_appSection;
}

const QList<int> &ContentFilterModel::rows() const
{
    return m_rows;
}

void ContentFilterModel::notifyRow(int position, const QVector<int> &roles)
{
    const QModelIndex changed = index(position);
    Q_EMIT dataChanged(changed, changed, roles);
}
