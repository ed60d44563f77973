#include "user.h"

namespace Store {

QVariantMap User::toMap() const
{
    return {
        {QStringLiteral("uuid"), uuid},           {QStringLiteral("userName"), userName},
        {QStringLiteral("firstName"), firstName}, {QStringLiteral("lastName"), lastName},
        {QStringLiteral("avatar"), avatar},
    };
}

} // namespace Store
