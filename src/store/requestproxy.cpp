#include "requestproxy.h"

#include "metatypes.h"
#include "redaction.h"

#include <QDebug>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <chrono>

using namespace std::chrono_literals;

namespace Store {

namespace {

constexpr auto retryDelay = 250ms;
constexpr int maximumRetries = 5;

constexpr qint64 bodyLimit = qint64(64) * 1024 * 1024; // bytes; no page of the store comes near
constexpr qint64 bodyBlock = qint64(64) * 1024; // bytes

/**
 * Keeps a reply alive while its finished() signal is being handled: the handler may delete
 * the access manager, which would take the reply with it from under the code that emits.
 */
class DeliveryGuard
{
public:
    explicit DeliveryGuard(QNetworkReply *reply)
        : m_reply(reply)
        , m_manager(reply->parent())
        , m_hadManager(reply->parent())
    {
        m_reply->setParent(nullptr);
    }

    ~DeliveryGuard()
    {
        if (!m_reply)
            return;
        if (m_manager)
            m_reply->setParent(m_manager);
        else if (m_hadManager)
            m_reply->deleteLater();
    }

    DeliveryGuard(const DeliveryGuard &) = delete;
    DeliveryGuard &operator=(const DeliveryGuard &) = delete;

private:
    QPointer<QNetworkReply> m_reply;
    QPointer<QObject> m_manager;
    bool m_hadManager;
};

} // namespace

RequestProxy::RequestProxy(QNetworkAccessManager *manager)
    : m_manager(manager)
{
    registerMetaTypes();
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &RequestProxy::slotRetry);
}

RequestProxy::~RequestProxy()
{
    if (m_reply) {
        // From everything: the toolkit then lets the transfer run out instead of cutting it.
        m_reply->disconnect();
        m_reply->deleteLater();
    }
}

void RequestProxy::get(const QNetworkRequest &request)
{
    setReply(m_manager->get(request));
}

void RequestProxy::post(const QNetworkRequest &request, const QByteArray &data)
{
    m_data = data;
    setReply(m_manager->post(request, data));
}

void RequestProxy::put(const QNetworkRequest &request, const QByteArray &data)
{
    m_data = data;
    setReply(m_manager->put(request, data));
}

void RequestProxy::deleteResource(const QNetworkRequest &request)
{
    setReply(m_manager->deleteResource(request));
}

void RequestProxy::setReply(QNetworkReply *reply)
{
    if (m_reply) {
        m_reply->disconnect();
        m_reply->deleteLater();
    }
    m_reply = reply;
    m_url = reply->request().url();
    connect(reply, &QNetworkReply::finished, this, &RequestProxy::slotReplyFinished);
    connect(reply, &QObject::destroyed, this, &RequestProxy::slotReplyDestroyed);
    connect(reply, &QNetworkReply::readyRead, this, &RequestProxy::limitBody);
}

void RequestProxy::finish()
{
    const QPointer<RequestProxy> self(this);
    Q_EMIT finished();
    if (self)
        deleteLater();
}

void RequestProxy::cancel()
{
    m_cancelled = true;
    finish();
}

bool RequestProxy::isRunning() const
{
    return m_reply && m_reply->isRunning();
}

bool RequestProxy::isCancelled() const
{
    return m_cancelled;
}

QNetworkReply *RequestProxy::reply() const
{
    return m_reply;
}

QUrl RequestProxy::url() const
{
    return m_url;
}

QByteArray RequestProxy::takeBody()
{
    QByteArray body;
    while (m_reply && body.size() < bodyLimit) {
        const qint64 wanted = qMax(m_reply->bytesAvailable(), bodyBlock);
        const QByteArray part = m_reply->read(qMin(wanted, bodyLimit - body.size()));
        if (part.isEmpty())
            break;
        body += part;
    }
    return body;
}

QString RequestProxy::id() const
{
    return m_id;
}

void RequestProxy::setId(const QString &id)
{
    m_id = id;
}

void RequestProxy::setQuiet(bool quiet)
{
    m_quiet = quiet;
}

void RequestProxy::sendApplication(const Application::ConstPtr &app, bool hasMore)
{
    if (!m_cancelled)
        Q_EMIT applicationReceived(app, hasMore);
}

void RequestProxy::sendFeed(const Feed::ConstPtr &feed)
{
    if (!m_cancelled)
        Q_EMIT feedReceived(feed);
}

void RequestProxy::sendLikeCount(int count)
{
    if (!m_cancelled)
        Q_EMIT likeCountReceived(count);
}

void RequestProxy::sendPage(const ResultPage &page)
{
    if (!m_cancelled)
        Q_EMIT pageReceived(page);
}

void RequestProxy::sendReview(const Review::ConstPtr &review, bool hasMore)
{
    if (!m_cancelled)
        Q_EMIT reviewReceived(review, hasMore);
}

void RequestProxy::sendSearchCompletion(const QStringList &words)
{
    if (!m_cancelled)
        Q_EMIT searchCompletionReceived(words);
}

void RequestProxy::sendReviewUuid(const QString &uuid)
{
    if (!m_cancelled)
        Q_EMIT reviewUuidReceived(uuid);
}

void RequestProxy::slotReplyFinished()
{
    if (!m_reply)
        return;
    const DeliveryGuard guard(m_reply);
    const QNetworkReply::NetworkError failure = m_reply->error();
    if (failure != QNetworkReply::NoError && !m_quiet)
        qDebug() << Q_FUNC_INFO << withoutToken(m_reply->errorString(), m_reply->request());
    switch (failure) {
    case QNetworkReply::NoError:
        Q_EMIT replyFinished();
        break;
    case QNetworkReply::ContentAccessDenied:
    case QNetworkReply::ContentNotFoundError:
    case QNetworkReply::AuthenticationRequiredError:
    case QNetworkReply::UnknownContentError:
        // Answers that a repetition can't mend.
        Q_EMIT error();
        break;
    default:
        m_timer.start(retryDelay);
        break;
    }
}

void RequestProxy::slotReplyDestroyed()
{
    qDebug() << "QNetworkReply object at" << static_cast<void *>(m_reply) << "for" << m_url
             << "was destroyed unexpectedly.";
    m_reply = nullptr;
}

void RequestProxy::slotRetry()
{
    if (!m_reply) {
        qDebug() << Q_FUNC_INFO << "cannot retry as reply was destroyed";
        Q_EMIT error();
        return;
    }
    if (m_retries == maximumRetries) {
        qDebug() << Q_FUNC_INFO << "retry limit reached";
        Q_EMIT error();
        return;
    }
    ++m_retries;
    qDebug() << Q_FUNC_INFO << "retry number" << m_retries << "for" << m_url;
    if (!m_manager) {
        // The reply is of a newer manager than the one that this proxy was made with.
        Q_EMIT error();
        return;
    }
    const QNetworkRequest request = m_reply->request();
    switch (m_reply->operation()) {
    case QNetworkAccessManager::PostOperation:
        post(request, m_data);
        break;
    case QNetworkAccessManager::DeleteOperation:
        deleteResource(request);
        break;
    case QNetworkAccessManager::GetOperation:
        get(request);
        break;
    default:
        // A PUT isn't repeated, although its body is known.
        Q_EMIT error();
        break;
    }
}

void RequestProxy::limitBody()
{
    if (m_reply && m_reply->bytesAvailable() > bodyLimit)
        m_reply->abort();
}

} // namespace Store
