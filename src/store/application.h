#pragma once

#include <QDateTime>
#include <QMetaType>
#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace Store {

/**
 * What the store knows of one application. Never changed once it is shared: a change means
 * a member-wise copy behind a new pointer.
 */
struct Application
{
    using ConstPtr = QSharedPointer<const Application>;

    /** The record as the scene sees it. */
    [[nodiscard]] QVariantMap toMap() const;

    qint64 stamp = QDateTime::currentMSecsSinceEpoch(); // when it was made, ms; copies keep it
    QString uuid; // "local-…" for one that the store doesn't know
    QString packageName;
    QString collection;
    bool valid = false; // holds real data
    bool inStore = true; // false on local records
    bool fromTopList = false;
    bool adultOnly = false;
    QString reserved = QStringLiteral("");
    QString company; // uuid
    QString user; // uuid
    QString userName;
    QString summary;
    QString title = QStringLiteral("Untitled");
    QString description;
    QString version;
    QString changes;
    int rating = 0;
    int downloads = 0;
    int likes = 0;
    QString cover; // image reference
    QString icon; // image reference
    QStringList requirements;
    QStringList screenshots; // URLs
    QDateTime createdOn;
    QDateTime updatedOn;
    QDateTime installedOn; // by this user
    QString openSourceLink;
    QString website;
    QString flattrLink;
    int size = 0; // bytes
};

/** The number of downloads as a rough mark such as "1,000+", in the system's locale. */
[[nodiscard]] QString downloadMark(int downloads);

} // namespace Store

Q_DECLARE_METATYPE(Store::Application::ConstPtr)
