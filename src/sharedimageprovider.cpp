#include "sharedimageprovider.h"

#include "storeimageprovider.h"

SharedImageProvider::SharedImageProvider(const QSharedPointer<StoreImageProvider> &provider)
    : QQuickImageProvider(provider->imageType(), provider->flags())
    , m_provider(provider)
{ }

QImage SharedImageProvider::requestImage(const QString &id, QSize *size, const QSize &requestedSize)
{
    return m_provider->requestImage(id, size, requestedSize);
}
