#include "dbusconnector.h"

#include "dbusnames.h"
#include "installhandler.h"
#include "notification.h"
#include "orvikstore.h"
#include "packagehandler.h"
#include "service.h"
#include "startupapphelper.h"
#include "theme.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDebug>
#include <QFileInfo>
#include <QJSValue>
#include <QSettings>

namespace {

const QLatin1String deviceLockSettings("/usr/share/pavilion/devicelock/devicelock_settings.conf");
const QLatin1String sideLoadingKey("/desktop/tesk/devicelock/sideloading_allowed");
const QLatin1String privilegedGroup("privileged");
constexpr int ambienceCoverSize = 270; // pixels, both ways

// A map of D-Bus properties as QtDBus hands it over. What has another type on the wire is
// not touched, since demarshalling does not survive it.
QVariantMap toProperties(const QVariant &value)
{
    if (value.userType() != qMetaTypeId<QDBusArgument>())
        return {};
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != QLatin1String("a{sv}"))
        return {};
    return qdbus_cast<QVariantMap>(argument);
}

} // namespace

DBusConnector::DBusConnector(const QStringList &arguments, QObject *parent)
    : QObject(parent)
    , m_arguments(arguments)
{
    acquireService();
    if (!m_service)
        return;
    QDBusConnection::systemBus().connect(
        DBusNames::BackplateService, DBusNames::BackplatePath, DBusNames::PropertiesInterface,
        DBusNames::PropertiesChanged, this, SLOT(propertiesChanged(QDBusMessage)));
    QDBusConnection::sessionBus().connect(
        DBusNames::LauncherService, DBusNames::LauncherPath, DBusNames::LauncherInterface,
        DBusNames::ShowUpdatingProgress, this, SLOT(showUpdatingRequested(QDBusMessage)));
}

DBusConnector::~DBusConnector()
{
    QDBusConnection::sessionBus().unregisterService(DBusNames::Service);
    // What the handlers say on their way out reaches nobody: half of this is gone by then.
    if (m_packageHandler)
        m_packageHandler->disconnect(this);
    if (m_store)
        m_store->disconnect(this);
    delete m_startupAppHelper;
}

void DBusConnector::acquireService()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        qWarning() << Q_FUNC_INFO << "Could not connect to session bus.";
        return;
    }
    if (!bus.registerService(DBusNames::Service)) {
        qWarning() << Q_FUNC_INFO << "Service name is already in use:" << DBusNames::Service;
        return;
    }
    m_service = new Service(this);
    if (!bus.registerObject(DBusNames::Path, this, QDBusConnection::ExportAdaptors))
        qDebug() << "Failed to register service object:" << DBusNames::Path;
}

bool DBusConnector::hasService() const
{
    return m_service != nullptr;
}

bool DBusConnector::isBusy() const
{
    return !m_pendingPackages.isEmpty() || m_startupAppHelper
        || m_pendingCredentialsReply.type() != QDBusMessage::InvalidMessage;
}

void DBusConnector::setPackageHandler(const QSharedPointer<PackageHandler> &packageHandler)
{
    m_packageHandler = packageHandler;
    const PackageHandler *handler = m_packageHandler.data();
    connect(handler, &PackageHandler::packageStatusChanged, this,
            &DBusConnector::slotPackageStatusChanged);
    connect(handler, &PackageHandler::progressChanged, this,
            &DBusConnector::slotPackageProgressChanged);
    if (!m_service)
        return;
    connect(handler, &PackageHandler::error, m_service, &Service::packageError);
    connect(handler, &PackageHandler::sideloadingError, m_service, &Service::packageError);
    connect(handler, &PackageHandler::checkInstalledResult, m_service,
            &Service::checkInstalledResult);
    connect(handler, &PackageHandler::packageNameResult, m_service, &Service::packageNameResult);
}

void DBusConnector::releasePackageHandler()
{
    if (m_packageHandler) {
        m_packageHandler->disconnect(this);
        if (m_service)
            m_packageHandler->disconnect(m_service);
    }
    m_packageHandler.clear();
}

void DBusConnector::setStore(const QSharedPointer<OrvikStore> &store)
{
    m_store = store;
    connect(m_store.data(), &OrvikStore::packageResolved, this,
            &DBusConnector::slotPackageResolved);
}

void DBusConnector::setInstallHandler(const QSharedPointer<InstallHandler> &installHandler)
{
    m_installHandler = installHandler;
}

void DBusConnector::processArguments()
{
    const QString command = m_arguments.value(0);
    const bool hasOperand = m_arguments.size() > 1;
    const QString operand = m_arguments.value(1);
    if (command == QLatin1String("show"))
        show();
    else if (command == QLatin1String("showApp") && hasOperand)
        showApp(operand);
    else if (command == QLatin1String("install") && hasOperand)
        install(operand);
    else if (command == QLatin1String("update"))
        update();
    else if (command == QLatin1String("upgrade"))
        upgrade();
    else if (command == QLatin1String("osupdate-set") && hasOperand)
        osUpdateSet(operand);
    else if (command == QLatin1String("osupdate-check"))
        checkForOsUpdate(true, false);
}

/**
 * Calls @p method of the service if this process is a forwarder, and waits for the answer,
 * so that the call has been carried out when the process ends.
 * @return false in the service, which has to do the work itself.
 */
template <typename... Arguments>
bool DBusConnector::forward(QLatin1String method, const Arguments &...arguments)
{
    if (m_service)
        return false;
    // A proxy object would first ask for the service's introspection and its owner, which
    // takes longer than the call.
    QDBusMessage call = QDBusMessage::createMethodCall(DBusNames::Service, DBusNames::Path,
                                                       DBusNames::Interface, method);
    call.setArguments({QVariant::fromValue(arguments)...});
    QDBusConnection::sessionBus().call(call);
    return true;
}

void DBusConnector::show()
{
    if (forward(QLatin1String("show")))
        return;
    Q_EMIT showRequest();
    Q_EMIT storeRequest();
}

void DBusConnector::showApp(const QString &packageName)
{
    if (forward(QLatin1String("showApp"), packageName))
        return;
    Q_EMIT showRequest();
    Q_EMIT showAppRequest(packageName);
}

void DBusConnector::showAppsStartingWith(const QString &startsWith, const QString &title)
{
    if (forward(QLatin1String("showAppsStartingWith"), startsWith, title))
        return;
    Q_EMIT showRequest();
    Q_EMIT showAppsStartingWithRequest(startsWith, title);
}

void DBusConnector::update()
{
    if (forward(QLatin1String("update")))
        return;
    Q_EMIT showRequest();
    Q_EMIT updateRequest();
}

void DBusConnector::upgrade()
{
    if (!forward(QLatin1String("upgrade")))
        Q_EMIT osUpdateRequest(QString());
}

void DBusConnector::osUpdateSet(const QString &version)
{
    if (!forward(QLatin1String("osUpdateSet"), version))
        Q_EMIT osUpdateRequest(version);
}

void DBusConnector::checkForOsUpdate(bool refreshCache, bool forced)
{
    if (!forward(QLatin1String("checkForOsUpdate"), refreshCache, forced))
        Q_EMIT checkForOsUpdateRequest(refreshCache, forced);
}

void DBusConnector::clearOsUpdateCheckCache()
{
    if (!forward(QLatin1String("clearOsUpdateCheckCache")))
        Q_EMIT clearOsUpdateCheckCacheRequest();
}

void DBusConnector::install(const QString &packageName)
{
    if (forward(QLatin1String("install"), packageName))
        return;
    const QSettings settings(deviceLockSettings, QSettings::IniFormat);
    if (settings.value(sideLoadingKey, QStringLiteral("0")).toInt() != 0) {
        Q_EMIT ensureUiRequest();
        Q_EMIT installRequest(packageName);
        return;
    }
    Notification notification;
    notification.setCategory(NotificationCategory::Error);
    notification.setPreviewBody(qtTrId("orvik-store-no-sideloading_disabled"));
    notification.publish();
}

bool DBusConnector::isCallerPrivileged()
{
    if (!calledFromDBus())
        return true;
    const QDBusConnectionInterface *bus = connection().interface();
    const uint pid = bus ? bus->servicePid(message().service()).value() : 0;
    const QFileInfo process(QStringLiteral("/proc/%1").arg(pid));
    if (process.group() == privilegedGroup || process.owner() == QLatin1String("root"))
        return true;
    sendErrorReply(QDBusError::AccessDenied,
                   QStringLiteral("PID %1 is not in privileged group").arg(pid));
    return false;
}

void DBusConnector::backplateConnected(const QString &id)
{
    Q_EMIT ensureUiRequest();
    Q_EMIT backplateConnectedRequest(id);
}

void DBusConnector::downloadOsUpdate(const QString &version)
{
    if (!m_store || !m_packageHandler)
        return;
    if (m_store->isOnline()) {
        m_packageHandler->downloadOsUpdate(version);
        return;
    }
    connect(m_store.data(), &OrvikStore::onlineStatusChanged, this,
            &DBusConnector::slotOnlineStatusChangedForDownloadUpgrade, Qt::UniqueConnection);
    m_pendingOsVersion = version;
    m_store->tryGoOnline();
}

void DBusConnector::getOsUpdateSize(const QString &version)
{
    qDebug() << Q_FUNC_INFO;
    if (!m_store || !m_packageHandler)
        return;
    if (m_store->isOnline()) {
        m_packageHandler->getOsUpdateSize(version);
        return;
    }
    connect(m_store.data(), &OrvikStore::onlineStatusChanged, this,
            &DBusConnector::slotOnlineStatusChangedForOsUpdateSize, Qt::UniqueConnection);
    m_pendingOsVersion = version;
    m_store->tryGoOnline();
}

void DBusConnector::installAccountType(const QString &accountType)
{
    if (!m_service || !m_packageHandler || !m_installHandler)
        return;
    const QStringList packages = m_packageHandler->packagesForAccountType(accountType);
    for (const QString &package : packages)
        installPackage(package);
}

void DBusConnector::checkInstalled(const QString &packageName)
{
    if (m_packageHandler)
        m_packageHandler->checkInstalled(packageName);
}

void DBusConnector::installPackage(const QString &packageName)
{
    if (!m_service || !m_installHandler)
        return;
    m_pendingPackages.insert(packageName, InstallRequested);
    m_installHandler->installByPackageName(packageName);
}

void DBusConnector::removePackage(const QString &packageName, bool autoRemove)
{
    if (!m_service || !m_packageHandler)
        return;
    m_pendingPackages.insert(packageName, RemovalRequested);
    m_packageHandler->uninstall(packageName, autoRemove, QJSValue());
}

void DBusConnector::removePackageByDesktopFile(const QString &desktopFile)
{
    if (m_packageHandler)
        m_packageHandler->uninstallByDesktopFile(desktopFile);
}

void DBusConnector::packageName(const QString &filePath)
{
    if (m_packageHandler)
        m_packageHandler->resolvePackageName(filePath);
}

void DBusConnector::startupApplications(const QStringList &providerList)
{
    if (m_startupAppHelper || !m_store || !m_packageHandler)
        return;
    m_startupAppHelper = new StartupAppHelper(m_packageHandler, m_store);
    connect(m_startupAppHelper, &StartupAppHelper::startupApplicationsReceived, this,
            &DBusConnector::slotStartupApplicationsReceived);
    m_startupAppHelper->fetchStartupApplications(providerList);
}

void DBusConnector::storeCredentials(const QDBusMessage &message)
{
    qDebug() << Q_FUNC_INFO;
    if (!m_service || !m_store)
        return;
    message.setDelayedReply(true);
    m_pendingCredentialsReply = message.createReply(QVariantList());
    if (sendStoreCredentials())
        return;
    connect(m_store.data(), &OrvikStore::connectionStateChanged, this,
            &DBusConnector::slotConnectionStateChangedForStoreCredentials);
    m_store->tryConnect();
}

void DBusConnector::packageInfo(const QString &packageName)
{
    if (!m_store)
        return;
    const QString uuid = m_store->cachedApplicationUuid(packageName);
    if (!uuid.isEmpty()) {
        sendPackageInfo(m_store->application(uuid));
        return;
    }
    m_pendingPackageInfo.insert(packageName);
    m_store->resolvePackage(packageName);
}

void DBusConnector::publishOsUpdateStatus(int status)
{
    if (!m_service)
        return;
    Q_EMIT m_service->osUpdateStatusChanged(status);
    if (status != OsUpdateOffered || !m_packageHandler)
        return;
    const int progress = m_packageHandler->upgradeProgress();
    if (progress != 0)
        Q_EMIT m_service->osUpdateProgressChanged(progress);
}

void DBusConnector::publishOsUpdateProgress(int progress)
{
    if (m_service)
        Q_EMIT m_service->osUpdateProgressChanged(progress);
}

void DBusConnector::publishOsUpdateInfo(const OsInfo &osInfo)
{
    if (!m_service)
        return;
    Q_EMIT m_service->osUpdateInfo(osInfo.version, osInfo.codeName, osInfo.summary, osInfo.cover,
                                   osInfo.website, osInfo.lastChecked, osInfo.downloadSize,
                                   osInfo.installSize, osInfo.removeSize);
}

void DBusConnector::installingAmbience(const QString &filePath, const QString &displayName,
                                       const QString &coverImage)
{
    if (!m_service || !m_store)
        return;
    Q_EMIT m_service->installingAmbience(
        filePath, displayName,
        m_store->scaledImageUrl(coverImage, ambienceCoverSize, ambienceCoverSize));
}

void DBusConnector::installedAmbience(const QString &packagePath, const QString &bkpId)
{
    if (m_service)
        Q_EMIT m_service->installedAmbience(packagePath, bkpId);
}

void DBusConnector::cancelledAmbience(const QString &filePath)
{
    if (m_service)
        Q_EMIT m_service->cancelledAmbience(filePath);
}

void DBusConnector::propertiesChanged(QDBusMessage message)
{
    const QVariantList arguments = message.arguments();
    if (arguments.value(0).toString() != DBusNames::BackplateService) {
        qWarning() << Q_FUNC_INFO << "PropertiesChanged from a wrong service"
                   << message.interface();
        return;
    }
    const QVariantMap properties = toProperties(arguments.value(1));
    const auto ready = properties.constFind(QStringLiteral("Ready"));
    if (ready != properties.constEnd() && ready->toInt() == 0)
        Q_EMIT backplateDisconnectedRequest();
}

void DBusConnector::showUpdatingRequested(QDBusMessage message)
{
    if (!m_packageHandler || message.arguments().size() != 1)
        return;
    const QString package = message.arguments().constFirst().toString();
    if (m_packageHandler->packageStatus(package) > StatusInstalled)
        showApp(package);
}

void DBusConnector::slotPackageStatusChanged(QString package)
{
    if (!m_packageHandler)
        return;
    const int status = m_packageHandler->packageStatus(package);
    if (m_service)
        Q_EMIT m_service->packageStatusChanged(package, status);
    // Queueing an install passes through the status that the package had before, so an
    // install counts as decided only after its progress has reached the end.
    const auto pending = m_pendingPackages.constFind(package);
    if (pending == m_pendingPackages.constEnd() || pending.value() == InstallRequested)
        return;
    if (status != StatusNone && status != StatusInstalled)
        return;
    if (!m_service)
        return;
    if (m_pendingPackages.take(package) == InstallProgressDone)
        Q_EMIT m_service->installPackageResult(package, status == StatusInstalled);
    else
        Q_EMIT m_service->removePackageResult(package, status == StatusNone);
}

void DBusConnector::slotPackageProgressChanged(QString package, int value)
{
    if (m_service)
        Q_EMIT m_service->packageProgressChanged(package, value);
    const auto pending = m_pendingPackages.find(package);
    if (value == 100 && pending != m_pendingPackages.end() && pending.value() == InstallRequested)
        pending.value() = InstallProgressDone;
}

void DBusConnector::slotStartupApplicationsReceived(QList<StartupAppData> applications)
{
    Q_EMIT m_service->startupApplicationsResult(applications);
    m_startupAppHelper->deleteLater();
    m_startupAppHelper = nullptr;
}

void DBusConnector::slotConnectionStateChangedForStoreCredentials()
{
    if (sendStoreCredentials()) {
        disconnect(m_store.data(), &OrvikStore::connectionStateChanged, this,
                   &DBusConnector::slotConnectionStateChangedForStoreCredentials);
    }
}

void DBusConnector::slotOnlineStatusChangedForDownloadUpgrade()
{
    if (!m_store || !m_store->isOnline() || m_pendingOsVersion.isEmpty())
        return;
    // Stays connected, which without a pending version does nothing.
    if (m_packageHandler)
        m_packageHandler->downloadOsUpdate(m_pendingOsVersion);
    m_pendingOsVersion.clear();
}

void DBusConnector::slotOnlineStatusChangedForOsUpdateSize()
{
    if (!m_store || !m_store->isOnline() || m_pendingOsVersion.isEmpty())
        return;
    if (m_packageHandler)
        m_packageHandler->getOsUpdateSize(m_pendingOsVersion);
    m_pendingOsVersion.clear();
}

void DBusConnector::slotPackageResolved(QString packageName, QString uuid)
{
    if (!m_pendingPackageInfo.contains(packageName))
        return;
    sendPackageInfo(m_store->application(uuid));
    m_pendingPackageInfo.remove(packageName);
}

bool DBusConnector::sendStoreCredentials()
{
    switch (m_store->connectionState()) {
    case OrvikStore::Authorized:
    case OrvikStore::Connecting:
    case OrvikStore::Ready:
        break;
    default:
        return false;
    }
    if (m_pendingCredentialsReply.type() == QDBusMessage::InvalidMessage)
        return true;
    m_pendingCredentialsReply << m_store->accountName() << m_store->accessToken();
    QDBusConnection::sessionBus().send(m_pendingCredentialsReply);
    m_pendingCredentialsReply = QDBusMessage();
    return true;
}

void DBusConnector::sendPackageInfo(const Store::Application::ConstPtr &app)
{
    if (!m_service)
        return;
    const int size = int(Vitrex::Theme::iconSizeLauncher());
    Q_EMIT m_service->packageInfoResult(app->packageName, app->title,
                                        m_store->scaledImageUrl(app->icon, size, size));
}
