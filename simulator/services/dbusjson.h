#pragma once

#include <QJsonArray>
#include <QJsonValue>
#include <QVariant>

/** Values of a D-Bus message as JSON, for the record of what was said. */
namespace DBusJson {

[[nodiscard]] QJsonValue fromVariant(const QVariant &value);
[[nodiscard]] QJsonArray fromList(const QVariantList &values);

} // namespace DBusJson
