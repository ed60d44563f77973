#pragma once

#include <QMetaType>
#include <QSharedPointer>
#include <QString>
#include <QVariantMap>

namespace Store {

/** A company that sells applications. */
struct Company
{
    using ConstPtr = QSharedPointer<const Company>;

    /** The record as the scene sees it. */
    [[nodiscard]] QVariantMap toMap() const;

    QString uuid;
    QString name;
    QString vatNumber;
    QString country;
    QString url;
};

} // namespace Store

Q_DECLARE_METATYPE(Store::Company::ConstPtr)
