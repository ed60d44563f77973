// Server: what the store offers: lists of applications, single records, images, the feed.

#include "server.h"

#include "json.h"
#include "messages.h"
#include "requestproxy.h"

#include <QDebug>
#include <QNetworkRequest>
#include <QPointer>

namespace Store {

namespace {

bool isTopList(const QUrl &url)
{
    return url.path().contains(QLatin1String("/top/"));
}

} // namespace

RequestProxy *Server::requestApplications(const ItemFilter::Expression::ConstPtr &expression)
{
    if (!expression)
        return nullptr;
    QString endpoint;
    if (expression->scopeKind() == ItemFilter::ScopeKindApplications)
        endpoint = m_applicationEndpoint;
    else if (expression->scopeKind() == ItemFilter::ScopeKindSearch)
        endpoint = m_searchEndpoint;
    else if (expression->scopeKind() == ItemFilter::ScopeKindTop)
        endpoint = m_topEndpoint;
    if (endpoint.isEmpty())
        return nullptr;
    endpoint += expression->path();
    const QStringList query = QStringList{expression->query()} + standardQuery();
    return get(makeRequest(makeUrl(endpoint, query)), &Server::slotApplicationListFinished);
}

void Server::requestApplicationData(const QString &uuid)
{
    fetchOnce(makeUrl(m_applicationEndpoint + uuid + QLatin1Char('/')),
              &Server::slotApplicationDataFinished);
}

void Server::requestCompany(const QString &uuid)
{
    fetchOnce(makeUrl(m_companyEndpoint + uuid + QLatin1Char('/')), &Server::slotCompanyFinished);
}

void Server::requestUser(const QString &uuid)
{
    fetchOnce(makeUrl(m_userEndpoint + uuid + QLatin1Char('/')), &Server::slotUserFinished);
}

void Server::requestImage(const QString &url)
{
    fetchOnce(makeUrl(url), &Server::slotImageFinished, url);
}

QSharedPointer<ImageSet> Server::imageSet(const QString &id) const
{
    return m_scaledImages.find(id);
}

RequestProxy *Server::requestFeedItems(int count)
{
    if (m_feedEndpoint.isEmpty()) {
        qWarning() << "Too early to request for feed items!";
        return nullptr;
    }
    const QStringList query = standardQuery() << QStringLiteral("limit=%1").arg(count);
    return get(makeRequest(makeUrl(m_feedEndpoint, query)), &Server::slotFeedItemsReceived);
}

void Server::slotFeedItemsReceived()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const Json json(proxy->takeBody());
    if (!json.valid) {
        logParseError(*proxy, json);
        proxy->finish();
        return;
    }
    const ResultPage page(json);
    for (const QVariant &element : page.objects) {
        const Feed::ConstPtr feed = readFeed(Json(element));
        if (proxy)
            proxy->sendFeed(feed);
    }
    if (!requestNext(page, proxy) && proxy)
        proxy->finish();
}

void Server::slotApplicationListFinished()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const Json json(proxy->takeBody());
    ResultPage page;
    if (json.valid) {
        page = ResultPage(json);
        const bool fromTopList = isTopList(proxy->url());
        for (const QVariant &element : qAsConst(page.objects)) {
            const Application::ConstPtr app = readApplication(Json(element), fromTopList);
            if (proxy && app->valid)
                proxy->sendApplication(app, true);
        }
    } else {
        showError(MessageContentNotAvailable);
    }
    if (!page.next.isEmpty()) {
        // Whether and when the next page is wanted is for the caller to say.
        if (proxy)
            proxy->sendPage(page);
        return;
    }
    if (proxy)
        proxy->sendApplication(Application::ConstPtr::create(), false);
    if (proxy)
        proxy->finish();
}

void Server::slotCompanyFinished()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    m_pendingUrls.remove(proxy->url());
    Q_EMIT company(readCompany(Json(proxy->takeBody())));
    if (proxy)
        proxy->finish();
}

void Server::slotUserFinished()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    m_pendingUrls.remove(proxy->url());
    Q_EMIT user(readUser(Json(proxy->takeBody()), false));
    if (proxy)
        proxy->finish();
}

void Server::slotImageFinished()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    m_pendingUrls.remove(proxy->url());
    Q_EMIT image(proxy->id(), proxy->takeBody());
    if (proxy)
        proxy->finish();
}

void Server::slotApplicationDataFinished()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const QUrl url = proxy->url();
    m_pendingUrls.remove(url);
    const Json json(proxy->takeBody());
    if (json.valid) {
        const Application::ConstPtr app = readApplication(json, isTopList(url));
        if (app->valid)
            Q_EMIT application(app);
        else
            qWarning() << Q_FUNC_INFO << "Invalid application data";
    } else {
        showError(MessageContentNotAvailable);
    }
    if (proxy)
        proxy->finish();
}

} // namespace Store
