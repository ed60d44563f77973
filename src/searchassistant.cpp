#include "searchassistant.h"

#include "orvikstore.h"
#include "store/requestproxy.h"

namespace {

constexpr int threshold = 3; // characters from which suggestions are made
constexpr int completionDepth = 3; // branchings

} // namespace

SearchAssistant::SearchAssistant(QObject *parent)
    : QAbstractListModel(parent)
    , m_roles{{Qt::DisplayRole, QByteArrayLiteral("suggestion")}}
{ }

int SearchAssistant::rowCount(const QModelIndex &) const
{
    return m_suggestions.size();
}

QVariant SearchAssistant::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_suggestions.size() || role != Qt::DisplayRole)
        return QVariant();
    return m_suggestions.at(index.row());
}

QHash<int, QByteArray> SearchAssistant::roleNames() const
{
    return m_roles;
}

QVariant SearchAssistant::store() const
{
    return QVariant();
}

void SearchAssistant::setStore(const QVariant &store)
{
    if (auto *orvikStore = qobject_cast<OrvikStore *>(store.value<QObject *>()))
        m_store = orvikStore;
}

QString SearchAssistant::searchTerm() const
{
    return m_searchTerm;
}

void SearchAssistant::setSearchTerm(const QString &term)
{
    const bool crossing = term.size() >= threshold && m_searchTerm.size() < threshold;
    m_searchTerm = term;
    const QString lowered = term.toLower();
    if (crossing && !m_askedTerms.contains(lowered)) {
        m_askedTerms.insert(lowered);
        Store::RequestProxy *request = m_store ? m_store->requestSearchCompletions(term) : nullptr;
        if (request) {
            connect(request, &Store::RequestProxy::searchCompletionReceived, this,
                    &SearchAssistant::slotSearchCompletionReceived);
        }
    }
    updateSuggestions(Pruning::Prune);
}

int SearchAssistant::limit() const
{
    return m_limit;
}

void SearchAssistant::setLimit(int limit)
{
    m_limit = limit;
}

void SearchAssistant::slotSearchCompletionReceived(QStringList completions)
{
    for (const QString &word : qAsConst(completions))
        m_completionTree.insert(word);
    updateSuggestions(Pruning::Keep);
}

void SearchAssistant::updateSuggestions(Pruning pruning)
{
    if (m_searchTerm.size() < threshold) {
        beginResetModel();
        m_suggestions.clear();
        endResetModel();
        return;
    }
    QStringList found = m_completionTree.complete(m_searchTerm, m_limit, completionDepth);
    if (pruning == Pruning::Prune) {
        const QStringList present = m_suggestions;
        for (const QString &suggestion : present) {
            if (found.contains(suggestion))
                continue;
            const int row = m_suggestions.indexOf(suggestion);
            if (row < 0)
                continue; // a listener has typed on meanwhile
            beginRemoveRows(QModelIndex(), row, row);
            m_suggestions.removeAt(row);
            endRemoveRows();
        }
    }
    while (m_suggestions.size() < m_limit && !found.isEmpty()) {
        const QString word = found.takeFirst();
        if (m_suggestions.contains(word))
            continue;
        beginInsertRows(QModelIndex(), m_suggestions.size(), m_suggestions.size());
        m_suggestions.append(word);
        endInsertRows();
    }
}
