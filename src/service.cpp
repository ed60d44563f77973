#include "service.h"

#include "dbusconnector.h"

#include <QDBusMetaType>

Service::Service(DBusConnector *connector)
    : QDBusAbstractAdaptor(connector)
    , m_connector(connector)
{
    qRegisterMetaType<StartupAppData>("StartupAppData");
    qDBusRegisterMetaType<StartupAppData>();
    qDBusRegisterMetaType<QList<StartupAppData>>();
}

void Service::install(const QString &packageName)
{
    if (m_connector->isCallerPrivileged())
        m_connector->install(packageName);
}

void Service::show()
{
    m_connector->show();
}

void Service::showApp(const QString &packageName)
{
    m_connector->showApp(packageName);
}

void Service::showAppsStartingWith(const QString &startsWith, const QString &title)
{
    m_connector->showAppsStartingWith(startsWith, title);
}

void Service::backplateConnected(const QString &id)
{
    if (m_connector->isCallerPrivileged())
        m_connector->backplateConnected(id);
}

void Service::myApps()
{
    m_connector->update();
}

void Service::update()
{
    m_connector->update();
}

void Service::upgrade()
{
    if (m_connector->isCallerPrivileged())
        m_connector->upgrade();
}

void Service::osUpdateSet(const QString &version)
{
    if (m_connector->isCallerPrivileged())
        m_connector->osUpdateSet(version);
}

void Service::checkForOsUpdate(bool refreshCache, bool forced)
{
    if (m_connector->isCallerPrivileged())
        m_connector->checkForOsUpdate(refreshCache, forced);
}

void Service::downloadOsUpdate(const QString &version)
{
    if (m_connector->isCallerPrivileged())
        m_connector->downloadOsUpdate(version);
}

void Service::getOsUpdateSize(const QString &version)
{
    if (m_connector->isCallerPrivileged())
        m_connector->getOsUpdateSize(version);
}

void Service::clearOsUpdateCheckCache()
{
    if (!m_connector->isCallerPrivileged())
        return;
    m_connector->clearOsUpdateCheckCache();
    Q_EMIT osUpdateCheckCacheCleared();
}

void Service::installAccountType(const QString &accountType)
{
    if (m_connector->isCallerPrivileged())
        m_connector->installAccountType(accountType);
}

void Service::checkInstalled(const QString &packageName)
{
    m_connector->checkInstalled(packageName);
}

void Service::installPackage(const QString &packageName)
{
    if (m_connector->isCallerPrivileged())
        m_connector->installPackage(packageName);
}

void Service::removePackage(const QString &packageName, bool autoRemove)
{
    if (m_connector->isCallerPrivileged())
        m_connector->removePackage(packageName, autoRemove);
}

void Service::removePackageByDesktopFile(const QString &desktopFile)
{
    if (m_connector->isCallerPrivileged())
        m_connector->removePackageByDesktopFile(desktopFile);
}

void Service::packageName(const QString &filePath)
{
    if (m_connector->isCallerPrivileged())
        m_connector->packageName(filePath);
}

void Service::startupApplications(const QStringList &providerList)
{
    if (m_connector->isCallerPrivileged())
        m_connector->startupApplications(providerList);
}

void Service::storeCredentials(const QDBusMessage &message)
{
    if (m_connector->isCallerPrivileged())
        m_connector->storeCredentials(message);
}

void Service::packageInfo(const QString &packageName)
{
    if (m_connector->isCallerPrivileged())
        m_connector->packageInfo(packageName);
}
