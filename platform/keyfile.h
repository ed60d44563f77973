#pragma once

#include <QByteArray>
#include <QList>

#include <glib.h>

#include <memory>

/** A parsed file of groups with keys and values, as desktop entries are written. */
class KeyFile
{
public:
    /** Reads @p fileName; a file that can't be read or parsed holds nothing. */
    explicit KeyFile(const QByteArray &fileName);

    [[nodiscard]] QList<QByteArray> groups() const;
    [[nodiscard]] QList<QByteArray> keys(const QByteArray &group) const;

    /**
     * The text of @p key with its escapes resolved, or as it is written where they are
     * wrong; null if the file doesn't hold the key.
     */
    [[nodiscard]] QByteArray value(const QByteArray &group, const QByteArray &key) const;

private:
    std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)> m_file;
};
