#include "json.h"

#include <QJsonDocument>
#include <QJsonParseError>

namespace Store {

namespace {

/** Walks @p path through nested objects. @return false if a step is missing or no object. */
bool walk(QVariantMap map, QStringList path, QVariant *result)
{
    while (!path.isEmpty()) {
        const auto found = map.constFind(path.takeFirst());
        if (found == map.constEnd())
            return false;
        if (path.isEmpty()) {
            *result = *found;
            return true;
        }
        if (found->type() != QVariant::Map)
            return false;
        map = found->toMap();
    }
    return false;
}

} // namespace

Json::Json(const QByteArray &data)
{
    QJsonParseError parseError;
    const QVariant content = QJsonDocument::fromJson(data, &parseError).toVariant();
    if (parseError.error != QJsonParseError::NoError) {
        errorString = parseError.errorString();
        return;
    }
    map = content.toMap();
    if (!map.contains(QStringLiteral("error_message")))
        valid = true;
    else
        errorString = map.value(QStringLiteral("traceback")).toString();
}

Json::Json(const QVariant &value)
    : valid(value.type() == QVariant::Map)
    , map(value.toMap())
{ }

Json::Json(const QVariantMap &content)
    : valid(true)
    , map(content)
{ }

QVariant Json::value(const QString &key, const QVariant &fallback) const
{
    return map.value(key, fallback);
}

QVariant Json::value(const QStringList &path, const QVariant &fallback) const
{
    QVariant result;
    return walk(map, path, &result) ? result : fallback;
}

bool Json::contains(const QString &key) const
{
    return contains(QStringList{key});
}

bool Json::contains(const QStringList &path) const
{
    QVariant result;
    return walk(map, path, &result);
}

QStringList Json::keys() const
{
    return map.keys();
}

QByteArray Json::toJson() const
{
    return QJsonDocument::fromVariant(map).toJson();
}

} // namespace Store
