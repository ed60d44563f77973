#include "server.h"

#include "json.h"
#include "messages.h"
#include "metatypes.h"
#include "redaction.h"
#include "requestproxy.h"
#include "storeaccount.h"

#include <QAuthenticator>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDebug>
#include <QNetworkAccessManager>
#include <QNetworkConfigurationManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>

#include <limits>

namespace Store {

namespace {

const QUrl baseUrl(QStringLiteral(KIOSK_STORE_URL));
// Tells whether the device truly is on the internet; nothing asks it at present.
[[maybe_unused]] const QUrl
    probeUrl(QStringLiteral("http://status.orvik-store.example/online/status.html"));

const QString jsonContentType = QStringLiteral("application/json");

const QString connectionManager = QStringLiteral("net.connman");
constexpr char pollingInterval[] = "QT_BEARER_POLL_TIMEOUT"; // milliseconds; the toolkit's own

// The answer to a back cover that belongs to somebody else.
constexpr char backplateInUseText[] = "\"Already activated for different account\"";

struct FailureMessage
{
    QNetworkReply::NetworkError error;
    const char *message; // null: nothing is shown
};

/** Messages that follow from the error alone; those not listed are general errors. */
constexpr FailureMessage failureMessages[] = {
    {QNetworkReply::ConnectionRefusedError, MessageServerNotAvailable},
    {QNetworkReply::RemoteHostClosedError, MessageServerNotAvailable},
    // The device is taken to be offline, which shows elsewhere.
    {QNetworkReply::HostNotFoundError, nullptr},
    {QNetworkReply::TimeoutError, MessageServerNotAvailable},
    {QNetworkReply::UnknownNetworkError, MessageContentNotAvailable},
    {QNetworkReply::ContentAccessDenied, MessageContentNotAvailable},
    {QNetworkReply::ContentNotFoundError, nullptr},
    // The account's state tells the user.
    {QNetworkReply::AuthenticationRequiredError, nullptr},
};

const char *failureMessage(const QNetworkReply *reply, const QString &text)
{
    // An unknown or a foreign back cover is told by the URL and by the body.
    if (reply->error() == QNetworkReply::ContentNotFoundError
        && reply->errorString().contains(QLatin1String("/backplate/")))
        return MessageBackplateInvalid;
    if (reply->error() == QNetworkReply::UnknownContentError
        && text == QLatin1String(backplateInUseText))
        return MessageBackplateInUse;
    for (const FailureMessage &row : failureMessages) {
        if (row.error == reply->error())
            return row.message;
    }
    return MessageGeneralServerError;
}

/**
 * The toolkit looks at all network interfaces every ten seconds, for systems on which no
 * service reports changes. Where the connection manager runs that would only wake the device.
 * One short question to the bus itself tells.
 */
QNetworkConfigurationManager *makeConfigurationManager(QObject *parent)
{
    const QDBusConnectionInterface *bus = QDBusConnection::systemBus().interface();
    const bool hasService = bus && bus->isServiceRegistered(connectionManager);
    if (hasService && !qEnvironmentVariableIsSet(pollingInterval))
        qputenv(pollingInterval, QByteArray::number(std::numeric_limits<int>::max()));
    return new QNetworkConfigurationManager(parent);
}

} // namespace

Server::Server(const QString &device, QObject *parent)
    : QObject(parent)
    , m_networkConfigurationManager(makeConfigurationManager(this))
    , m_networkAccessManager(makeAccessManager())
    , m_authUser(QStringLiteral("q72kd41mx58t3c"))
    , m_authPassword(QStringLiteral("q7261VbmtRzheW"))
    , m_device(device)
    , m_domain(QStringLiteral("sales"))
    , m_account(new StoreAccount(this))
{
    registerMetaTypes();
    connect(m_networkConfigurationManager, &QNetworkConfigurationManager::onlineStateChanged, this,
            &Server::slotOnlineStateChanged);
    connect(m_account, &StoreAccount::accountStateChanged, this, &Server::accountStateChanged);
}

Server::~Server()
{
    // A report of developer mode, a cut list and the like never end by themselves.
    const QSet<RequestProxy *> proxies = m_proxies;
    m_proxies.clear();
    qDeleteAll(proxies);
}

bool Server::isOnline() const
{
    return m_networkConfigurationManager->isOnline();
}

QNetworkConfiguration::BearerType Server::bearerType() const
{
    return m_networkConfigurationManager->defaultConfiguration().bearerType();
}

bool Server::isConnectionActive() const
{
    return m_networkConfigurationManager->defaultConfiguration().state()
        == QNetworkConfiguration::Active;
}

bool Server::goOnline()
{
    if (isOnline())
        return true;
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("com.orvik.pavilion.ConnectionSelector"), QStringLiteral("/"),
        QStringLiteral("com.orvik.pavilion.ConnectionSelectorIf"),
        QStringLiteral("openConnectionNow"));
    call << QStringLiteral("wlan");
    QDBusConnection::sessionBus().call(call, QDBus::NoBlock);
    return false;
}

void Server::signIn()
{
    m_account->signIn();
}

QString Server::accountName() const
{
    return m_account->userName();
}

QString Server::accessToken() const
{
    return m_account->accessToken();
}

AccountState::State Server::accountState() const
{
    return m_account->state();
}

QString Server::osVersion() const
{
    return m_osVersion;
}

void Server::setOsVersion(const QString &version)
{
    m_osVersion = version;
}

void Server::setDomain(const QString &domain)
{
    m_domain = domain;
}

bool Server::requestNext(const ResultPage &page, RequestProxy *proxy)
{
    if (page.next.isEmpty() || !proxy || proxy->isCancelled())
        return false;
    const QNetworkRequest request = makeRequest(baseUrl.resolved(page.next));
    proxy->setReply(m_networkAccessManager->get(request));
    return true;
}

void Server::slotAuthenticationRequired(QNetworkReply *reply, QAuthenticator *authenticator)
{
    Q_UNUSED(reply)
    authenticator->setUser(m_authUser);
    authenticator->setPassword(m_authPassword);
}

void Server::slotSslErrors(QNetworkReply *reply, QList<QSslError> errors)
{
    qDebug() << "Store::Server::slotSslErrors" << reply->peek(reply->bytesAvailable());
    for (const QSslError &sslError : qAsConst(errors))
        qDebug() << "Error:" << sslError.errorString();
}

void Server::slotRequestFinished()
{
    if (RequestProxy *proxy = senderProxy())
        proxy->finish();
}

void Server::slotRequestError()
{
    const QPointer<RequestProxy> proxy = senderProxy();
    if (!proxy)
        return;
    const QUrl url = proxy->url();
    const QString text = QString::fromUtf8(proxy->takeBody().constData()); // to the first NUL
    m_pendingUrls.remove(url);
    if (proxy->reply()) {
        qWarning() << Q_FUNC_INFO;
        reportFailure(proxy->reply(), text);
    }
    Q_EMIT failure(url.toString());
    if (proxy)
        proxy->finish();
}

void Server::slotPostResponse()
{
    if (RequestProxy *proxy = senderProxy())
        proxy->finish();
}

void Server::slotTryGoOnlineFinished()
{
    if (auto *reply = qobject_cast<QNetworkReply *>(sender()))
        reply->deleteLater();
}

void Server::slotOnlineStateChanged(bool online)
{
    if (online) {
        // Only a new manager works on a new bearer's network; what is in flight is cut.
        delete m_networkAccessManager;
        m_networkAccessManager = makeAccessManager();
    }
    Q_EMIT onlineStateChanged(online);
}

QNetworkAccessManager *Server::makeAccessManager()
{
    auto *manager = new QNetworkAccessManager(this);
    connect(manager, &QNetworkAccessManager::authenticationRequired, this,
            &Server::slotAuthenticationRequired);
    connect(manager, &QNetworkAccessManager::sslErrors, this, &Server::slotSslErrors);
    return manager;
}

QUrl Server::makeUrl(const QString &path, const QStringList &queryParts) const
{
    QStringList parts = queryParts;
    parts.removeAll(QString());
    QString text = path;
    if (!parts.isEmpty())
        text += QLatin1Char('?') + parts.join(QLatin1Char('&'));
    return baseUrl.resolved(QUrl(text, QUrl::TolerantMode));
}

QNetworkRequest Server::makeRequest(const QUrl &url) const
{
    QNetworkRequest request(url);
    request.setRawHeader(QByteArrayLiteral("Authorization"),
                         QStringLiteral("Bearer %1").arg(m_account->accessToken()).toUtf8());
    return request;
}

QNetworkRequest Server::makeJsonRequest(const QUrl &url) const
{
    QNetworkRequest request = makeRequest(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, jsonContentType);
    return request;
}

QStringList Server::standardQuery() const
{
    return {QStringLiteral("device=%1").arg(m_device), QStringLiteral("domain=%1").arg(m_domain),
            QStringLiteral("osversion=%1").arg(m_osVersion)};
}

RequestProxy *Server::makeProxy()
{
    auto *proxy = new RequestProxy(m_networkAccessManager);
    m_proxies.insert(proxy);
    connect(proxy, &QObject::destroyed, this, [this, proxy] { m_proxies.remove(proxy); });
    return proxy;
}

void Server::connectProxy(RequestProxy *proxy, Slot finished, Slot failed)
{
    connect(proxy, &RequestProxy::replyFinished, this, finished);
    connect(proxy, &RequestProxy::error, this, failed);
}

RequestProxy *Server::get(const QNetworkRequest &request, Slot finished, Slot failed)
{
    RequestProxy *proxy = makeProxy();
    proxy->get(request);
    connectProxy(proxy, finished, failed);
    return proxy;
}

RequestProxy *Server::post(const QUrl &url, const QVariantMap &content, Slot finished, Slot failed)
{
    RequestProxy *proxy = makeProxy();
    proxy->post(makeJsonRequest(url), Json(content).toJson());
    connectProxy(proxy, finished, failed);
    return proxy;
}

RequestProxy *Server::deleteResource(const QNetworkRequest &request, Slot finished, Slot failed)
{
    RequestProxy *proxy = makeProxy();
    proxy->deleteResource(request);
    connectProxy(proxy, finished, failed);
    return proxy;
}

void Server::fetchOnce(const QUrl &url, Slot finished, const QString &id)
{
    if (m_pendingUrls.contains(url))
        return;
    m_pendingUrls.insert(url);
    get(makeRequest(url), finished)->setId(id);
}

RequestProxy *Server::senderProxy() const
{
    return qobject_cast<RequestProxy *>(sender());
}

void Server::reportFailure(const QNetworkReply *reply, const QString &text)
{
    const QNetworkReply::NetworkError networkError = reply->error();
    const char *message = failureMessage(reply, text);
    qDebug() << "HTTP Status Code:"
             << reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    qWarning() << "Error: " << networkError << withoutToken(reply->errorString(), reply->request());
    qWarning() << "Data: " << withoutToken(text, reply->request());
    if (networkError == QNetworkReply::AuthenticationRequiredError)
        m_account->markCredentialsNeedUpdate();
    if (message)
        showError(message);
}

void Server::logParseError(const RequestProxy &proxy, const Json &json)
{
    // The token that the request was sent with, which may have been renewed since.
    qDebug() << "Parse Error:" << withoutToken(json.errorString, proxy.reply()->request());
}

void Server::showError(const char *messageId)
{
    Q_EMIT error(qtTrId(messageId));
}

} // namespace Store
