#pragma once

#include <QByteArray>
#include <QCache>
#include <QMutex>
#include <QSize>
#include <QString>
#include <QStringList>

/** Which image is wanted, and what it is made from. */
struct ImageRequest
{
    QString kind; // "icon", "cover", "avatar" or "screenshot-N"
    QString name; // package name or user
    QSize size; // pixels
    QString glyph; // of the application's icon
    QStringList colours; // two, light and dark
};

/**
 * Paints the store's images when they are first asked for, always the same for the same
 * request, and keeps the PNG bytes. Thread-safe.
 */
class ImageStore
{
public:
    ImageStore();

    /** The PNG bytes; empty for an unknown kind or a size outside 1 to 2048. */
    [[nodiscard]] QByteArray image(const ImageRequest &request);

private:
    QMutex m_mutex;
    QCache<QString, QByteArray> m_images;
};
