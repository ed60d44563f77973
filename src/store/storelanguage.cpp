#include "storelanguage.h"

namespace Store {

QString storeLanguage(const QStringList &uiLanguages)
{
    if (uiLanguages.isEmpty())
        return QStringLiteral("en");
    const QString &best = uiLanguages.first();
    if (best.startsWith(QLatin1String("zh-")))
        return best.toLower();
    return best.section(QLatin1Char('-'), 0, 0);
}

} // namespace Store
