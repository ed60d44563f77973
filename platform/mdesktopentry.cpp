#include "mdesktopentry.h"

#include "keyfile.h"

#include <QFile>

MDesktopEntry::MDesktopEntry(const QString &fileName)
{
    const KeyFile file(QFile::encodeName(fileName));
    const QList<QByteArray> groups = file.groups();
    for (const QByteArray &group : groups) {
        const QList<QByteArray> keys = file.keys(group);
        for (const QByteArray &key : keys) {
            m_values.insert(QString::fromUtf8(group + '/' + key),
                            QString::fromUtf8(file.value(group, key)));
        }
    }
}

bool MDesktopEntry::contains(const QString &key) const
{
    return m_values.contains(key);
}

QString MDesktopEntry::value(const QString &key) const
{
    return m_values.value(key);
}
