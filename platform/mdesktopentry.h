#pragma once

#include <QMap>
#include <QString>

/** A desktop entry file, addressed by "Group/Key". */
class MDesktopEntry
{
public:
    /** Reads @p fileName; a file that can't be read or parsed holds nothing. */
    explicit MDesktopEntry(const QString &fileName);

    [[nodiscard]] bool contains(const QString &key) const;
    /** The value as text, null if the entry doesn't contain @p key. */
    [[nodiscard]] QString value(const QString &key) const;

private:
    QMap<QString, QString> m_values;
};
