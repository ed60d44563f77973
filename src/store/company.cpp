#include "company.h"

namespace Store {

QVariantMap Company::toMap() const
{
    return {
        {QStringLiteral("uuid"), uuid},
        {QStringLiteral("name"), name},
        {QStringLiteral("vatNumber"), vatNumber},
        {QStringLiteral("country"), country},
        {QStringLiteral("web"), url},
    };
}

} // namespace Store
