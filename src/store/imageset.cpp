#include "imageset.h"

#include "json.h"

#include <QCryptographicHash>
#include <QStringList>

#include <cstdlib>
#include <limits>

namespace Store {

namespace {

QString sizeKey(int width, int height)
{
    return QStringLiteral("%1x%2").arg(width).arg(height);
}

/** The height of a "WIDTHxHEIGHT" key, -1 for a key of another form. */
int heightOf(const QString &key)
{
    const QStringList pieces = key.split(QLatin1Char('x'));
    return pieces.size() == 2 ? pieces.last().toInt() : -1;
}

/** Tells sets by their content: text order of the keys makes equal sets equal. */
QString identifierOf(const ImageSet &images)
{
    QStringList entries;
    entries.reserve(images.size());
    for (auto image = images.cbegin(); image != images.cend(); ++image)
        entries.append(image.key() + image.value());
    const QByteArray content = entries.join(QLatin1Char(' ')).toUtf8();
    const QByteArray hash = QCryptographicHash::hash(content, QCryptographicHash::Md5);
    return QStringLiteral("scaled://%1").arg(QString::fromLatin1(hash.toHex()));
}

} // namespace

QString ImageSets::insert(const QVariantList &images)
{
    if (images.isEmpty())
        return QStringLiteral("");
    const auto set = QSharedPointer<ImageSet>::create();
    for (const QVariant &element : images) {
        const Json image(element);
        set->insert(sizeKey(image.value(QStringLiteral("width"), 0).toInt(),
                            image.value(QStringLiteral("height"), 0).toInt()),
                    image.value(QStringLiteral("url")).toString());
    }
    QString id = identifierOf(*set);
    m_sets.insert(id, set);
    return id;
}

QSharedPointer<ImageSet> ImageSets::find(const QString &id) const
{
    const QSharedPointer<ImageSet> set = m_sets.value(id);
    return set ? set : QSharedPointer<ImageSet>::create();
}

QString scaledImageUrl(const ImageSet &images, const QSize &size)
{
    const auto exact = images.constFind(sizeKey(size.width(), size.height()));
    if (exact != images.cend())
        return *exact;
    QString best;
    qint64 bestDifference = std::numeric_limits<int>::max();
    for (auto image = images.cbegin(); image != images.cend(); ++image) {
        const qint64 difference = std::abs(qint64(heightOf(image.key())) - size.height());
        if (difference < bestDifference) {
            best = image.value();
            bestDifference = difference;
        }
    }
    return best;
}

} // namespace Store
