#pragma once

#include <QObject>
#include <QQuickImageProvider>
#include <QSharedPointer>

class DiskCache;

/**
 * Serves images of the store to the scene from two disk caches. It never touches the
 * network and never waits: what isn't there gives a null image.
 *
 * requestImage() is called on the scene's image thread, everything else on the main thread.
 */
class StoreImageProvider : public QObject, public QQuickImageProvider
{
    Q_OBJECT

public:
    StoreImageProvider();
    ~StoreImageProvider() override;

    /** @param requestedSize is ignored: the store scales its images. */
    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;

    /** Stores the bytes of an image. @param url its local URL. */
    void insertImage(const QString &url, const QByteArray &data);
    [[nodiscard]] bool containsImage(const QString &url) const;

    /** The URL under which the scene finds the image of a server path. */
    [[nodiscard]] static QString localImageUrl(const QString &path);

private:
    QSharedPointer<DiskCache> m_smallImages; // what fits easily among many
    QSharedPointer<DiskCache> m_bigImages;
};
