#pragma once

#include <QDateTime>
#include <QMetaType>
#include <QSharedPointer>
#include <QString>

namespace Store {

/** What somebody wrote about an application. */
struct Review
{
    using ConstPtr = QSharedPointer<const Review>;

    Review()
        : createdOn(QDateTime::currentDateTime())
        , updatedOn(createdOn)
    { }

    QString uuid; // empty until the server has given one
    QString application; // uuid
    QString version; // of the application
    QString author; // uuid
    QString authorName;
    QString review;
    QDateTime createdOn;
    QDateTime updatedOn;
    QString tempUuid; // "temp-…" while it is being sent as new, else empty
};

} // namespace Store

Q_DECLARE_METATYPE(Store::Review::ConstPtr)
