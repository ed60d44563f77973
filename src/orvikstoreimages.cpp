// Images of the store: the facade sees to it that the bytes lie in the cache of the image
// provider, and tells who waits for them under which local URL the scene finds them.

#include "orvikstore.h"

#include "store/imageset.h"
#include "store/server.h"
#include "storeimageprovider.h"

#include <QSize>
#include <QUrl>

#include <algorithm>

namespace {

QString localUrl(const QString &url)
{
    return StoreImageProvider::localImageUrl(QUrl(url).path(QUrl::FullyDecoded));
}

/** The URL of a request, in the form in which its failure is reported. */
QString requestUrl(const QString &url)
{
    return QUrl(QStringLiteral(KIOSK_STORE_URL)).resolved(QUrl(url, QUrl::TolerantMode)).toString();
}

bool isScaled(const QString &url)
{
    return url.startsWith(QLatin1String("scaled://"));
}

bool isLocal(const QString &url)
{
    return url.startsWith(QLatin1String("image://")) || url.startsWith(QLatin1Char('/'))
        || url.startsWith(QLatin1String("file:"));
}

void tell(const SceneCallback &callback, bool isReady, const QString &url)
{
    callback.call({QJSValue(isReady), QJSValue(url)});
}

} // namespace

QString OrvikStore::scaledImageUrl(const QString &url, int width, int height) const
{
    if (!isScaled(url))
        return url;
    return Store::scaledImageUrl(*m_server->imageSet(url), QSize(width, height));
}

void OrvikStore::loadStoreImage(const QString &url, int width, int height, const QJSValue &callback)
{
    if (!m_server)
        return;
    const SceneCallback waiter(callback);
    const QString source = scaledImageUrl(url, width, height);
    if (isLocal(source)) {
        tell(waiter, true, source);
        return;
    }
    if (source.isEmpty()) {
        tell(waiter, false, source);
        return;
    }
    const QString local = localUrl(source);
    if (m_imageProvider->containsImage(local)) {
        tell(waiter, true, local);
        return;
    }
    if (!m_imageCallbacks.contains(source))
        m_server->requestImage(source);
    m_imageCallbacks.insert(source, waiter);
}

void OrvikStore::cancelStoreImageCallback(const QJSValue &callback)
{
    const auto waiting =
        std::find_if(m_imageCallbacks.begin(), m_imageCallbacks.end(),
                     [&callback](const SceneCallback &waiter) { return waiter.calls(callback); });
    if (waiting != m_imageCallbacks.end())
        m_imageCallbacks.erase(waiting);
}

void OrvikStore::slotImageReceived(const QString &url, const QByteArray &data)
{
    m_imageProvider->insertImage(localUrl(url), data);
    tellWaiters(url, true);
}

void OrvikStore::failImage(const QString &url)
{
    // The failure names the request's full URL, while an image may have been asked for by
    // several shorter ones.
    const QStringList sources = m_imageCallbacks.uniqueKeys();
    for (const QString &source : sources) {
        if (requestUrl(source) == url)
            tellWaiters(source, false);
    }
}

void OrvikStore::tellWaiters(const QString &source, bool isReady)
{
    const QString local = localUrl(source);
    const QList<SceneCallback> waiters = m_imageCallbacks.values(source);
    for (const SceneCallback &waiter : waiters) {
        // One that was called before it may have cancelled it.
        if (m_imageCallbacks.contains(source, waiter))
            tell(waiter, isReady, local);
    }
    // Who asks again from within a callback goes with the others: a failed image isn't
    // fetched over and over.
    m_imageCallbacks.remove(source);
}
