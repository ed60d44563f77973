#include "cachedirectory.h"
#include "contentmodel.h"
#include "dbusconnector.h"
#include "dbusnames.h"
#include "kioskclient.h"
#include "mgconfitem.h"
#include "orvikstore.h"
#include "osrelease.h"
#include "osupdatecheckpolicy.h"
#include "packagehandler.h"
#include "rdm.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTimer>

namespace {

const QLatin1String osReleaseFile("/etc/os-release");
const QLatin1String cachedOsInfoFile("os-info");
const QLatin1String privilegedGroup("privileged");
const QLatin1String checkMethodKey("/apps/kiosk-client/settings/os_update_check_method");
const QLatin1String defaultCover("/usr/share/kiosk-client/graphics/Branwick-OS-update-promo.jpg");
constexpr int downloadComplete = 100; // percent

QString cachedOsInfoPath()
{
    return cacheDirectory().filePath(cachedOsInfoFile);
}

bool isDeviceWithoutIsolation()
{
    return (Rdm().deviceMode() & Rdm::DeviceModeNoIsolation) != 0;
}

// A size that stays as it was known, or as not known.
qint64 knownSize(qint64 size)
{
    return size < 1 ? -1 : size;
}

} // namespace

void KioskClient::retrieveOsVersionAndDomain()
{
    OsRelease release;
    QFile file(osReleaseFile);
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning() << "Could not open /etc/os-release for reading. Store may fail to serve you "
                      "some of the content.";
    } else {
        release = readOsRelease(file);
        if (release.version.isEmpty()) {
            qWarning() << "Could not find OS version in /etc/os-release. Store may fail to serve "
                          "you some of the content.";
        }
    }
    m_osCodeName = release.codeName;
    m_store->setOsVersion(normalizeOsVersion(release.version));
    m_store->setDomain(Rdm().domain());
}

void KioskClient::slotRdmRegistrationChanged()
{
    const QString domain = Rdm().domain();
    qDebug() << Q_FUNC_INFO << domain;
    m_store->setDomain(domain);
}

bool KioskClient::readCachedOsInfo()
{
    const QFileInfo file(cachedOsInfoPath());
    if (!file.exists())
        return false;
    if (file.group() != privilegedGroup) {
        qWarning() << "Fake OS info cache detected!";
        QFile::remove(file.filePath());
        return false;
    }
    m_osInfo = readOsInfo(QSettings(file.filePath(), QSettings::IniFormat));
    return true;
}

void KioskClient::writeCachedOsInfo()
{
    OsInfo info = m_osInfo;
    info.downloaded = m_packageHandler->upgradeProgress() == downloadComplete;
    QSettings cache(cachedOsInfoPath(), QSettings::IniFormat);
    writeOsInfo(cache, info);
    cache.sync();
}

void KioskClient::slotUpgradeInstalled()
{
    if (QFileInfo::exists(cachedOsInfoPath()))
        QFile::remove(cachedOsInfoPath());
}

void KioskClient::checkForUpdate()
{
    if (m_packageHandler->upgradeProgress() >= 1) {
        qDebug() << "System update already in progress. Check request ignored.";
        m_updateCheckStage = UpdateCheckDone;
        return;
    }
    if (m_updateCheckStage != UpdateCheckRunning)
        m_updateCheckStage = UpdateCheckDone;
    if (!isStoreReady() || !m_store->isOnline()) {
        m_checkAfterConnect = true;
        m_store->tryConnect();
        return;
    }
    m_checkAfterConnect = false;
    if (isDeviceWithoutIsolation())
        m_packageHandler->checkForOsUpdate(true);
    else
        m_store->checkForOsUpdate();
}

void KioskClient::runDeferredUpdateWork()
{
    if (!isStoreReady() || !m_store->isOnline())
        return;
    if (m_updateCheckStage == UpdateCheckIdle) {
        m_updateCheckStage = UpdateCheckRunning;
        checkForUpdate();
    } else if (m_updateCheckStage == UpdateSizeDeferred) {
        m_updateCheckStage = UpdateSizeRunning;
        m_packageHandler->getOsUpdateSize(m_osInfo.version);
    }
}

void KioskClient::slotCheckForOsUpdate(bool refreshCache, bool forced)
{
    if (!refreshCache
        || m_packageHandler->distUpgradeStatus() == PackageHandler::DistUpgradeCheckingSize) {
        publishOsUpdateInfo();
        return;
    }
    OsUpdateCheckSituation situation;
    situation.uiActive = isUiActive();
    situation.connectionActive = m_store->isConnectionActive();
    situation.bearer = m_store->bearerType();
    situation.method = MGConfItem(checkMethodKey).value(CheckOnWlanOrEthernet).toInt();
    situation.forced = forced;
    if (!shouldCheckForOsUpdate(situation)) {
        publishOsUpdateInfo();
        return;
    }
    if (m_inactivityTimer->isActive())
        m_inactivityTimer->start();
    checkForUpdate();
}

void KioskClient::slotOsUpdateInfo(OsInfo osInfo)
{
    const OsInfo old = m_osInfo;
    m_osInfo = osInfo;
    const bool isNew = m_osInfo.version != old.version && !m_osInfo.version.isEmpty();
    if (m_osInfo.version == old.version) {
        m_osInfo.downloadSize = knownSize(old.downloadSize);
        m_osInfo.installSize = knownSize(old.installSize);
        m_osInfo.removeSize = knownSize(old.removeSize);
    }
    showSystemUpdateNotification(m_osInfo.version);
    publishOsUpdateInfo();
    writeCachedOsInfo();
    if (!isNew || !m_store->isOnline())
        return;
    if (m_updateCheckStage == UpdateCheckRunning) {
        if (isUiActive()) {
            m_updateCheckStage = UpdateSizeDeferred;
            return;
        }
        m_updateCheckStage = UpdateSizeRunning;
    }
    m_packageHandler->getOsUpdateSize(m_osInfo.version);
}

void KioskClient::slotOsUpdateSize(qlonglong downloadSize, qlonglong installSize,
                                   qlonglong removeSize)
{
    m_osInfo.downloadSize = downloadSize;
    m_osInfo.installSize = installSize;
    m_osInfo.removeSize = removeSize;
    m_updateCheckStage = UpdateCheckDone;
    publishOsUpdateInfo();
    writeCachedOsInfo();
}

void KioskClient::publishOsUpdateInfo()
{
    OsInfo published = m_osInfo;
    if (published.version.isEmpty())
        published.version = m_store->osVersion();
    if (published.codeName.isEmpty())
        published.codeName = m_osCodeName;
    if (published.cover.isEmpty())
        published.cover = defaultCover;
    int status = OsUpdateNone;
    if (m_packageHandler->distUpgradeStatus() == PackageHandler::DistUpgradeCheckingSize)
        status = OsUpdateSizing;
    else if (!m_osInfo.version.isEmpty() && m_osInfo.version != m_store->osVersion())
        status = OsUpdateOffered;
    m_dbusConnector->publishOsUpdateStatus(status);
    m_dbusConnector->publishOsUpdateInfo(published);
}

void KioskClient::slotOsUpdateStatusChanged()
{
    if (m_store->osUpdateStatus() == OrvikStore::OsUpdateChecking)
        m_dbusConnector->publishOsUpdateStatus(OsUpdateBusy);
}

void KioskClient::slotDistUpgradeStatusChanged()
{
    // The others are told along with the offer that follows.
    if (m_packageHandler->distUpgradeStatus() == PackageHandler::DistUpgradePending)
        m_dbusConnector->publishOsUpdateStatus(OsUpdateBusy);
    else if (m_packageHandler->distUpgradeStatus() == PackageHandler::DistUpgradeCheckingSize)
        m_dbusConnector->publishOsUpdateStatus(OsUpdateSizing);
}

void KioskClient::slotUpgradeProgressChanged()
{
    const int progress = m_packageHandler->upgradeProgress();
    m_dbusConnector->publishOsUpdateProgress(progress);
    if (progress == downloadComplete) {
        writeCachedOsInfo();
        showUpgradeDownloadedNotification();
    }
}

void KioskClient::slotOsUpdateUiRequested(QString version)
{
    if (version.isEmpty() || isDeviceWithoutIsolation()) {
        qDebug() << "Requested for an unspecified OS update. Checking for the latest available "
                    "update now.";
        slotCheckForOsUpdate(true, true);
        showBranwickOsSettings();
        return;
    }
    m_updateCheckStage = UpdateCheckDone;
    if (isStoreReady() && m_store->isOnline()) {
        m_store->selectOsUpdate(version);
        showBranwickOsSettings();
        m_pendingOsUpdateVersion.clear();
    } else {
        m_pendingOsUpdateVersion = version;
        m_store->tryConnect();
    }
}

void KioskClient::slotClearOsUpdateCheckCache()
{
    showUpdatesNotification(0, QStringList());
    showSystemUpdateNotification(QString());
    // From here on this run announces nothing more; the cached offer stays for the next one.
    disconnect(m_packageHandler.data(), &PackageHandler::osUpdateInfo, this,
               &KioskClient::slotOsUpdateInfo);
    disconnect(m_store.data(), &OrvikStore::osUpdateInfo, this, &KioskClient::slotOsUpdateInfo);
    disconnect(m_installedModel.data(), &ContentModel::updateCountChanged, this,
               &KioskClient::slotUpdateCountChanged);
}

void KioskClient::showBranwickOsSettings()
{
    QDBusConnection::sessionBus().asyncCall(
        QDBusMessage::createMethodCall(DBusNames::SettingsService, DBusNames::SettingsPath,
                                       DBusNames::SettingsInterface, DBusNames::ShowOsPage));
}
