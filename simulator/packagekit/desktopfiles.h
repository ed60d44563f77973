#pragma once

#include "rpmdatabase.h"

#include <QString>

/**
 * Shows the phone which launchers the installed packages brought: keeps the cache of
 * desktop files that the platform reads, and copies the files to where launchers look.
 */
class DesktopFiles final
{
public:
    /**
     * @param root the phone's file system as rpm sees it.
     * @param applications folder that gets the desktop files; empty for none.
     * @param cache path of the SQLite cache; empty for none.
     */
    DesktopFiles(const QString &root, const QString &applications, const QString &cache);

    /** Brings both up to date with what is installed. */
    void publish(const QVector<RpmPackage> &installed);

private:
    void copyFiles(const QVector<RpmPackage> &installed);
    void writeCache(const QVector<RpmPackage> &installed);

    QString m_root;
    QString m_applications;
    QString m_cache;
    QStringList m_copied; ///< names of the files that this object has put into m_applications
};
