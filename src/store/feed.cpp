#include "feed.h"

namespace Store {

QVariantMap Feed::toMap() const
{
    return {
        {QStringLiteral("uuid"), uuid},
        {QStringLiteral("appUuid"), appUuid},
        {QStringLiteral("cover"), cover},
        {QStringLiteral("icon"), icon},
        {QStringLiteral("createdOn"), createdOn},
        {QStringLiteral("packageName"), packageName},
        {QStringLiteral("version"), version},
        {QStringLiteral("appTitle"), appTitle},
        {QStringLiteral("appUserName"), appUserName},
        {QStringLiteral("appUserUuid"), appUserUuid},
        {QStringLiteral("itemType"), int(itemType)},
        {QStringLiteral("description"), description},
        {QStringLiteral("userName"), userName},
        {QStringLiteral("userUuid"), userUuid},
        {QStringLiteral("collection"), collection},
    };
}

} // namespace Store
