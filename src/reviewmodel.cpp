#include "reviewmodel.h"

#include "orvikstore.h"
#include "store/requestproxy.h"

#include <algorithm>
#include <limits>

ReviewModel::ReviewModel(QObject *parent)
    : QAbstractListModel(parent)
    , m_roles{
          {ReviewRole, QByteArrayLiteral("review")},
          {AuthorRole, QByteArrayLiteral("author")},
          {AuthorNameRole, QByteArrayLiteral("authorName")},
          {VersionRole, QByteArrayLiteral("version")},
          {CreatedOnRole, QByteArrayLiteral("createdOn")},
          {UpdatedOnRole, QByteArrayLiteral("updatedOn")},
          {UuidRole, QByteArrayLiteral("uuid")},
      }
{ }

ReviewModel::~ReviewModel()
{
    if (m_request) {
        m_request->disconnect(this);
        m_request->cancel();
    }
}

int ReviewModel::rowCount(const QModelIndex &) const
{
    return m_rows.size();
}

QVariant ReviewModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return QVariant();
    const Store::Review &review = *m_rows.at(index.row());
    switch (role) {
    case ReviewRole:
        return review.review;
    case AuthorRole:
        return review.author;
    case AuthorNameRole:
        return review.authorName;
    case VersionRole:
        return review.version;
    case CreatedOnRole:
        return review.createdOn;
    case UpdatedOnRole:
        return review.updatedOn;
    case UuidRole:
        return review.uuid;
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> ReviewModel::roleNames() const
{
    return m_roles;
}

QString ReviewModel::application() const
{
    return m_application;
}

void ReviewModel::setApplication(const QString &uuid)
{
    m_application = uuid;
    Q_EMIT applicationChanged();
    fetchReviews();
}

QVariant ReviewModel::store() const
{
    return QVariant();
}

void ReviewModel::setStore(const QVariant &store)
{
    auto *orvikStore = qobject_cast<OrvikStore *>(store.value<QObject *>());
    if (!orvikStore)
        return;
    m_store = orvikStore;
    connect(orvikStore, &OrvikStore::reviewSent, this, &ReviewModel::slotReviewSent);
    connect(orvikStore, &OrvikStore::reviewUuidReceived, this,
            &ReviewModel::slotReviewUuidReceived);
}

int ReviewModel::limit() const
{
    return m_limit;
}

void ReviewModel::setLimit(int limit)
{
    m_limit = limit;
    Q_EMIT limitChanged();
}

bool ReviewModel::limitExceeded() const
{
    return m_limitExceeded;
}

int ReviewModel::count() const
{
    return m_rows.size();
}

bool ReviewModel::loading() const
{
    return m_loading;
}

void ReviewModel::fetchReviews()
{
    if (!m_store && m_application.isEmpty())
        return;
    m_limitExceeded = false;
    beginResetModel();
    m_rows.clear();
    endResetModel();
    Q_EMIT countChanged();
    if (!m_store)
        return;
    // One more than can be shown tells whether there are more.
    const qint64 wanted = m_limit < 1 ? 0 : qint64(m_limit) + 1;
    m_request = m_store->requestReviews(m_application,
                                        int(qMin<qint64>(wanted, std::numeric_limits<int>::max())));
    if (m_request) {
        connect(m_request, &Store::RequestProxy::reviewReceived, this,
                &ReviewModel::slotReviewReceived);
        connect(m_request, &Store::RequestProxy::finished, this, &ReviewModel::slotRequestFinished);
    }
    m_loading = true;
    Q_EMIT loadingChanged();
}

void ReviewModel::slotRequestFinished()
{
    m_loading = false;
    Q_EMIT loadingChanged();
    m_request = nullptr;
}

void ReviewModel::slotReviewReceived(Store::Review::ConstPtr review, bool)
{
    const QPointer<Store::RequestProxy> request = qobject_cast<Store::RequestProxy *>(sender());
    // Edits keep the date of creation, so the rows stay in its order.
    const auto older =
        std::upper_bound(m_rows.cbegin(), m_rows.cend(), review,
                         [](const Store::Review::ConstPtr &a, const Store::Review::ConstPtr &b) {
                             return b->createdOn < a->createdOn;
                         });
    const int row = int(older - m_rows.cbegin());
    beginInsertRows(QModelIndex(), row, row);
    m_rows.insert(row, review);
    endInsertRows();
    while (m_limit >= 1 && m_rows.size() > m_limit) {
        const int last = m_rows.size() - 1;
        beginRemoveRows(QModelIndex(), last, last);
        m_rows.removeLast();
        endRemoveRows();
        m_limitExceeded = true;
        if (request)
            request->cancel();
    }
    Q_EMIT countChanged();
}

void ReviewModel::slotReviewSent(Store::Review::ConstPtr review)
{
    if (review->uuid.isEmpty())
        slotReviewReceived(review, false);
    else if (!review->review.isEmpty())
        updateReview(review);
    else
        removeReview(review);
}

void ReviewModel::slotReviewUuidReceived(QString tempId, QString uuid)
{
    const auto found =
        std::find_if(m_rows.cbegin(), m_rows.cend(), [&tempId](const Store::Review::ConstPtr &row) {
            return row->tempUuid == tempId;
        });
    if (found == m_rows.cend())
        return;
    Store::Review review = **found;
    review.tempUuid.clear();
    review.uuid = uuid;
    replaceRow(int(found - m_rows.cbegin()), review, {UuidRole});
}

void ReviewModel::updateReview(const Store::Review::ConstPtr &review)
{
    const int row = lastRowOf(review->uuid);
    if (row < 0)
        return;
    Store::Review edited = *review;
    edited.createdOn = m_rows.at(row)->createdOn;
    replaceRow(row, edited, {});
}

void ReviewModel::removeReview(const Store::Review::ConstPtr &review)
{
    const int row = lastRowOf(review->uuid);
    if (row < 0)
        return;
    beginRemoveRows(QModelIndex(), row, row);
    m_rows.removeAt(row);
    endRemoveRows();
    Q_EMIT countChanged();
}

int ReviewModel::lastRowOf(const QString &uuid) const
{
    for (int row = m_rows.size() - 1; row >= 0; --row) {
        if (m_rows.at(row)->uuid == uuid)
            return row;
    }
    return -1;
}

void ReviewModel::replaceRow(int row, const Store::Review &review, const QVector<int> &roles)
{
    m_rows[row] = QSharedPointer<Store::Review>::create(review);
    const QModelIndex changed = index(row);
    Q_EMIT dataChanged(changed, changed, roles);
}
