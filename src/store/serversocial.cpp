// Server: what the user does: reviews, likes, completions, installs, the device's reports.

#include "server.h"

#include "json.h"
#include "messages.h"
#include "rdm.h"
#include "requestproxy.h"
#include "storelanguage.h"

#include <QDebug>
#include <QLocale>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>

namespace Store {

namespace {

const QString deviceUid = RdmDeviceInfo::deviceUid();
const QString language = storeLanguage(QLocale().uiLanguages());

enum HttpStatus { Ok = 200, Unauthorized = 401, NotFound = 404, Conflict = 409 };

QString resource(const QString &endpoint, const QString &uuid)
{
    return endpoint + uuid + QLatin1Char('/');
}

/** The query for a page of what belongs to an application. */
QStringList ofApplication(const QString &uuid, int limit)
{
    return {QStringLiteral("application__uuid=%1").arg(uuid),
            QStringLiteral("limit=%1").arg(limit)};
}

} // namespace

RequestProxy *Server::requestReviews(const QString &uuid, int limit)
{
    if (m_reviewEndpoint.isEmpty())
        return nullptr;
    return get(makeRequest(makeUrl(m_reviewEndpoint, ofApplication(uuid, limit))),
               &Server::slotReviewListFinished);
}

RequestProxy *Server::sendReview(const QString &uuid, const QString &appUuid, const QString &review,
                                 const QString &version)
{
    if (m_reviewEndpoint.isEmpty() || !m_currentUser || appUuid.isEmpty())
        return nullptr;
    const QVariantMap content{
        {QStringLiteral("application"), appUuid}, {QStringLiteral("review"), review},
        {QStringLiteral("language"), language},   {QStringLiteral("version"), version},
        {QStringLiteral("device"), deviceUid},
    };
    if (uuid.isEmpty())
        return post(makeUrl(m_reviewEndpoint), content, &Server::slotSendReviewFinished);
    const QNetworkRequest request = makeJsonRequest(makeUrl(resource(m_reviewEndpoint, uuid)));
    if (review.isEmpty())
        return deleteResource(request, &Server::slotSendReviewFinished);
    RequestProxy *proxy = makeProxy();
    proxy->put(request, Json(content).toJson());
    connectProxy(proxy, &Server::slotSendReviewFinished);
    return proxy;
}

RequestProxy *Server::requestLikes(const QString &uuid, int limit)
{
    if (m_likeEndpoint.isEmpty())
        return nullptr;
    return get(makeRequest(makeUrl(m_likeEndpoint, ofApplication(uuid, limit))),
               &Server::slotLikesListFinished);
}

// What becomes of the three requests about the user's own like is read by the caller off
// the reply, while finished() is being emitted.

RequestProxy *Server::requestIsLiked(const QString &uuid)
{
    if (m_likeEndpoint.isEmpty())
        return nullptr;
    RequestProxy *proxy = get(makeRequest(makeUrl(resource(m_likeEndpoint, uuid))),
                              &Server::slotRequestFinished, &Server::slotRequestFinished);
    proxy->setQuiet(true); // a 404 is an ordinary answer
    return proxy;
}

RequestProxy *Server::like(const QString &uuid)
{
    if (m_likeEndpoint.isEmpty())
        return nullptr;
    return post(makeUrl(m_likeEndpoint), {{QStringLiteral("application"), uuid}},
                &Server::slotRequestFinished, &Server::slotRequestFinished);
}

RequestProxy *Server::unlike(const QString &uuid)
{
    if (m_likeEndpoint.isEmpty())
        return nullptr;
    return deleteResource(makeRequest(makeUrl(resource(m_likeEndpoint, uuid))),
                          &Server::slotRequestFinished, &Server::slotRequestFinished);
}

RequestProxy *Server::requestSearchCompletions(const QString &text)
{
    if (m_searchBase.isEmpty())
        return nullptr;
    const QUrl url = makeUrl(m_searchBase + QStringLiteral("/application/autocomplete/"),
                             {QStringLiteral("q=%1").arg(text)});
    return get(makeRequest(url), &Server::slotSearchCompletionsFinished);
}

RequestProxy *Server::postStoreInstalled(const QString &uuid)
{
    // First of all, so that records read later are right even without a network.
    m_installedApplications[uuid] = QDateTime::currentDateTime();
    if (m_myApplicationsEndpoint.isEmpty() || !m_currentUser)
        return nullptr;
    return post(makeUrl(m_myApplicationsEndpoint), {{QStringLiteral("application"), uuid}},
                &Server::slotPostResponse);
}

RequestProxy *Server::postStoreUninstalled(const QString &uuid)
{
    if (m_myApplicationsEndpoint.isEmpty())
        return nullptr;
    return deleteResource(makeRequest(makeUrl(resource(m_myApplicationsEndpoint, uuid))),
                          &Server::slotPostResponse);
}

void Server::reportDeveloperModeEnabled()
{
    if (m_profileEndpoint.isEmpty()) {
        qWarning() << "Profile endpoint not available on server.";
        return;
    }
    const QUrl url = makeUrl(m_profileEndpoint + QStringLiteral("set/developer_mode/"),
                             {QStringLiteral("imei=%1").arg(deviceUid)});
    get(makeRequest(url), &Server::slotDeveloperModeResponse, &Server::slotDeveloperModeResponse);
}

RequestProxy *Server::activateBackplate(const QString &bkpId)
{
    if (m_backplateEndpoint.isEmpty())
        return nullptr;
    RequestProxy *proxy = makeProxy();
    proxy->put(makeJsonRequest(makeUrl(resource(m_backplateEndpoint, bkpId))),
               QByteArrayLiteral("{}"));
    connectProxy(proxy, &Server::slotBackplateActivationFinished);
    return proxy;
}

void Server::slotDeveloperModeResponse()
{
    // The proxy isn't ended: a report happens once a run, and its proxy goes with this object.
    RequestProxy *proxy = senderProxy();
    if (!proxy || !proxy->reply())
        return;
    switch (proxy->reply()->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt()) {
    case HttpStatus::Ok:
        qDebug() << "Developer Mode registered";
        Q_EMIT developerModeReported();
        break;
    case HttpStatus::Unauthorized:
        qDebug() << "Developer Mode registration failed. Unauthenticated user.";
        break;
    case HttpStatus::NotFound:
        qDebug() << "Developer Mode registration failed. Device UID not found.";
        break;
    case HttpStatus::Conflict:
        qDebug() << "Developer Mode registration failed. Unspecified server error.";
        break;
    default:
        break;
    }
}

void Server::slotSearchCompletionsFinished()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const Json json(proxy->takeBody());
    if (!json.valid) {
        showError(MessageContentNotAvailable);
        if (proxy)
            proxy->finish();
        return;
    }
    const ResultPage page(json);
    QStringList words;
    for (const QVariant &element : page.objects) {
        const QVariantList results = Json(element).value(QStringLiteral("results")).toList();
        for (const QVariant &word : results)
            words.append(word.toString());
    }
    if (!words.isEmpty())
        proxy->sendSearchCompletion(words);
    if (!requestNext(page, proxy) && proxy)
        proxy->finish();
}

void Server::slotReviewListFinished()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const Json json(proxy->takeBody());
    if (!json.valid) {
        proxy->finish();
        return;
    }
    const ResultPage page(json);
    int left = page.objects.size(); // on this page, not in the list
    for (const QVariant &element : page.objects) {
        if (proxy)
            proxy->sendReview(readReview(Json(element)), --left > 0);
    }
    if (!requestNext(page, proxy) && proxy)
        proxy->finish();
}

void Server::slotLikesListFinished()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const Json json(proxy->takeBody());
    if (json.valid)
        proxy->sendLikeCount(ResultPage(json).totalCount);
    if (proxy)
        proxy->finish();
}

void Server::slotBackplateActivationFinished()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const Json json(proxy->takeBody());
    if (json.valid) {
        const auto backplate = QSharedPointer<Backplate>::create();
        backplate->map = json.map;
        Q_EMIT backplateActivated(backplate);
    }
    if (proxy)
        proxy->finish();
}

void Server::slotSendReviewFinished()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const Json json(proxy->takeBody());
    const QString uuid = json.valid ? json.value(QStringLiteral("uuid")).toString() : QString();
    if (!uuid.isEmpty())
        proxy->sendReviewUuid(uuid);
    if (proxy)
        proxy->finish();
}

} // namespace Store
