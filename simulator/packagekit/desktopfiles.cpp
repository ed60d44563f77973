#include "desktopfiles.h"

#include <QCryptographicHash>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

namespace {

const QString connectionName = QStringLiteral("desktop-files");
const QString applicationsPrefix = QStringLiteral("/usr/share/applications/");
// Launchers of Android applications belong to no package: the support service makes them.
const QString launchersPrefix = QStringLiteral("/usr/share/quayside/launchers/");

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

DesktopFiles::DesktopFiles(const QString &root, const QString &applications, const QString &cache)
    : m_root(root)
    , m_applications(applications)
    , m_cache(cache)
{ }

void DesktopFiles::publish(const QVector<RpmPackage> &installed)
{
    if (!m_applications.isEmpty() && QFileInfo(m_applications).isWritable())
        copyFiles(installed);
    if (!m_cache.isEmpty() && QFileInfo(QFileInfo(m_cache).path()).isWritable())
        writeCache(installed);
}

void DesktopFiles::copyFiles(const QVector<RpmPackage> &installed)
{
    const QDir folder(m_applications);
    QStringList copied;
    for (const RpmPackage &package : installed) {
        for (const QString &file : package.files) {
            if (!file.startsWith(applicationsPrefix) && !file.startsWith(launchersPrefix))
                continue;
            const QString name = QFileInfo(file).fileName();
            QFile copy(folder.filePath(name));
            if (copy.open(QIODevice::WriteOnly))
                copy.write(contentOf(m_root + file));
            copied.append(name);
        }
    }
    for (const QString &name : qAsConst(m_copied)) {
        if (!copied.contains(name))
            QFile::remove(folder.filePath(name));
    }
    m_copied = copied;
}

void DesktopFiles::writeCache(const QVector<RpmPackage> &installed)
{
    QSqlDatabase database = QSqlDatabase::contains(connectionName)
        ? QSqlDatabase::database(connectionName)
        : QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName);
    database.setDatabaseName(m_cache);
    if (!database.open()) {
        qWarning().noquote() << "no desktop file cache:" << database.lastError().text();
        return;
    }
    QSqlQuery query(database);
    query.exec(QStringLiteral("PRAGMA synchronous = OFF"));
    database.transaction();
    query.exec(QStringLiteral("CREATE TABLE IF NOT EXISTS cache "
                              "(filename TEXT, package TEXT, show INTEGER, md5 TEXT)"));
    query.exec(QStringLiteral("DELETE FROM cache"));
    query.prepare(QStringLiteral("INSERT INTO cache VALUES (?, ?, ?, ?)"));
    for (const RpmPackage &package : installed) {
        for (const QString &file : package.files) {
            if (!file.startsWith(applicationsPrefix))
                continue;
            const QByteArray content = contentOf(m_root + file);
            query.addBindValue(file);
            query.addBindValue(package.name);
            query.addBindValue(content.contains("NoDisplay=true") ? 0 : 1);
            query.addBindValue(QString::fromLatin1(
                QCryptographicHash::hash(content, QCryptographicHash::Md5).toHex()));
            query.exec();
        }
    }
    database.commit();
    database.close();
}
