#include "keyfile.h"

namespace {

QList<QByteArray> takeNames(gchar **names)
{
    QList<QByteArray> taken;
    for (gchar **name = names; name && *name; ++name)
        taken.append(QByteArray(*name));
    g_strfreev(names);
    return taken;
}

} // namespace

KeyFile::KeyFile(const QByteArray &fileName)
    : m_file(g_key_file_new(), &g_key_file_unref)
{
    if (!g_key_file_load_from_file(m_file.get(), fileName.constData(), G_KEY_FILE_KEEP_TRANSLATIONS,
                                   nullptr))
        m_file.reset(g_key_file_new()); // nothing of a file that breaks off half-way
}

QList<QByteArray> KeyFile::groups() const
{
    return takeNames(g_key_file_get_groups(m_file.get(), nullptr));
}

QList<QByteArray> KeyFile::keys(const QByteArray &group) const
{
    return takeNames(g_key_file_get_keys(m_file.get(), group.constData(), nullptr, nullptr));
}

QByteArray KeyFile::value(const QByteArray &group, const QByteArray &key) const
{
    gchar *text = g_key_file_get_string(m_file.get(), group.constData(), key.constData(), nullptr);
    if (!text)
        text = g_key_file_get_value(m_file.get(), group.constData(), key.constData(), nullptr);
    QByteArray value(text);
    g_free(text);
    return value;
}
