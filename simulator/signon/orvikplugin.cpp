#include "orvikplugin.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr char tokenUrl[] = KIOSK_STORE_URL "oauth/token";
constexpr std::chrono::milliseconds requestTimeout = 20s;
constexpr int newTokenPolicy = 1; // value of "CredentialsPolicy"

QString methodName()
{
    return QStringLiteral("Orvik");
}

/** Error of a request that was answered, or was not, with anything but success. */
int errorType(QNetworkReply::NetworkError error, int httpStatus)
{
    constexpr int clientError = 400;
    constexpr int serverError = 500;
    if (httpStatus >= clientError && httpStatus < serverError)
        return SignOn::Error::NotAuthorized;
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::NetworkSessionFailedError:
        return SignOn::Error::NoConnection;
    case QNetworkReply::TimeoutError:
        return SignOn::Error::TimedOut;
    default:
        return SignOn::Error::Network; // says nothing about the user
    }
}

} // namespace

OrvikPlugin::OrvikPlugin(QObject *parent)
    : AuthPluginInterface(parent)
{
    m_timeout.setSingleShot(true);
    connect(&m_timeout, &QTimer::timeout, this, &OrvikPlugin::onTimeout);
}

OrvikPlugin::~OrvikPlugin()
{
    abandonReply();
}

QString OrvikPlugin::type() const
{
    return methodName();
}

QStringList OrvikPlugin::mechanisms() const
{
    return {methodName()};
}

void OrvikPlugin::cancel()
{
    QMetaObject::invokeMethod(this, &OrvikPlugin::abandon, Qt::QueuedConnection);
}

void OrvikPlugin::process(const SignOn::SessionData &inData, const QString &mechanism)
{
    if (mechanism != methodName()) {
        fail(SignOn::Error::MechanismNotAvailable, mechanism);
        return;
    }
    const QString clientId = inData.getProperty(QStringLiteral("ClientId")).toString();
    const QString userName = inData.UserName();
    const bool refresh =
        inData.getProperty(QStringLiteral("CredentialsPolicy")).toInt() == newTokenPolicy;
    const QString cacheKey = clientId + QLatin1Char('\n') + userName;
    const Token cached = m_tokens.value(cacheKey);
    if (!refresh && !cached.text.isEmpty() && !cached.expiry.hasExpired())
        answer(cached);
    else
        fetch(cacheKey, clientId, userName, refresh);
}

void OrvikPlugin::abandon()
{
    if (!m_reply)
        return;
    abandonReply();
    fail(SignOn::Error::SessionCanceled, QStringLiteral("Cancelled"));
}

void OrvikPlugin::abandonReply()
{
    m_timeout.stop();
    if (!m_reply)
        return;
    m_reply->disconnect(this);
    m_reply->abort();
    m_reply->deleteLater();
    m_reply.clear();
}

void OrvikPlugin::fetch(const QString &cacheKey, const QString &clientId, const QString &userName,
                        bool refresh)
{
    abandonReply();
    QNetworkRequest request(QUrl(QString::fromLatin1(tokenUrl)));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    const QJsonObject body{{QStringLiteral("client_id"), clientId},
                           {QStringLiteral("user"), userName},
                           {QStringLiteral("refresh"), refresh}};
    QNetworkReply *reply =
        m_network.post(request, QJsonDocument(body).toJson(QJsonDocument::Compact));
    m_reply = reply;
    connect(reply, &QNetworkReply::finished, this,
            [this, reply, cacheKey] { onReplyFinished(reply, cacheKey); });
    m_timeout.start(requestTimeout);
}

void OrvikPlugin::onReplyFinished(QNetworkReply *reply, const QString &cacheKey)
{
    m_timeout.stop();
    m_reply.clear();
    reply->deleteLater();
    const int httpStatus = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->error() != QNetworkReply::NoError) {
        fail(errorType(reply->error(), httpStatus), reply->errorString());
        return;
    }
    const QJsonObject result = QJsonDocument::fromJson(reply->readAll()).object();
    const QString text = result[QLatin1String("access_token")].toString();
    if (text.isEmpty()) {
        // Something on the way answered in place of the store.
        fail(SignOn::Error::Network, QStringLiteral("The answer holds no token"));
        return;
    }
    const int lifetime = result[QLatin1String("expires_in")].toInt();
    const Token token{text, QDeadlineTimer(std::chrono::seconds(lifetime))};
    m_tokens.insert(cacheKey, token);
    answer(token);
}

void OrvikPlugin::onTimeout()
{
    abandonReply();
    fail(SignOn::Error::TimedOut, QStringLiteral("The store doesn't answer"));
}

void OrvikPlugin::fail(int type, const QString &message)
{
    Q_EMIT error(SignOn::Error(type, message));
}

void OrvikPlugin::answer(const Token &token)
{
    const auto left =
        std::chrono::ceil<std::chrono::seconds>(token.expiry.remainingTimeAsDuration());
    Q_EMIT result(
        SignOn::SessionData(QVariantMap{{QStringLiteral("AccessToken"), token.text},
                                        {QStringLiteral("ExpiresIn"), int(left.count())}}));
}

SIGNON_DECL_AUTH_PLUGIN(OrvikPlugin)
