#include "liker.h"

#include "orvikstore.h"
#include "store/requestproxy.h"

#include <QNetworkReply>

namespace {

constexpr int statusLiked = 200;
constexpr int statusLikeCreated = 201;
constexpr int statusLikeDeleted = 204;

} // namespace

Liker::Liker(QObject *parent)
    : QObject(parent)
{ }

QVariant Liker::store() const
{
    return QVariant();
}

void Liker::setStore(const QVariant &store)
{
    if (auto *orvikStore = qobject_cast<OrvikStore *>(store.value<QObject *>()))
        m_store = orvikStore;
}

QString Liker::application() const
{
    return m_application;
}

void Liker::setApplication(const QString &uuid)
{
    if (uuid == m_application || uuid.isEmpty())
        return;
    m_application = uuid;
    Q_EMIT applicationChanged();
    if (!m_store)
        return;
    m_loading = true;
    m_busy = true;
    m_likes = 0;
    m_isLiked = false;
    Q_EMIT loadingChanged();
    Q_EMIT busyChanged();
    if (!m_store)
        return; // gone meanwhile, with a listener
    if (Store::RequestProxy *request = m_store->requestIsLiked(m_application))
        connect(request, &Store::RequestProxy::finished, this, &Liker::slotIsLikedFinished);
}

int Liker::likes() const
{
    return m_likes;
}

bool Liker::isLiked() const
{
    return m_isLiked;
}

bool Liker::loading() const
{
    return m_loading;
}

bool Liker::busy() const
{
    return m_busy;
}

void Liker::like()
{
    if (!m_store || m_application.isEmpty())
        return;
    Store::RequestProxy *request = m_store->like(m_application);
    if (!request)
        return;
    connect(request, &Store::RequestProxy::finished, this, &Liker::slotLikeFinished);
    setBusy(true);
}

void Liker::unlike()
{
    if (!m_store || m_application.isEmpty())
        return;
    Store::RequestProxy *request = m_store->unlike(m_application);
    if (!request)
        return;
    connect(request, &Store::RequestProxy::finished, this, &Liker::slotUnlikeFinished);
    setBusy(true);
}

void Liker::slotLikeCountReceived(int count)
{
    m_likes = count;
    Q_EMIT likesChanged();
}

void Liker::slotListLikesFinished()
{
    m_loading = false;
    m_busy = false;
    Q_EMIT loadingChanged();
    Q_EMIT busyChanged();
}

void Liker::slotIsLikedFinished()
{
    const bool isLiked = senderStatus() == statusLiked;
    if (isLiked != m_isLiked) {
        m_isLiked = isLiked;
        Q_EMIT isLikedChanged();
    }
    if (!m_store)
        return;
    // The count alone is of interest, and a page of one brings it.
    if (Store::RequestProxy *request = m_store->requestLikes(m_application, 1)) {
        connect(request, &Store::RequestProxy::finished, this, &Liker::slotListLikesFinished);
        connect(request, &Store::RequestProxy::likeCountReceived, this,
                &Liker::slotLikeCountReceived);
    }
}

void Liker::slotLikeFinished()
{
    if (senderStatus() == statusLikeCreated) {
        m_isLiked = true;
        ++m_likes;
        Q_EMIT likesChanged();
        Q_EMIT isLikedChanged();
        publishLikes();
    }
    setBusy(false);
}

void Liker::slotUnlikeFinished()
{
    if (senderStatus() == statusLikeDeleted) {
        if (m_likes > 0)
            --m_likes;
        m_isLiked = false;
        Q_EMIT likesChanged();
        Q_EMIT isLikedChanged();
        publishLikes();
    }
    setBusy(false);
}

int Liker::senderStatus() const
{
    const auto *request = qobject_cast<Store::RequestProxy *>(sender());
    if (!request || !request->reply())
        return 0;
    return request->reply()->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

void Liker::setBusy(bool busy)
{
    m_busy = busy;
    Q_EMIT busyChanged();
}

void Liker::publishLikes()
{
    if (!m_store)
        return;
    const Store::Application::ConstPtr app = m_store->application(m_application);
    if (!app->valid)
        return;
    const auto changed = QSharedPointer<Store::Application>::create(*app);
    changed->likes = m_likes;
    m_store->replaceApplication(changed);
}
