// Server: discovery of the API, step after step up to ready().

#include "server.h"

#include "json.h"
#include "messages.h"
#include "requestproxy.h"

#include <QNetworkRequest>
#include <QPointer>

namespace Store {

namespace {

const QString storeSchemaPath = QStringLiteral("/api/v001/");
const QString searchSchemaPath = QStringLiteral("/api/search/");

const QString topLevelCategory = QStringLiteral("0");

QString endpoint(const Json &schema, const char *resource)
{
    return schema.value(QStringList{QLatin1String(resource), QStringLiteral("list_endpoint")})
        .toString();
}

/** The entry above the top level, which no response holds. */
Category::ConstPtr allCategories()
{
    const auto category = QSharedPointer<Category>::create();
    category->uuid = topLevelCategory;
    category->title = QStringLiteral("All");
    return category;
}

Category::ConstPtr readCategory(const Json &json, int index)
{
    const auto category = QSharedPointer<Category>::create();
    category->index = index;
    category->uuid = json.value(QStringLiteral("uuid")).toString();
    category->parent = json.value(QStringLiteral("parent"), topLevelCategory).toString();
    category->title = json.value(QStringLiteral("title"), QStringLiteral("No Name")).toString();
    return category;
}

} // namespace

void Server::connectToServer()
{
    // Neither schema asks for a token, so this may run before a sign-in has ended.
    get(QNetworkRequest(makeUrl(storeSchemaPath)), &Server::slotStoreEndPointsReceived);
}

void Server::slotSchemaReceived()
{
    RequestProxy *proxy = senderProxy();
    if (!proxy)
        return;
    const Json json(proxy->takeBody());
    if (!json.valid)
        logParseError(*proxy, json);
}

void Server::slotStoreEndPointsReceived()
{
    static constexpr struct
    {
        const char *resource;
        QString Server::*endpoint;
    } endpoints[] = {
        {"feed", &Server::m_feedEndpoint},
        {"application", &Server::m_applicationEndpoint},
        {"category", &Server::m_categoryEndpoint},
        {"company", &Server::m_companyEndpoint},
        {"like", &Server::m_likeEndpoint},
        {"myapplications", &Server::m_myApplicationsEndpoint},
        {"profile", &Server::m_profileEndpoint},
        {"review", &Server::m_reviewEndpoint},
        {"top", &Server::m_topEndpoint},
        {"user", &Server::m_userEndpoint},
        {"backplate", &Server::m_backplateEndpoint},
    };

    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const Json json(proxy->takeBody());
    if (!json.valid) {
        logParseError(*proxy, json);
        showError(MessageServerNotAvailable);
        if (proxy)
            proxy->finish();
        return;
    }
    for (const auto &row : endpoints)
        this->*row.endpoint = endpoint(json, row.resource);
    m_searchBase = QStringLiteral("/api/search");
    proxy->finish();
    // A server without these two is not a store: whoever waits goes on waiting, and a new
    // attempt is free to start.
    if (!m_applicationEndpoint.isEmpty() && !m_categoryEndpoint.isEmpty())
        requestSearchEndPoints();
}

void Server::slotSearchEndPointsReceived()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const Json json(proxy->takeBody());
    if (json.valid) {
        m_searchEndpoint = endpoint(json, "application");
    } else {
        // Only the search stays out of reach.
        logParseError(*proxy, json);
        showError(MessageServerNotAvailable);
    }
    if (proxy)
        proxy->finish();
    requestCategories();
}

void Server::slotCategoriesReceived()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const Json json(proxy->takeBody());
    if (json.valid) {
        if (m_categoryCount == 0) {
            m_categoryCount = 1;
            Q_EMIT category(allCategories());
        }
        const ResultPage page(json);
        for (const QVariant &element : page.objects)
            Q_EMIT category(readCategory(Json(element), m_categoryCount++));
        if (requestNext(page, proxy))
            return;
    } else {
        logParseError(*proxy, json);
    }
    requestOwnUser();
    if (proxy)
        proxy->finish();
}

void Server::slotUserReceived()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const Json json(proxy->takeBody());
    if (json.valid) {
        m_currentUser = readUser(json, true);
        Q_EMIT user(m_currentUser);
    } else {
        logParseError(*proxy, json);
    }
    requestInstalledApplications();
    if (proxy)
        proxy->finish();
}

void Server::slotInstalledApplicationsReceived()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const Json json(proxy->takeBody());
    if (json.valid) {
        const ResultPage page(json);
        for (const QVariant &element : page.objects) {
            const Json entry(element);
            const QString uuid = entry.value(QStringLiteral("application")).toString();
            m_installedApplications[uuid] = entry.value(QStringLiteral("created_on")).toDateTime();
            const QVariant data = entry.value(QStringLiteral("application_data"));
            if (data.isValid())
                Q_EMIT application(readApplication(Json(data), false));
            Q_EMIT installedApplication(uuid);
        }
        if (requestNext(page, proxy))
            return;
    } else {
        logParseError(*proxy, json);
    }
    Q_EMIT ready();
    if (proxy)
        proxy->finish();
}

void Server::requestSchema(const QString &path)
{
    get(makeRequest(makeUrl(path)), &Server::slotSchemaReceived);
}

void Server::requestSearchEndPoints()
{
    get(QNetworkRequest(makeUrl(searchSchemaPath)), &Server::slotSearchEndPointsReceived);
}

void Server::requestCategories()
{
    m_categoryCount = 0;
    get(makeRequest(makeUrl(m_categoryEndpoint)), &Server::slotCategoriesReceived);
}

void Server::requestOwnUser()
{
    get(makeRequest(makeUrl(m_userEndpoint)), &Server::slotUserReceived);
}

void Server::requestInstalledApplications()
{
    get(makeRequest(makeUrl(m_myApplicationsEndpoint)), &Server::slotInstalledApplicationsReceived);
}

} // namespace Store
