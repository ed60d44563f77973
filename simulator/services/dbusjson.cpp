#include "dbusjson.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusVariant>
#include <QJsonObject>

namespace {

QJsonValue fromArgument(const QDBusArgument &argument);

QJsonObject fromMap(const QDBusArgument &argument)
{
    QJsonObject object;
    argument.beginMap();
    while (!argument.atEnd()) {
        argument.beginMapEntry();
        const QString key = argument.asVariant().toString();
        object.insert(key, fromArgument(argument));
        argument.endMapEntry();
    }
    argument.endMap();
    return object;
}

QJsonValue fromArgument(const QDBusArgument &argument)
{
    QJsonArray array;
    switch (argument.currentType()) {
    case QDBusArgument::MapType:
        return fromMap(argument);
    case QDBusArgument::ArrayType:
        argument.beginArray();
        while (!argument.atEnd())
            array.append(fromArgument(argument));
        argument.endArray();
        return array;
    case QDBusArgument::StructureType:
        argument.beginStructure();
        while (!argument.atEnd())
            array.append(fromArgument(argument));
        argument.endStructure();
        return array;
    default:
        return DBusJson::fromVariant(argument.asVariant());
    }
}

} // namespace

QJsonValue DBusJson::fromVariant(const QVariant &value)
{
    const int type = value.userType();
    if (type == qMetaTypeId<QDBusArgument>())
        return fromArgument(value.value<QDBusArgument>());
    if (type == qMetaTypeId<QDBusVariant>())
        return fromVariant(value.value<QDBusVariant>().variant());
    if (type == qMetaTypeId<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    if (type == qMetaTypeId<QDBusSignature>())
        return value.value<QDBusSignature>().signature();
    if (type == QMetaType::QVariantList)
        return fromList(value.toList());
    return QJsonValue::fromVariant(value);
}

QJsonArray DBusJson::fromList(const QVariantList &values)
{
    QJsonArray array;
    for (const QVariant &value : values)
        array.append(fromVariant(value));
    return array;
}
