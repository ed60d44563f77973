#include "orvikstore.h"

#include "store/requestproxy.h"
#include "store/server.h"

#include <QDateTime>
#include <QDebug>

#include <algorithm>

OrvikStore::OrvikStore(StoreImageProvider *provider, QObject *parent)
    : QObject(parent)
    , m_server(std::make_unique<Store::Server>(s_deviceModel, nullptr))
    , m_imageProvider(provider)
{
    const Store::Server *server = m_server.get();
    connect(server, &Store::Server::accountStateChanged, this,
            &OrvikStore::slotAccountStateChanged);
    connect(server, &Store::Server::onlineStateChanged, this, &OrvikStore::slotOnlineStateChanged);
    connect(server, &Store::Server::ready, this, &OrvikStore::slotServerReady);
    connect(server, &Store::Server::failure, this, &OrvikStore::slotServerFailure);
    connect(server, &Store::Server::installedApplication, this,
            &OrvikStore::slotInstalledApplicationReceived);
    connect(server, &Store::Server::category, this, &OrvikStore::slotCategoryReceived);
    connect(server, &Store::Server::company, this, &OrvikStore::slotCompanyReceived);
    connect(server, &Store::Server::user, this, &OrvikStore::slotUserReceived);
    connect(server, &Store::Server::backplateActivated, this,
            &OrvikStore::slotBackplateActivationReceived);
    connect(server, &Store::Server::image, this, &OrvikStore::slotImageReceived);
    connect(server, &Store::Server::application, this, &OrvikStore::slotApplicationDataReceived);
    connect(server, &Store::Server::developerModeReported, this,
            &OrvikStore::developerModeReported);
    connect(server, &Store::Server::error, this, &OrvikStore::error);
}

OrvikStore::~OrvikStore()
{
    // Nothing that its end causes may reach the slots any more.
    m_server->disconnect(this);
}

bool OrvikStore::isOnline() const
{
    return m_server->isOnline();
}

OrvikStore::ConnectionState OrvikStore::connectionState() const
{
    return m_connectionState;
}

QString OrvikStore::user() const
{
    return m_user;
}

QString OrvikStore::userName() const
{
    return m_userName;
}

OrvikStore::OsUpdateStatus OrvikStore::osUpdateStatus() const
{
    return m_osUpdateStatus;
}

AccountState::State OrvikStore::accountState() const
{
    return m_server->accountState();
}

QNetworkConfiguration::BearerType OrvikStore::bearerType() const
{
    return m_server->bearerType();
}

bool OrvikStore::isConnectionActive() const
{
    return m_server->isConnectionActive();
}

QString OrvikStore::accountName() const
{
    return m_server->accountName();
}

QString OrvikStore::accessToken() const
{
    return m_server->accessToken();
}

QString OrvikStore::osVersion() const
{
    return m_server->osVersion();
}

void OrvikStore::setOsVersion(const QString &version)
{
    m_server->setOsVersion(version);
}

void OrvikStore::setDomain(const QString &domain)
{
    m_server->setDomain(domain);
}

void OrvikStore::reportDeveloperModeEnabled()
{
    m_server->reportDeveloperModeEnabled();
}

QString OrvikStore::storeCategory() const
{
    return QStringLiteral("acc31a96-dfed-11e2-9942-001dd8b72505");
}

QString OrvikStore::marketPlacesCategory() const
{
    return QStringLiteral("ecbc1dac-dc3d-4782-95d2-6b1165187469");
}

// The connection

void OrvikStore::tryConnect()
{
    switch (m_connectionState) {
    case Initial:
    case Unauthorized:
        m_server->signIn();
        break;
    case Authorizing:
        qDebug() << Q_FUNC_INFO << "Already authorizing.";
        break;
    case Authorized:
    case ServerError:
        connectToServer();
        break;
    case Connecting:
        qDebug() << Q_FUNC_INFO << "Already connecting.";
        break;
    case Ready:
        if (!m_server->isOnline())
            m_server->goOnline();
        else
            qDebug() << Q_FUNC_INFO << "don't know how to resume from connection state"
                     << static_cast<int>(m_connectionState);
        break;
    }
}

void OrvikStore::tryGoOnline()
{
    if (!m_server->isOnline())
        m_server->goOnline();
}

void OrvikStore::connectToServer()
{
    if (!m_server->isOnline()) {
        // The state stays: when the network comes, it is from here that things go on.
        m_server->goOnline();
        return;
    }
    m_server->connectToServer();
    m_connectionState = Connecting;
    Q_EMIT connectionStateChanged();
}

void OrvikStore::changeConnectionState(ConnectionState state)
{
    const ConnectionState oldState = m_connectionState;
    qDebug() << Q_FUNC_INFO << static_cast<int>(oldState) << "-->" << static_cast<int>(state);
    // The account renews its token from time to time, which must not shake the connection.
    if (oldState == Ready && (state == Authorizing || state == Authorized)) {
        qDebug() << "Ignoring state transition";
        return;
    }

    m_connectionState = state;
    Q_EMIT connectionStateChanged();

    switch (state) {
    case Unauthorized:
        Q_EMIT signUpRequired();
        break;
    case Authorized:
        if (oldState == Authorizing)
            connectToServer();
        else
            qDebug() << "Unhandled state transition";
        break;
    case Authorizing:
    case Ready:
    case ServerError:
        break;
    case Initial:
    case Connecting:
        qDebug() << "Unhandled state transition";
        break;
    }
}

void OrvikStore::slotAccountStateChanged()
{
    switch (m_server->accountState()) {
    case AccountState::Unknown:
    case AccountState::Waiting:
        break;
    case AccountState::NoAccount:
    case AccountState::NeedsUpdate:
        changeConnectionState(Unauthorized);
        break;
    case AccountState::NetworkError:
        if (!m_server->isOnline())
            m_server->goOnline();
        changeConnectionState(Unauthorized);
        break;
    case AccountState::SigningIn:
        changeConnectionState(Authorizing);
        break;
    case AccountState::SignedIn:
        changeConnectionState(Authorized);
        break;
    }
    Q_EMIT accountStateChanged();
}

void OrvikStore::slotOnlineStateChanged(bool isOnline)
{
    qDebug() << Q_FUNC_INFO << isOnline;
    Q_EMIT onlineStatusChanged();
    // Ready needs nothing, and nobody has asked for anything in Initial.
    if (!isOnline || m_connectionState == Ready || m_connectionState == Initial)
        return;
    tryConnect();
}

void OrvikStore::slotServerReady()
{
    qDebug() << "Store server is now ready.";
    changeConnectionState(Ready);
}

void OrvikStore::slotServerFailure(const QString &url)
{
    if (m_connectionState == Connecting)
        changeConnectionState(ServerError);
    else
        failImage(url);
}

// Applications

Store::Application::ConstPtr OrvikStore::application(const QString &uuid) const
{
    const auto app = m_applications.value(uuid);
    return app ? app : Store::Application::ConstPtr::create();
}

QSet<QString> OrvikStore::installedApplications() const
{
    return m_installedApplications;
}

Store::RequestProxy *OrvikStore::requestApplications(const ItemFilter::Expression::ConstPtr &filter)
{
    Store::RequestProxy *proxy = m_server->requestApplications(filter);
    if (proxy)
        connect(proxy, &Store::RequestProxy::applicationReceived, this,
                &OrvikStore::slotApplicationReceived);
    return proxy;
}

void OrvikStore::addApplication(const Store::Application::ConstPtr &app)
{
    if (!app->valid)
        return;
    m_applications.insert(app->uuid, app);
    Q_EMIT applicationReceived(app->uuid);
}

void OrvikStore::replaceApplication(const Store::Application::ConstPtr &app)
{
    const auto known = m_applications.find(app->uuid);
    if (known == m_applications.end()) {
        addApplication(app);
        return;
    }
    *known = app;
    Q_EMIT applicationDataUpdated(app->uuid);
}

QString OrvikStore::makeLocalApplication(const QString &name, const QString &version,
                                         const QString &summary, const QString &packageName)
{
    const auto app = QSharedPointer<Store::Application>::create();
    app->valid = true;
    app->inStore = false;
    app->uuid = QLatin1String("local-") + name;
    app->title = name;
    app->version = version;
    app->summary = summary;
    app->packageName = packageName;
    app->icon = QStringLiteral("image://theme/icon-store-app-default");
    addApplication(app);
    return app->uuid;
}

QString OrvikStore::cachedApplicationUuid(const QString &packageName) const
{
    const auto app = std::find_if(m_applications.cbegin(), m_applications.cend(),
                                  [&packageName](const Store::Application::ConstPtr &candidate) {
                                      return candidate->packageName == packageName;
                                  });
    return app == m_applications.cend() ? QString() : (*app)->uuid;
}

void OrvikStore::postStoreInstalled(const QString &uuid)
{
    m_server->postStoreInstalled(uuid);
    m_installedApplications.insert(uuid);
}

void OrvikStore::postStoreUninstalled(const QString &uuid)
{
    m_server->postStoreUninstalled(uuid);
    m_installedApplications.remove(uuid);
}

void OrvikStore::updateInstalledOn(const QString &uuid)
{
    const auto known = m_applications.find(uuid);
    if (known == m_applications.end())
        return;
    const auto copy = QSharedPointer<Store::Application>::create(**known);
    copy->installedOn = QDateTime::currentDateTime();
    *known = copy;
    Q_EMIT applicationUpdated(copy);
}

QVariantMap OrvikStore::applicationData(const QString &uuid)
{
    const auto app = m_applications.value(uuid);
    if (app)
        return app->toMap();
    if (!uuid.isEmpty())
        m_server->requestApplicationData(uuid);
    return {};
}

void OrvikStore::resolvePackage(const QString &packageName)
{
    const QString uuid = cachedApplicationUuid(packageName);
    if (!uuid.isEmpty()) {
        Q_EMIT packageResolved(packageName, uuid);
        return;
    }

    const ItemFilter::Expression::ConstPtr filter(new ItemFilter::Scope(
        ItemFilter::ScopeKindApplications, new ItemFilter::MatchPackage({packageName})));
    Store::RequestProxy *proxy = requestApplications(filter);
    if (!proxy)
        return;
    m_resolvingPackages.insert(proxy, packageName);
    connect(proxy, &Store::RequestProxy::applicationReceived, this,
            &OrvikStore::slotPackageResolved);
    // Nobody will ask for a second page, for which the request would wait for good.
    connect(proxy, &Store::RequestProxy::pageReceived, proxy, &Store::RequestProxy::cancel);
    // A request that failed has delivered nothing, and its address will be used again.
    connect(proxy, &Store::RequestProxy::finished, this,
            [this, proxy] { m_resolvingPackages.remove(proxy); });
}

void OrvikStore::slotPackageResolved(const Store::Application::ConstPtr &app, bool)
{
    auto *proxy = qobject_cast<Store::RequestProxy *>(sender());
    addApplication(app);
    // The first answer decides; the record that ends the list finds the entry gone.
    const auto resolving = m_resolvingPackages.constFind(proxy);
    if (resolving == m_resolvingPackages.constEnd())
        return;
    Q_EMIT packageResolved(*resolving, app->uuid);
    m_resolvingPackages.remove(proxy);
}

void OrvikStore::slotInstalledApplicationReceived(const QString &uuid)
{
    m_installedApplications.insert(uuid);
}

void OrvikStore::slotApplicationDataReceived(const Store::Application::ConstPtr &app)
{
    addApplication(app);
}

void OrvikStore::slotApplicationReceived(const Store::Application::ConstPtr &app)
{
    addApplication(app);
}

// Categories, companies, users

QStringList OrvikStore::categories(const QString &parent) const
{
    QList<Store::Category::ConstPtr> children;
    for (const Store::Category::ConstPtr &category : m_categories) {
        if (category->parent == parent)
            children.append(category);
    }
    std::stable_sort(children.begin(), children.end(),
                     [](const Store::Category::ConstPtr &a, const Store::Category::ConstPtr &b) {
                         return a->index < b->index;
                     });
    QStringList uuids;
    uuids.reserve(children.size());
    for (const Store::Category::ConstPtr &category : qAsConst(children))
        uuids.append(category->uuid);
    return uuids;
}

QString OrvikStore::categoryName(const QString &categoryUuid) const
{
    const auto category = m_categories.value(categoryUuid);
    return category ? category->title : categoryUuid;
}

QVariantMap OrvikStore::companyData(const QString &uuid)
{
    const auto company = m_companies.value(uuid);
    if (company)
        return company->toMap();
    if (!uuid.isEmpty())
        m_server->requestCompany(uuid);
    return {};
}

QVariantMap OrvikStore::userData(const QString &uuid)
{
    const auto user = m_users.value(uuid);
    if (user)
        return user->toMap();
    if (!uuid.isEmpty())
        m_server->requestUser(uuid);
    return {};
}

void OrvikStore::slotCategoryReceived(const Store::Category::ConstPtr &categ)
{
    m_categories.insert(categ->uuid, categ);
}

void OrvikStore::slotCompanyReceived(const Store::Company::ConstPtr &company)
{
    m_companies.insert(company->uuid, company);
    Q_EMIT companyReceived(company->uuid);
}

void OrvikStore::slotUserReceived(const Store::User::ConstPtr &user)
{
    if (user->ownProfile) {
        m_user = user->uuid;
        m_userName = user->userName;
    }
    m_users.insert(user->uuid, user);
    Q_EMIT userReceived(user->uuid);
}

// Feed, reviews, likes, search

Store::RequestProxy *OrvikStore::requestFeedItems(int count)
{
    return m_server->requestFeedItems(count);
}

Store::RequestProxy *OrvikStore::requestReviews(const QString &uuid, int limit)
{
    return m_server->requestReviews(uuid, limit);
}

Store::RequestProxy *OrvikStore::requestLikes(const QString &uuid, int limit)
{
    return m_server->requestLikes(uuid, limit);
}

Store::RequestProxy *OrvikStore::requestIsLiked(const QString &uuid)
{
    return m_server->requestIsLiked(uuid);
}

Store::RequestProxy *OrvikStore::like(const QString &uuid)
{
    return m_server->like(uuid);
}

Store::RequestProxy *OrvikStore::unlike(const QString &uuid)
{
    return m_server->unlike(uuid);
}

Store::RequestProxy *OrvikStore::requestSearchCompletions(const QString &text)
{
    return m_server->requestSearchCompletions(text);
}

bool OrvikStore::requestNext(const Store::ResultPage &page, Store::RequestProxy *proxy)
{
    return m_server && m_server->requestNext(page, proxy);
}

void OrvikStore::sendReview(const QString &uuid, const QString &appUuid, const QString &review,
                            const QString &version)
{
    Store::RequestProxy *proxy = m_server->sendReview(uuid, appUuid, review, version);

    const auto sent = QSharedPointer<Store::Review>::create();
    sent->uuid = uuid;
    sent->application = appUuid;
    sent->version = version;
    sent->author = m_user;
    sent->authorName = m_userName;
    sent->review = review;
    if (uuid.isEmpty()) {
        sent->tempUuid = QStringLiteral("temp-%1").arg(m_reviewCounter++);
        if (proxy) {
            proxy->setId(sent->tempUuid);
            connect(proxy, &Store::RequestProxy::reviewUuidReceived, this,
                    &OrvikStore::slotReviewUuidReceived);
        }
    }
    Q_EMIT reviewSent(sent);
}

void OrvikStore::slotReviewUuidReceived(const QString &uuid)
{
    const auto *proxy = qobject_cast<Store::RequestProxy *>(sender());
    if (proxy && !proxy->id().isEmpty())
        Q_EMIT reviewUuidReceived(proxy->id(), uuid);
}

// Back covers

void OrvikStore::activateBackplate(const QString &bkpId)
{
    const auto known = m_backplates.value(bkpId);
    if (known)
        Q_EMIT backplateActivationReceived(known->map);
    else
        m_server->activateBackplate(bkpId);
}

void OrvikStore::slotBackplateActivationReceived(const Store::Backplate::ConstPtr &bkp)
{
    const QString bkpId = bkp->bkpId();
    if (!m_backplates.contains(bkpId))
        m_backplates.insert(bkpId, bkp);
    Q_EMIT backplateActivationReceived(bkp->map);
}
