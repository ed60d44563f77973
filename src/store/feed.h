#pragma once

#include <QDateTime>
#include <QMetaType>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QVariantMap>

namespace Store {

/** One event of the store's news feed. A QObject only for its enumeration. */
class Feed : public QObject
{
    Q_OBJECT

public:
    using ConstPtr = QSharedPointer<const Feed>;

    enum ItemType {
        Unknown = 0,
        Comment = 1, // somebody reviewed an application
        Like = 2, // somebody liked one
        New = 3, // a new application
        Recommendation = 4, // recommended by the store
        Promo = 5 // made by the feed model, never by the server
    };
    Q_ENUM(ItemType)

    /** The item as the scene sees it. */
    [[nodiscard]] QVariantMap toMap() const;

    QString uuid;
    QString appUuid;
    QString cover; // image reference
    QString icon; // image reference
    QDateTime createdOn;
    QString packageName;
    QString version;
    QString appTitle;
    QString appUserName; // publisher
    QString appUserUuid;
    ItemType itemType = Unknown;
    QString description;
    QString userName; // who reviewed or liked
    QString userUuid;
    QString collection;
};

} // namespace Store

Q_DECLARE_METATYPE(Store::Feed::ConstPtr)
