#pragma once

#include "store/review.h"

#include <QAbstractListModel>
#include <QHash>
#include <QList>
#include <QPointer>
#include <QVariant>

class OrvikStore;

namespace Store {
class RequestProxy;
}

/**
 * The reviews of one application, newest first. What the user sends shows at once: a new
 * review under a temporary id, which gives way to the real one when the server answers.
 *
 * The store must be set before the application.
 */
class ReviewModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(QString application READ application WRITE setApplication NOTIFY applicationChanged)
    Q_PROPERTY(QVariant store READ store WRITE setStore)
    Q_PROPERTY(int limit READ limit WRITE setLimit NOTIFY limitChanged)
    Q_PROPERTY(bool limitExceeded READ limitExceeded NOTIFY countChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)

public:
    enum Role {
        ReviewRole = Qt::UserRole,
        AuthorRole,
        AuthorNameRole,
        VersionRole,
        CreatedOnRole,
        UpdatedOnRole,
        UuidRole
    };

    explicit ReviewModel(QObject *parent = nullptr);
    ~ReviewModel() override;

    [[nodiscard]] int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    [[nodiscard]] QString application() const;
    /** Fetches the reviews of the application, also if it is the same as before. */
    void setApplication(const QString &uuid);
    /** Can only be written: reading gives an invalid value. */
    [[nodiscard]] QVariant store() const;
    /** @param store an OrvikStore as an object, not owned. Anything else is passed over. */
    void setStore(const QVariant &store);
    [[nodiscard]] int limit() const;
    /** Most rows to show; below 1 means no limit. Counts from the next row that arrives. */
    void setLimit(int limit);
    /** More reviews exist than the limit lets show. */
    [[nodiscard]] bool limitExceeded() const;
    [[nodiscard]] int count() const;
    [[nodiscard]] bool loading() const;

Q_SIGNALS:
    void applicationChanged();
    void limitChanged();
    void countChanged();
    void loadingChanged();

private Q_SLOTS:
    void slotReviewReceived(Store::Review::ConstPtr review, bool hasMore);
    void slotRequestFinished();
    void slotReviewSent(Store::Review::ConstPtr review);
    void slotReviewUuidReceived(QString tempId, QString uuid);

private:
    void fetchReviews();
    void updateReview(const Store::Review::ConstPtr &review);
    void removeReview(const Store::Review::ConstPtr &review);
    [[nodiscard]] int lastRowOf(const QString &uuid) const;
    void replaceRow(int row, const Store::Review &review, const QVector<int> &roles);

    const QHash<int, QByteArray> m_roles;
    QString m_application;
    QPointer<OrvikStore> m_store;
    int m_limit = 0;
    bool m_limitExceeded = false;
    bool m_loading = false;
    QList<Store::Review::ConstPtr> m_rows; // newest first
    QPointer<Store::RequestProxy> m_request; // deletes itself when it ends
};
