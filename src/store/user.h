#pragma once

#include <QMetaType>
#include <QSharedPointer>
#include <QString>
#include <QVariantMap>

namespace Store {

/** A person who is registered with the store. */
struct User
{
    using ConstPtr = QSharedPointer<const User>;

    /** The record as the scene sees it. */
    [[nodiscard]] QVariantMap toMap() const;

    QString uuid;
    QString userName;
    QString firstName;
    QString lastName;
    QString avatar;
    bool ownProfile = false; // the signed-in user
};

} // namespace Store

Q_DECLARE_METATYPE(Store::User::ConstPtr)
