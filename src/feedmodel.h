#pragma once

#include "store/feed.h"

#include <QAbstractListModel>
#include <QHash>
#include <QList>
#include <QPointer>
#include <QSet>
#include <QVariantMap>

class FeedColumnsModel;
class OrvikStore;
class PackageHandler;

/**
 * The store's news feed, newest on top. A view asks for a number of items and gets that
 * number if there are any: duplicates are dropped, surplus items are kept for the next
 * call, and where the server has nothing new the gap is padded, first with one promotional
 * item, then by moving the oldest row to the top. Never more than 60 rows.
 */
class FeedModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    Q_PROPERTY(QObject *store READ store WRITE setStore)
    Q_PROPERTY(QObject *packager READ packager WRITE setPackager)
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)
    Q_PROPERTY(int feedType READ feedType WRITE setFeedType NOTIFY feedTypeChanged)
    Q_PROPERTY(int columns READ columns WRITE setColumns NOTIFY columnsChanged)
    Q_PROPERTY(QList<QObject *> columnModels READ columnModels NOTIFY columnModelsChanged)

public:
    enum Role {
        UuidRole = Qt::UserRole, // the application's
        PackageNameRole,
        VersionRole,
        TypeRole,
        TitleRole,
        TextRole,
        CoverRole,
        IconRole,
        CollectionRole,
        AppTitleRole,
        AppUserNameRole,
        AppStateRole,
        ProgressRole,
        AndroidAppRole,
        CounterRole, // number of arrival, by which columns are dealt
        FeedUuidRole
    };

    explicit FeedModel(QObject *parent = nullptr);
    ~FeedModel() override;

    [[nodiscard]] int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    [[nodiscard]] int count() const;
    [[nodiscard]] QObject *store() const;
    /** @param store an OrvikStore, not owned. Anything else is refused with a warning. */
    void setStore(QObject *store);
    [[nodiscard]] QObject *packager() const;
    /** @param packager a PackageHandler, not owned. Anything else is refused. */
    void setPackager(QObject *packager);
    [[nodiscard]] bool loading() const;
    [[nodiscard]] int feedType() const;
    /** @param type the one Store::Feed::ItemType to keep, 0 for all. Empties the list. */
    void setFeedType(int type);
    [[nodiscard]] int columns() const;
    /** Makes the column models anew; below 1 there are none. */
    void setColumns(int columns);
    /** A FeedColumnsModel for each column, owned by this model. */
    [[nodiscard]] QList<QObject *> columnModels() const;

    /** Empties the list. Items of a running request still arrive. */
    Q_INVOKABLE void reset();
    /** Brings @p count further items to the top, as far as there are any. */
    Q_INVOKABLE void fetchContent(int count);
    /** Puts the promotional item on top, once between resets. */
    Q_INVOKABLE void insertPromo();

Q_SIGNALS:
    void countChanged();
    void loadingChanged();
    void feedTypeChanged();
    void columnsChanged();
    void columnModelsChanged();
    void feedItemInserted(QVariantMap feed); // also for promotion and recycled items

private Q_SLOTS:
    void slotFeedReceived(Store::Feed::ConstPtr feed);
    void slotFeedFinished();
    void slotProgressChanged(QString packageName, int progress);
    void slotStatusChanged(QString packageName);

private:
    struct Item
    {
        Store::Feed::ConstPtr feed;
        int counter;
    };

    void insertFeed(const Store::Feed::ConstPtr &feed);
    /** Takes the oldest row off and returns its item. */
    Store::Feed::ConstPtr takeLastRow();
    void countDelivered();
    void endLoading();
    void rebuildColumnModels();
    void notifyPackage(const QString &packageName, int role);
    [[nodiscard]] QString heading(const Store::Feed &feed) const;
    [[nodiscard]] int stateOf(const Store::Feed &feed) const;

    const QHash<int, QByteArray> m_roles;
    QPointer<OrvikStore> m_store;
    QPointer<PackageHandler> m_packager;
    bool m_loading = false;
    int m_feedType = 0;
    int m_columns = 0;
    bool m_promoInserted = false;
    int m_wanted = 0; // items still owed to the view
    int m_nextCounter = 0; // number of the next row; survives reset()
    int m_emptyFetches = 0; // requests ended since the last accepted item; survives reset()
    QSet<QString> m_seen; // uuids of the items accepted and not evicted
    QSet<QString> m_packages; // names that any row has had
    QList<Item> m_rows; // newest first
    QList<Store::Feed::ConstPtr> m_buffer; // accepted beyond what was wanted, oldest first
    QList<FeedColumnsModel *> m_columnModels;
};
