#include "feedmodel.h"

#include "applicationstate.h"
#include "feedcolumnsmodel.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "store/requestproxy.h"

#include <QDebug>

#include <limits>
#include <utility>

namespace {

constexpr int rowsMaximum = 60;
constexpr int requestSurplus = 10; // items asked for beyond what is wanted
constexpr int wantedMaximum = std::numeric_limits<int>::max() - requestSurplus; // items
constexpr int emptyFetchesMaximum = 3; // then the server isn't asked any more

const QLatin1String androidPackagePrefix("quayside-apk-");
const QLatin1String promoUuid("orvik-uuid");

bool isAndroidApp(const Store::Feed &feed)
{
    return feed.packageName.startsWith(androidPackagePrefix);
}

} // namespace

FeedModel::FeedModel(QObject *parent)
    : QAbstractListModel(parent)
    , m_roles{
          {UuidRole, QByteArrayLiteral("uuid")},
          {PackageNameRole, QByteArrayLiteral("packageName")},
          {VersionRole, QByteArrayLiteral("version")},
          {TypeRole, QByteArrayLiteral("type")},
          {TitleRole, QByteArrayLiteral("title")},
          {TextRole, QByteArrayLiteral("text")},
          {CoverRole, QByteArrayLiteral("cover")},
          {IconRole, QByteArrayLiteral("icon")},
          {CollectionRole, QByteArrayLiteral("collection")},
          {AppTitleRole, QByteArrayLiteral("appTitle")},
          {AppUserNameRole, QByteArrayLiteral("appUserName")},
          {AppStateRole, QByteArrayLiteral("appState")},
          {ProgressRole, QByteArrayLiteral("progress")},
          {AndroidAppRole, QByteArrayLiteral("androidApp")},
          {CounterRole, QByteArrayLiteral("counter")},
          {FeedUuidRole, QByteArrayLiteral("feedUuid")},
      }
{ }

FeedModel::~FeedModel()
{
    // While this is still a whole model that they can look at.
    qDeleteAll(m_columnModels);
}

int FeedModel::rowCount(const QModelIndex &) const
{
    return m_rows.size();
}

QVariant FeedModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return QVariant();
    const Item &item = m_rows.at(index.row());
    const Store::Feed &feed = *item.feed;
    switch (role) {
    case UuidRole:
        return feed.appUuid;
    case PackageNameRole:
        return feed.packageName;
    case VersionRole:
        return feed.version;
    case TypeRole:
        return int(feed.itemType);
    case TitleRole:
        return heading(feed);
    case TextRole:
        return feed.description;
    case CoverRole:
        return feed.cover;
    case IconRole:
        return feed.icon;
    case CollectionRole:
        return feed.collection;
    case AppTitleRole:
        return feed.appTitle;
    case AppUserNameRole:
        return feed.appUserName;
    case AppStateRole:
        return stateOf(feed);
    case ProgressRole:
        return m_packager ? m_packager->packageProgress(feed.packageName) : 100;
    case AndroidAppRole:
        return isAndroidApp(feed);
    case CounterRole:
        return item.counter;
    case FeedUuidRole:
        return feed.uuid;
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> FeedModel::roleNames() const
{
    return m_roles;
}

int FeedModel::count() const
{
    return m_rows.size();
}

QObject *FeedModel::store() const
{
    return m_store;
}

void FeedModel::setStore(QObject *store)
{
    auto *orvikStore = qobject_cast<OrvikStore *>(store);
    if (!orvikStore) {
        qWarning() << Q_FUNC_INFO << "The given object is not a OrvikStore object!";
        return;
    }
    m_store = orvikStore;
}

QObject *FeedModel::packager() const
{
    return m_packager;
}

void FeedModel::setPackager(QObject *packager)
{
    auto *packageHandler = qobject_cast<PackageHandler *>(packager);
    if (!packageHandler) {
        qWarning() << Q_FUNC_INFO << "The given object is not a PackageHandler object!";
        return;
    }
    m_packager = packageHandler;
    connect(packageHandler, &PackageHandler::progressChanged, this,
            &FeedModel::slotProgressChanged);
    connect(packageHandler, &PackageHandler::packageStatusChanged, this,
            &FeedModel::slotStatusChanged);
}

bool FeedModel::loading() const
{
    return m_loading;
}

int FeedModel::feedType() const
{
    return m_feedType;
}

void FeedModel::setFeedType(int type)
{
    if (type == m_feedType)
        return;
    m_feedType = type;
    reset();
    Q_EMIT feedTypeChanged();
}

int FeedModel::columns() const
{
    return m_columns;
}

void FeedModel::setColumns(int columns)
{
    if (columns == m_columns)
        return;
    m_columns = columns;
    Q_EMIT columnsChanged();
    rebuildColumnModels();
}

QList<QObject *> FeedModel::columnModels() const
{
    QList<QObject *> objects;
    objects.reserve(m_columnModels.size());
    for (FeedColumnsModel *model : m_columnModels)
        objects.append(model);
    return objects;
}

void FeedModel::reset()
{
    beginResetModel();
    m_rows.clear();
    m_seen.clear();
    m_packages.clear();
    m_buffer.clear();
    m_promoInserted = false;
    m_wanted = 0;
    endResetModel();
    rebuildColumnModels();
    Q_EMIT countChanged();
}

void FeedModel::fetchContent(int count)
{
    if (!m_store || count < 1)
        return;
    m_wanted += qMin(count, wantedMaximum - m_wanted);
    m_loading = true;
    Q_EMIT loadingChanged();

    while (!m_buffer.isEmpty() && m_wanted != 0) {
        insertFeed(m_buffer.takeFirst());
        countDelivered();
    }
    if (m_wanted == 0) {
        endLoading();
        return;
    }
    if (m_emptyFetches > emptyFetchesMaximum) {
        if (m_rows.size() >= 2)
            insertFeed(takeLastRow());
        m_wanted = 0;
        endLoading();
        return;
    }
    if (!m_store)
        return; // gone meanwhile, with a listener to what was inserted
    // Too early for a request the model goes on loading, until a later call ends.
    if (Store::RequestProxy *request = m_store->requestFeedItems(m_wanted + requestSurplus)) {
        connect(request, &Store::RequestProxy::feedReceived, this, &FeedModel::slotFeedReceived);
        connect(request, &Store::RequestProxy::finished, this, &FeedModel::slotFeedFinished);
    }
}

void FeedModel::insertPromo()
{
    if (m_promoInserted)
        return;
    const auto promo = QSharedPointer<Store::Feed>::create();
    promo->uuid = promoUuid;
    promo->itemType = Store::Feed::Promo;
    promo->appTitle = qtTrId("orvik-store-la-orvik_apps_title");
    promo->description = qtTrId("orvik-store-la-orvik_apps_promo_text");
    if (m_store)
        promo->collection = m_store->storeCategory();
    promo->createdOn = QDateTime::currentDateTime();
    promo->icon = QStringLiteral("image://theme/icon-launcher-orvik-apps");
    promo->cover = QStringLiteral("image://theme/graphic-store-orvik-apps");
    insertFeed(promo);
    m_promoInserted = true;
}

void FeedModel::slotFeedReceived(Store::Feed::ConstPtr feed)
{
    if (m_seen.contains(feed->uuid))
        return;
    if (m_feedType != 0 && feed->itemType != m_feedType)
        return;
    m_seen.insert(feed->uuid);
    if (m_wanted != 0) {
        insertFeed(feed);
        countDelivered();
    } else {
        m_buffer.append(feed);
    }
    m_emptyFetches = 0;
}

void FeedModel::slotFeedFinished()
{
    if (m_wanted != 0) {
        // One item pads the gap, however large it is.
        if (!m_promoInserted) {
            qDebug("Didn't get enough (non-duplicate) items. Adding Orvik promo banner.");
            insertPromo();
        } else if (m_rows.size() < 2) {
            qDebug("Didn't get enough (non-duplicate) items. No items to recycle. Giving up.");
        } else {
            qDebug("Didn't get enough (non-duplicate) items. Recycling old items.");
            insertFeed(takeLastRow());
        }
        m_wanted = 0;
    }
    ++m_emptyFetches;
    endLoading();
}

void FeedModel::slotProgressChanged(QString packageName, int)
{
    notifyPackage(packageName, ProgressRole);
}

void FeedModel::slotStatusChanged(QString packageName)
{
    notifyPackage(packageName, AppStateRole);
}

void FeedModel::insertFeed(const Store::Feed::ConstPtr &feed)
{
    if (m_rows.size() >= rowsMaximum) {
        // An evicted item may come back from the server; a recycled one may not.
        const Store::Feed::ConstPtr evicted = takeLastRow();
        Q_EMIT countChanged();
        m_seen.remove(evicted->uuid);
    }
    m_packages.insert(feed->packageName);
    beginInsertRows(QModelIndex(), 0, 0);
    m_rows.prepend({feed, m_nextCounter++});
    endInsertRows();

    QVariantMap map = feed->toMap();
    map.insert(QStringLiteral("title"), heading(*feed));
    map.insert(QStringLiteral("appState"), stateOf(*feed));
    map.insert(QStringLiteral("androidApp"), isAndroidApp(*feed));
    Q_EMIT feedItemInserted(map);
    Q_EMIT countChanged();
}

Store::Feed::ConstPtr FeedModel::takeLastRow()
{
    const int last = m_rows.size() - 1;
    beginRemoveRows(QModelIndex(), last, last);
    Store::Feed::ConstPtr feed = m_rows.takeLast().feed;
    endRemoveRows();
    return feed;
}

void FeedModel::countDelivered()
{
    // A listener that has emptied the list wants nothing any more.
    if (m_wanted > 0)
        --m_wanted;
}

void FeedModel::endLoading()
{
    m_loading = false;
    Q_EMIT loadingChanged();
}

void FeedModel::rebuildColumnModels()
{
    // A listener to one of them may be what empties the list.
    const QList<FeedColumnsModel *> old = std::exchange(m_columnModels, {});
    for (FeedColumnsModel *model : old) {
        disconnect(this, nullptr, model, nullptr);
        model->deleteLater();
    }
    for (int column = 0; column < m_columns; ++column) {
        auto *model = new FeedColumnsModel(column, m_columns, this);
        model->setFilterRole(CounterRole);
        model->setSourceModel(this);
        m_columnModels.append(model);
    }
    Q_EMIT columnModelsChanged();
}

void FeedModel::notifyPackage(const QString &packageName, int role)
{
    if (!m_packages.contains(packageName))
        return;
    for (int row = 0; row < m_rows.size(); ++row) {
        if (m_rows.at(row).feed->packageName == packageName) {
            const QModelIndex changed = index(row);
            Q_EMIT dataChanged(changed, changed, {role});
        }
    }
}

QString FeedModel::heading(const Store::Feed &feed) const
{
    switch (feed.itemType) {
    case Store::Feed::Comment:
        return qtTrId("orvik-store-la-reviewed_by").arg(feed.userName);
    case Store::Feed::Like:
        return qtTrId("orvik-store-la-liked_by").arg(feed.userName);
    case Store::Feed::Recommendation:
        return qtTrId("orvik-store-la-recommended_by_orvik");
    case Store::Feed::New:
        return qtTrId("orvik-store-la-new_in_store");
    case Store::Feed::Unknown:
    case Store::Feed::Promo:
        break;
    }
    return feed.appTitle;
}

int FeedModel::stateOf(const Store::Feed &feed) const
{
    return m_packager ? m_packager->applicationState(feed.packageName, feed.version)
                      : int(ApplicationState::Normal);
}
