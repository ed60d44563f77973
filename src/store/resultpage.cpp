#include "resultpage.h"

#include "json.h"

namespace Store {

namespace {

QVariant meta(const Json &json, const QString &key)
{
    return json.value(QStringList{QStringLiteral("meta"), key});
}

} // namespace

ResultPage::ResultPage(const Json &json)
{
    if (json.map.isEmpty())
        return;
    if (!json.contains(QStringLiteral("objects"))) {
        objects.append(json.map);
        limit = 1;
        totalCount = 1;
        return;
    }
    objects = json.value(QStringLiteral("objects")).toList();
    next = meta(json, QStringLiteral("next")).toUrl();
    previous = meta(json, QStringLiteral("previous")).toUrl();
    limit = meta(json, QStringLiteral("limit")).toInt();
    offset = meta(json, QStringLiteral("offset")).toInt();
    totalCount = meta(json, QStringLiteral("total_count")).toInt();
}

void ResultPage::clear()
{
    limit = 0;
    offset = 0;
    totalCount = 0;
    next.clear();
    previous.clear();
    objects.clear();
}

} // namespace Store
