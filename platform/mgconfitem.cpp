#include "mgconfitem.h"

#include <dconf.h>

#include <memory>

namespace {

QVariant textList(GVariant *value)
{
    QStringList list;
    gsize count = 0;
    const gchar **entries = g_variant_get_strv(value, &count); // the array alone is ours
    for (gsize i = 0; i < count; ++i)
        list.append(QString::fromUtf8(entries[i]));
    g_free(entries);
    return list;
}

/** The value in the toolkit's terms, invalid if its type is none of those in use. */
QVariant toVariant(GVariant *value)
{
    switch (g_variant_classify(value)) {
    case G_VARIANT_CLASS_BOOLEAN:
        return g_variant_get_boolean(value) != FALSE;
    case G_VARIANT_CLASS_BYTE:
        return int(g_variant_get_byte(value));
    case G_VARIANT_CLASS_INT16:
        return int(g_variant_get_int16(value));
    case G_VARIANT_CLASS_UINT16:
        return int(g_variant_get_uint16(value));
    case G_VARIANT_CLASS_INT32:
        return int(g_variant_get_int32(value));
    case G_VARIANT_CLASS_UINT32:
        return uint(g_variant_get_uint32(value));
    case G_VARIANT_CLASS_INT64:
        return qlonglong(g_variant_get_int64(value));
    case G_VARIANT_CLASS_UINT64:
        return qulonglong(g_variant_get_uint64(value));
    case G_VARIANT_CLASS_DOUBLE:
        return g_variant_get_double(value);
    case G_VARIANT_CLASS_STRING:
        return QString::fromUtf8(g_variant_get_string(value, nullptr));
    case G_VARIANT_CLASS_ARRAY:
        if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING_ARRAY))
            return textList(value);
        return {};
    default:
        return {};
    }
}

} // namespace

MGConfItem::MGConfItem(const QString &key, QObject *parent)
    : QObject(parent)
    , m_key(key)
{ }

QString MGConfItem::key() const
{
    return m_key;
}

QVariant MGConfItem::value(const QVariant &fallback) const
{
    const QByteArray key = m_key.toUtf8();
    if (!dconf_is_key(key.constData(), nullptr))
        return fallback;
    const std::unique_ptr<DConfClient, decltype(&g_object_unref)> client(dconf_client_new(),
                                                                         &g_object_unref);
    GVariant *stored = dconf_client_read(client.get(), key.constData());
    if (!stored)
        return fallback;
    const QVariant value = toVariant(stored);
    g_variant_unref(stored);
    return value.isValid() ? value : fallback;
}
