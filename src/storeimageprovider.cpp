#include "storeimageprovider.h"

#include "cachedirectory.h"
#include "diskcache.h"

namespace {

constexpr qint64 smallImagesLimit = 2097152; // bytes
constexpr qint64 bigImagesLimit = 10485760; // bytes
constexpr int largestSmallImage = 102400; // bytes

QString cacheKey(const QString &url)
{
    return QString::fromLatin1(url.toUtf8().toBase64());
}

} // namespace

StoreImageProvider::StoreImageProvider()
    : QQuickImageProvider(QQuickImageProvider::Image)
    , m_smallImages(QSharedPointer<DiskCache>::create(
          cacheDirectory().filePath(QStringLiteral("small-images")), smallImagesLimit))
    , m_bigImages(QSharedPointer<DiskCache>::create(
          cacheDirectory().filePath(QStringLiteral("big-images")), bigImagesLimit))
{ }

StoreImageProvider::~StoreImageProvider() = default;

QImage StoreImageProvider::requestImage(const QString &id, QSize *size, const QSize &)
{
    const QString key = cacheKey(localImageUrl(id));
    QByteArray data = m_smallImages->get(key);
    if (data.isEmpty())
        data = m_bigImages->get(key);
    if (data.isEmpty())
        return {};
    QImage image = QImage::fromData(data);
    if (size)
        *size = image.size();
    return image;
}

void StoreImageProvider::insertImage(const QString &url, const QByteArray &data)
{
    const auto &cache = data.size() <= largestSmallImage ? m_smallImages : m_bigImages;
    cache->put(cacheKey(url), data);
}

bool StoreImageProvider::containsImage(const QString &url) const
{
    const QString key = cacheKey(url);
    return m_smallImages->contains(key) || m_bigImages->contains(key);
}

QString StoreImageProvider::localImageUrl(const QString &path)
{
    const QString form = path.startsWith(QLatin1Char('/')) ? QStringLiteral("image://%1%2")
                                                           : QStringLiteral("image://%1/%2");
    return form.arg(QStringLiteral("store"), path);
}
