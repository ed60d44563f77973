#include "installhandler.h"

#include "contentmodel.h"
#include "dbusnames.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "theme.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDebug>
#include <QJSValue>

namespace {

// Begins the uuid of applications that only this device knows.
const QLatin1String localPrefix("local-");

} // namespace

InstallHandler::InstallHandler(const QSharedPointer<PackageHandler> &packageHandler,
                               const QSharedPointer<OrvikStore> &store,
                               const QSharedPointer<ContentModel> &installedModel, QObject *parent)
    : QObject(parent)
    , m_launcherModel(new QDBusInterface(DBusNames::LauncherService, DBusNames::LauncherPath,
                                         DBusNames::LauncherInterface,
                                         QDBusConnection::sessionBus(), this))
    , m_packageHandler(packageHandler)
    , m_store(store)
    , m_installedModel(installedModel)
{
    connect(m_packageHandler.data(), &PackageHandler::packageStatusChanged, this,
            &InstallHandler::slotPackageStatusChanged);
    connect(m_packageHandler.data(), &PackageHandler::installFailed, this,
            &InstallHandler::slotInstallFailed);
    connect(m_packageHandler.data(), &PackageHandler::sideLoadingFinished, this,
            &InstallHandler::slotSideLoadingFinished);
    connect(m_store.data(), &OrvikStore::packageResolved, this,
            &InstallHandler::slotPackageResolved);
    connect(m_store.data(), &OrvikStore::connectionStateChanged, this,
            &InstallHandler::slotConnectionStateChanged);
}

void InstallHandler::install(const QString &uuid, const QString &packageName)
{
    const bool isLocal = uuid.startsWith(localPrefix);
    if (!isLocal && !isStoreReady()) {
        m_pendingPackages.append(packageName);
        m_store->tryConnect();
        return;
    }
    m_installing.insert(packageName, uuid);
    const auto app = m_store->application(uuid);
    const int size = int(Vitrex::Theme::iconSizeLauncher());
    announceStart(packageName, app->title, m_store->scaledImageUrl(app->icon, size, size),
                  QString());
    if (uuid.isEmpty()) {
        qWarning() << "Trying to install package with no application uuid: " << packageName;
    } else if (!isLocal) {
        m_installedModel->addApplication(uuid);
        m_store->postStoreInstalled(uuid);
    }
    m_packageHandler->install(packageName, QJSValue());
}

void InstallHandler::installByPackageName(const QString &packageName)
{
    if (!isStoreReady()) {
        m_pendingPackages.append(packageName);
        m_store->tryConnect();
        return;
    }
    m_resolvingPackages.insert(packageName);
    m_store->resolvePackage(packageName);
}

void InstallHandler::slotPackageStatusChanged(QString packageName)
{
    switch (m_packageHandler->packageStatus(packageName)) {
    case StatusUpdating:
        m_updating.insert(packageName);
        announceStart(packageName);
        break;
    case StatusUninstalling:
        m_uninstalling.insert(packageName, false);
        announceStart(packageName);
        break;
    case StatusNone:
        handleRemoved(packageName);
        break;
    case StatusInstalled:
        handleInstalled(packageName);
        break;
    default: // a first install is announced by install(), which knows its label and icon
        break;
    }
}

void InstallHandler::slotPackageResolved(QString packageName, QString uuid)
{
    if (m_resolvingPackages.remove(packageName)) {
        install(uuid, packageName);
    } else if (m_uninstalling.remove(packageName) > 0) {
        if (!uuid.isEmpty())
            m_store->postStoreUninstalled(uuid);
    }
}

void InstallHandler::slotInstallFailed(QString packageName)
{
    m_installing.remove(packageName);
    announceEnd(packageName);
}

void InstallHandler::slotSideLoadingFinished(QString packageName, bool)
{
    if (m_installing.remove(packageName) > 0)
        announceEnd(packageName);
}

void InstallHandler::slotConnectionStateChanged()
{
    if (!isStoreReady())
        return;
    // Both walks are over copies: a name can be put off again, and an answer that the store
    // has at hand comes from within the call.
    QStringList names;
    names.swap(m_pendingPackages);
    for (const QString &name : qAsConst(names))
        installByPackageName(name);
    const QStringList removed = m_uninstalling.keys(true);
    for (const QString &name : removed)
        m_store->resolvePackage(name);
}

bool InstallHandler::isStoreReady() const
{
    return m_store->connectionState() == OrvikStore::Ready;
}

void InstallHandler::announceStart(const QString &packageName)
{
    const QStringList desktopFiles = m_packageHandler->packageDesktopFiles(packageName);
    for (const QString &desktopFile : desktopFiles)
        announceStart(packageName, QString(), QString(), desktopFile);
}

void InstallHandler::announceStart(const QString &packageName, const QString &label,
                                   const QString &icon, const QString &desktopFile)
{
    m_launcherModel->call(QDBus::Block, QStringLiteral("updatingStarted"), packageName, label, icon,
                          desktopFile);
}

void InstallHandler::announceEnd(const QString &packageName)
{
    m_launcherModel->call(QDBus::Block, QStringLiteral("updatingFinished"), packageName);
}

void InstallHandler::handleRemoved(const QString &packageName)
{
    if (!m_uninstalling.contains(packageName))
        return;
    if (!m_store->isOnline()) {
        m_uninstalling.remove(packageName);
        qWarning() << "Device offline, could not inform store backend about uninstallation of"
                   << packageName;
    } else {
        m_uninstalling.insert(packageName, true);
        if (isStoreReady())
            m_store->resolvePackage(packageName);
        else
            m_store->tryConnect();
    }
    announceEnd(packageName);
}

void InstallHandler::handleInstalled(const QString &packageName)
{
    const auto installing = m_installing.constFind(packageName);
    if (installing != m_installing.constEnd()) {
        if (!installing.value().isEmpty())
            m_store->updateInstalledOn(QString(installing.value()));
        m_installing.remove(packageName);
    } else if (!m_updating.remove(packageName) && m_uninstalling.remove(packageName) == 0) {
        return;
    }
    announceEnd(packageName);
}
