#include "contentmodel.h"

#include "orvikstore.h"
#include "packagehandler.h"
#include "store/requestproxy.h"

#include <QDebug>
#include <QTimer>

#include <algorithm>

namespace {

constexpr int pageSizeMaximum = 18; // rows

const QLatin1String androidPackagePrefix("quayside-apk-");

/** An application that is being updated stays in the section of those that can be. */
int sectionOf(int state)
{
    return state == ApplicationState::Updating ? int(ApplicationState::Updatable) : state;
}

bool youngerThan(const Store::Application &a, const Store::Application &b)
{
    return b.updatedOn < a.updatedOn;
}

bool titledBefore(const Store::Application &a, const Store::Application &b)
{
    return QString::compare(a.title, b.title, Qt::CaseInsensitive) < 0;
}

} // namespace

ContentModel::ContentModel(QObject *parent)
    : QAbstractListModel(parent)
    , m_roles{
          {UuidRole, QByteArrayLiteral("uuid")},
          {PackageNameRole, QByteArrayLiteral("packageName")},
          {ValidityRole, QByteArrayLiteral("validity")},
          {InStoreRole, QByteArrayLiteral("inStore")},
          {ProgressRole, QByteArrayLiteral("progress")},
          {TitleRole, QByteArrayLiteral("title")},
          {IconRole, QByteArrayLiteral("icon")},
          {CoverRole, QByteArrayLiteral("cover")},
          {CompanyUuidRole, QByteArrayLiteral("companyUuid")},
          {CompanyNameRole, QByteArrayLiteral("companyName")},
          {UserUuidRole, QByteArrayLiteral("userUuid")},
          {UserNameRole, QByteArrayLiteral("userName")},
          {LikesRole, QByteArrayLiteral("likes")},
          {AppStateRole, QByteArrayLiteral("appState")},
          {AppSectionRole, QByteArrayLiteral("appSection")},
          {AndroidAppRole, QByteArrayLiteral("androidApp")},
      }
{ }

ContentModel::~ContentModel()
{
    if (m_request) {
        m_request->disconnect(this);
        m_request->cancel();
    }
}

int ContentModel::rowCount(const QModelIndex &) const
{
    return m_rows.size();
}

QVariant ContentModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return QVariant();
    const Item &item = m_rows.at(index.row());
    const Store::Application &app = *item.app;
    switch (role) {
    case UuidRole:
        return app.uuid;
    case PackageNameRole:
        return app.packageName;
    case ValidityRole:
        return app.valid;
    case InStoreRole:
        return app.inStore;
    case ProgressRole:
        return m_packager ? m_packager->packageProgress(app.packageName) : 100;
    case TitleRole:
        return app.title;
    case IconRole:
        return app.icon;
    case CoverRole:
        return app.cover;
    case CompanyUuidRole:
        return app.company;
    case CompanyNameRole:
        return m_store ? m_store->companyData(app.company).value(QStringLiteral("name")).toString()
                       : QString();
    case UserUuidRole:
        return app.user;
    case UserNameRole:
        return app.userName;
    case LikesRole:
        return app.likes;
    case AppStateRole:
        return item.state;
    case AppSectionRole:
        return sectionOf(item.state);
    case AndroidAppRole:
        return app.inStore && app.packageName.startsWith(androidPackagePrefix);
    default:
        return QVariant();
    }
}

QHash<int, QByteArray> ContentModel::roleNames() const
{
    return m_roles;
}

int ContentModel::count() const
{
    return m_rows.size();
}

QObject *ContentModel::store() const
{
    return m_store;
}

void ContentModel::setStore(QObject *store)
{
    auto *orvikStore = qobject_cast<OrvikStore *>(store);
    if (!orvikStore) {
        qWarning() << Q_FUNC_INFO << "The given object is not a OrvikStore object!";
        return;
    }
    m_store = orvikStore;
    connect(orvikStore, &OrvikStore::applicationUpdated, this,
            &ContentModel::slotApplicationUpdated);
    connect(orvikStore, &OrvikStore::companyReceived, this, &ContentModel::slotCompanyReceived);
    connect(orvikStore, &OrvikStore::applicationDataUpdated, this,
            &ContentModel::slotApplicationDataUpdated);
}

QObject *ContentModel::packager() const
{
    return m_packager;
}

void ContentModel::setPackager(QObject *packager)
{
    auto *packageHandler = qobject_cast<PackageHandler *>(packager);
    if (!packageHandler || packageHandler == m_packager) {
        qWarning() << Q_FUNC_INFO << "The given object is not a PackageHandler object!";
        return;
    }
    m_packager = packageHandler;
    connect(packageHandler, &PackageHandler::progressChanged, this,
            &ContentModel::slotProgressChanged);
    connect(packageHandler, &PackageHandler::packageStatusChanged, this,
            &ContentModel::slotStatusChanged);
}

ContentModel::SortMode ContentModel::sortMode() const
{
    return m_sortMode;
}

void ContentModel::setSortMode(SortMode mode)
{
    m_sortMode = mode;
    Q_EMIT sortModeChanged();
}

QString ContentModel::scope() const
{
    return m_scope;
}

void ContentModel::setScope(const QString &scope)
{
    m_scope = scope;
    Q_EMIT scopeChanged();
}

QString ContentModel::category() const
{
    return m_category;
}

void ContentModel::setCategory(const QString &category)
{
    m_category = category;
    Q_EMIT categoryChanged();
}

QString ContentModel::filter() const
{
    return m_filter;
}

void ContentModel::setFilter(const QString &filter)
{
    m_filter = filter;
    m_filterSet = true;
    Q_EMIT filterChanged();
}

QString ContentModel::startsWith() const
{
    return m_startsWith;
}

void ContentModel::setStartsWith(const QString &prefix)
{
    m_startsWith = prefix;
    Q_EMIT startsWithChanged();
}

QStringList ContentModel::excludes() const
{
    return m_excludes.values();
}

void ContentModel::setExcludes(const QStringList &uuids)
{
    m_excludes = QSet<QString>(uuids.cbegin(), uuids.cend());
    Q_EMIT excludesChanged();
}

int ContentModel::limit() const
{
    return m_limit;
}

void ContentModel::setLimit(int limit)
{
    m_limit = limit;
    Q_EMIT limitChanged();
}

bool ContentModel::loading() const
{
    return m_request && m_request->isRunning();
}

bool ContentModel::hasMore() const
{
    return !m_page.next.isEmpty();
}

ContentModel::TopListType ContentModel::topListType() const
{
    return m_topListType;
}

void ContentModel::setTopListType(TopListType type)
{
    m_topListType = type;
    Q_EMIT topListTypeChanged();
}

ApplicationState::States ContentModel::showStates() const
{
    return m_showStates;
}

void ContentModel::setShowStates(ApplicationState::States states)
{
    m_showStates = states;
    Q_EMIT showStatesChanged();
}

int ContentModel::updateCount() const
{
    return updatablePackages().size();
}

QStringList ContentModel::updatablePackages() const
{
    QStringList packages;
    for (const Item &item : m_rows) {
        if (item.state == ApplicationState::Updatable)
            packages.append(item.app->packageName);
    }
    return packages;
}

int ContentModel::appSection(int row) const
{
    return sectionOf(m_rows.at(row).state);
}

void ContentModel::refresh()
{
    fetchContent();
}

void ContentModel::fetchContent()
{
    using namespace ItemFilter;

    reset();
    m_page.clear();
    Q_EMIT hasMoreChanged();

    const int pageSize = m_limit >= 1 && m_limit < pageSizeMaximum ? m_limit : pageSizeMaximum;
    Expression *expression = nullptr;
    if (m_scope == QLatin1String("company") && m_store) {
        expression = new Scope(ScopeKindApplications, new Limit(pageSize, new Company(m_filter)));
    } else if (m_scope == QLatin1String("user") && m_store) {
        expression = new Scope(ScopeKindApplications, new Limit(pageSize, new User(m_filter)));
    } else if (m_scope == QLatin1String("local") && m_store) {
        insertInstalledApplications();
    } else if (m_scope == QLatin1String("store") && m_store) {
        expression = storeExpression(pageSize);
        if (!expression) {
            qWarning() << Q_FUNC_INFO << "Unknown top list type" << int(m_topListType);
            return;
        }
    } else if (m_scope == QLatin1String("search") && m_filterSet) {
        expression = new Scope(ScopeKindSearch, new Limit(pageSize, new Search(m_filter)));
    }
    if (expression)
        m_expressions.append(Expression::ConstPtr(expression));
    nextExpression();
    Q_EMIT loadingChanged();
}

ItemFilter::Expression *ContentModel::storeExpression(int pageSize) const
{
    using namespace ItemFilter;

    const auto applications = [pageSize](Expression *inner) {
        return new Scope(ScopeKindApplications, new Limit(pageSize, inner));
    };
    const auto topList = [pageSize, this](int kind) {
        return new TopScope(ScopeKindTop, new Limit(pageSize, new Category(m_category)), kind);
    };

    if (!m_startsWith.isEmpty())
        return applications(new MatchPackageStartsWith(m_startsWith));
    switch (m_topListType) {
    case TopNone:
        if (m_filterSet && !m_category.isEmpty())
            return applications(new And(new Match(m_filter), new Category(m_category)));
        if (m_filterSet)
            return applications(new Match(m_filter));
        if (!m_category.isEmpty())
            return applications(new Category(m_category));
        return applications(new Recommended);
    case TopDownloaded:
        return topList(TopKindDownloaded);
    case TopLiked:
        return topList(TopKindLiked);
    case TopNew:
        return topList(TopKindNew);
    }
    return nullptr;
}

void ContentModel::insertInstalledApplications()
{
    const QSet<QString> uuids = m_store->installedApplications();
    for (const QString &uuid : uuids)
        (void)takeApplication(m_store->application(uuid));
    (void)takeApplication(Store::Application::ConstPtr::create());
}

void ContentModel::nextExpression()
{
    while (true) {
        if (!m_store || m_expressions.isEmpty()) {
            if (m_expressions.isEmpty() && !m_request)
                QTimer::singleShot(0, this, &ContentModel::slotSendInvalidApplication);
            return;
        }
        if (m_request)
            return;
        m_request = m_store->requestApplications(m_expressions.takeFirst());
        if (m_request)
            break;
        qWarning() << Q_FUNC_INFO << "invalid expression";
    }
    connect(m_request, &Store::RequestProxy::applicationReceived, this,
            &ContentModel::slotApplicationReceived);
    connect(m_request, &Store::RequestProxy::pageReceived, this, &ContentModel::slotPageReceived);
    connect(m_request, &Store::RequestProxy::finished, this, &ContentModel::slotRequestFinished);
}

void ContentModel::fetchMoreContent()
{
    if (!m_request || m_page.next.isEmpty())
        return;
    if (m_store)
        m_store->requestNext(m_page, m_request);
    m_page.clear();
    Q_EMIT hasMoreChanged();
    Q_EMIT loadingChanged();
}

void ContentModel::reset()
{
    m_expressions.clear();
    m_unresolved.clear();
    if (m_request) {
        m_request->disconnect(this);
        m_request->cancel();
        m_request = nullptr;
    }
    Q_EMIT loadingChanged();
    beginResetModel();
    m_rows.clear();
    m_standing.clear();
    m_repeats = 0;
    m_applications.clear();
    endResetModel();
    Q_EMIT countChanged();
    Q_EMIT updateCountChanged();
}

void ContentModel::addApplication(const QString &uuid)
{
    if (!m_store)
        return;
    const Store::Application::ConstPtr app = m_store->application(uuid);
    if (!app->valid || !app->inStore || m_applications.contains(app->packageName))
        return;
    // Noted also where its state keeps it from getting a row: the next status may bring it in.
    m_applications.insert(app->packageName, app);
    insertApplication(app);
}

void ContentModel::updateAll()
{
    if (!m_store || !m_packager)
        return;
    QStringList uuids;
    for (const Item &item : qAsConst(m_rows)) {
        if (item.state == ApplicationState::Updatable)
            uuids.append(item.app->uuid);
    }
    // The rows move while the updates are queued.
    for (const QString &uuid : qAsConst(uuids)) {
        const Store::Application::ConstPtr app = m_store->application(uuid);
        if (app->valid)
            m_packager->install(app->packageName, QJSValue());
    }
}

void ContentModel::slotSendInvalidApplication()
{
    slotApplicationReceived(Store::Application::ConstPtr::create(), false);
}

void ContentModel::slotApplicationReceived(Store::Application::ConstPtr app, bool)
{
    // Direct calls have no sender and count while no request runs.
    const QPointer<Store::RequestProxy> request = m_request;
    if (qobject_cast<Store::RequestProxy *>(sender()) != request)
        return;
    const bool isFull = takeApplication(app);
    if (isFull && request)
        request->cancel();
}

bool ContentModel::takeApplication(const Store::Application::ConstPtr &app)
{
    if (m_excludes.contains(app->uuid))
        return false;
    const int limit = m_limit;
    const int count = m_rows.size();
    const bool isTaken = app->valid && (limit < 1 || count < limit);
    if (isTaken)
        insertApplication(app);
    m_unresolved.remove(app->packageName);
    // Decided by the count before the insertion: a record without a row ends the list, too.
    return isTaken && limit >= 1 && count == limit - 1;
}

void ContentModel::slotApplicationDataUpdated(QString appUuid)
{
    if (!m_store)
        return;
    const Store::Application::ConstPtr app = m_store->application(appUuid);
    if (!app->valid)
        return;
    for (int row = 0; row < m_rows.size(); ++row) {
        Item &item = m_rows[row];
        if (item.app->uuid != appUuid)
            continue;
        const Store::Application::ConstPtr old = item.app;
        item.app = app;
        if (--m_standing[old.data()] == 0)
            m_standing.remove(old.data());
        else
            --m_repeats;
        if (++m_standing[app.data()] > 1)
            ++m_repeats;
        m_applications.insert(old->packageName, app);
        notifyRow(row, {});
        return;
    }
}

void ContentModel::slotPageReceived(Store::ResultPage page)
{
    m_page = page;
    Q_EMIT hasMoreChanged();
    Q_EMIT loadingChanged();
}

void ContentModel::slotRequestFinished()
{
    if (qobject_cast<Store::RequestProxy *>(sender()) != m_request)
        return;
    m_request = nullptr;
    finishExpression();
}

void ContentModel::finishExpression()
{
    if (!m_expressions.isEmpty() && m_store) {
        nextExpression();
        return;
    }
    if (m_expressions.isEmpty() && m_store && m_packager) {
        const QSet<QString> unresolved = m_unresolved;
        for (const QString &package : unresolved) {
            const QString name = package.section(QLatin1Char('/'), -1);
            const QString uuid = m_store->makeLocalApplication(
                name, m_packager->versions().value(package, QStringLiteral("0")),
                m_packager->summaries().value(package), package);
            insertApplication(m_store->application(uuid));
        }
    }
    m_unresolved.clear();
    Q_EMIT loadingChanged();
}

void ContentModel::slotApplicationUpdated(Store::Application::ConstPtr updatedApp)
{
    if (m_topListType != TopNone)
        return;
    const Store::Application::ConstPtr old = m_applications.value(updatedApp->packageName);
    if (!old)
        return;
    removeApplication(old);
    insertApplication(updatedApp);
}

void ContentModel::slotProgressChanged(QString packageName, int progress)
{
    if (progress > 99)
        return;
    const Store::Application::ConstPtr app = m_applications.value(packageName);
    if (!app)
        return;
    const int row = lastRowOf(app);
    if (row >= 0)
        notifyRow(row, {ProgressRole});
}

void ContentModel::slotCompanyReceived(QString uuid)
{
    for (int row = 0; row < m_rows.size(); ++row) {
        if (m_rows.at(row).app->company == uuid)
            notifyRow(row, {CompanyNameRole});
    }
}

void ContentModel::slotStatusChanged(QString packageName)
{
    const Store::Application::ConstPtr app = m_applications.value(packageName);
    if (!app || !app->inStore)
        return;
    if (m_topListType == TopNone) {
        removeApplication(app);
        insertApplication(app);
        return;
    }
    // The order of a top list is the server's, so the row stays where it is.
    const int row = lastRowOf(app);
    if (row < 0)
        return;
    const int oldState = m_rows.at(row).state;
    const int state = stateOf(*app);
    m_rows[row].state = state;
    notifyRow(row, {AppStateRole});
    if (state != oldState
        && (state == ApplicationState::Updatable || oldState == ApplicationState::Updatable))
        Q_EMIT updateCountChanged();
}

void ContentModel::insertApplication(const Store::Application::ConstPtr &app)
{
    const Item item{app, stateOf(*app)};
    if (!(item.state & int(m_showStates)))
        return;
    const int row = rowFor(item);
    m_applications.insert(app->packageName, app);
    beginInsertRows(QModelIndex(), row, row);
    m_rows.insert(row, item);
    if (++m_standing[app.data()] > 1)
        ++m_repeats;
    endInsertRows();
    Q_EMIT countChanged();
    if (item.state == ApplicationState::Updatable)
        Q_EMIT updateCountChanged();
}

void ContentModel::removeApplication(const Store::Application::ConstPtr &app)
{
    m_applications.remove(app->packageName);
    const int row = lastRowOf(app);
    if (row < 0)
        return;
    const int state = m_rows.at(row).state;
    beginRemoveRows(QModelIndex(), row, row);
    m_rows.removeAt(row);
    if (--m_standing[app.data()] == 0)
        m_standing.remove(app.data());
    else
        --m_repeats;
    endRemoveRows();
    Q_EMIT countChanged();
    if (state == ApplicationState::Updatable)
        Q_EMIT updateCountChanged();
}

int ContentModel::stateOf(const Store::Application &app) const
{
    return m_packager ? m_packager->applicationState(app.packageName, app.version)
                      : int(ApplicationState::Normal);
}

int ContentModel::rowFor(const Item &item) const
{
    if (m_topListType != TopNone || m_sortMode == SortNone)
        return m_rows.size();
    const auto found = std::lower_bound(
        m_rows.cbegin(), m_rows.cend(), item,
        [this](const Item &row, const Item &wanted) { return sortsBefore(row, wanted); });
    // A record that stands twice is known by its first row.
    if (m_repeats > 0 && found != m_rows.cend()) {
        const auto first = std::find_if(m_rows.cbegin(), found,
                                        [found](const Item &row) { return row.app == found->app; });
        return int(first - m_rows.cbegin());
    }
    return int(found - m_rows.cbegin());
}

bool ContentModel::sortsBefore(const Item &a, const Item &b) const
{
    switch (m_sortMode) {
    case SortByName:
        return titledBefore(*a.app, *b.app);
    case SortByState:
        return sectionOf(a.state) != sectionOf(b.state) ? a.state < b.state
                                                        : titledBefore(*a.app, *b.app);
    case SortByTop:
        return a.app->likes != b.app->likes ? a.app->likes > b.app->likes
                                            : youngerThan(*a.app, *b.app);
    case SortByAge:
    case SortNone:
        break;
    }
    return youngerThan(*a.app, *b.app);
}

int ContentModel::lastRowOf(const Store::Application::ConstPtr &app) const
{
    if (!m_standing.contains(app.data()))
        return -1;
    for (int row = m_rows.size() - 1; row >= 0; --row) {
        if (m_rows.at(row).app == app)
            return row;
    }
    return -1;
}

void ContentModel::notifyRow(int row, const QVector<int> &roles)
{
    const QModelIndex changed = index(row);
    Q_EMIT dataChanged(changed, changed, roles);
}
