#pragma once

#include <QByteArray>
#include <QStringList>
#include <QVariantMap>

namespace Store {

/**
 * One parsed JSON object with its verdict; every response of the store goes through it. A
 * well-formed object in which the server reports an error counts as invalid.
 */
class Json
{
public:
    Json() = default;
    /** Parses a response. */
    explicit Json(const QByteArray &data);
    /** Wraps an element of a list; valid exactly if it is a map. */
    explicit Json(const QVariant &value);
    /** Wraps the content of a request. */
    explicit Json(const QVariantMap &content);

    /** The value of a key at the top level, or @p fallback. */
    [[nodiscard]] QVariant value(const QString &key, const QVariant &fallback = QVariant()) const;
    /** The value at the end of a path of keys through nested objects, or @p fallback. */
    [[nodiscard]] QVariant value(const QStringList &path,
                                 const QVariant &fallback = QVariant()) const;
    [[nodiscard]] bool contains(const QString &key) const;
    [[nodiscard]] bool contains(const QStringList &path) const;
    [[nodiscard]] QStringList keys() const;

    /** The object as indented JSON text, the form of all request bodies. */
    [[nodiscard]] QByteArray toJson() const;

    bool valid = false; // well-formed, and no error reported
    QVariantMap map;
    QString errorString; // why valid is false
};

} // namespace Store
