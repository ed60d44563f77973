#pragma once

#include <QMap>
#include <QSharedPointer>
#include <QSize>
#include <QString>
#include <QVariantList>

namespace Store {

/** An image in several sizes: "WIDTHxHEIGHT" to URL. */
using ImageSet = QMap<QString, QString>;

/** The image sets that responses have brought, by their "scaled://" identifiers. */
class ImageSets
{
public:
    /**
     * Files a list of {url, width, height} objects.
     * @return its identifier, the same for equal sets; empty for an empty list.
     */
    QString insert(const QVariantList &images);

    /** The set of an identifier, or a new empty one. Never null. */
    [[nodiscard]] QSharedPointer<ImageSet> find(const QString &id) const;

private:
    QMap<QString, QSharedPointer<ImageSet>> m_sets;
};

/**
 * The URL that serves best for @p size: the exact size, else the closest height, of two
 * equally close the first in text order. Empty for an empty set.
 */
[[nodiscard]] QString scaledImageUrl(const ImageSet &images, const QSize &size);

} // namespace Store
