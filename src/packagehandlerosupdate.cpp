// The OS update side of the package handler: is there one, what would it cost, download it
// without getting in the way of anything else, install it.

#include "packagehandler.h"

#include "package/transaction.h"
#include "rdm.h"

#include <QDateTime>
#include <QDebug>

using Package::Transaction;

PackageHandler::DistUpgradeStatus PackageHandler::distUpgradeStatus() const
{
    return m_distUpgradeStatus;
}

QString PackageHandler::upgradeVersion() const
{
    return m_upgradeInfo->version;
}

QString PackageHandler::upgradeSummary() const
{
    return m_upgradeInfo->summary;
}

int PackageHandler::upgradeProgress() const
{
    return m_upgradeProgress;
}

void PackageHandler::setUpgradeProgress(int value)
{
    m_upgradeProgress = value;
}

void PackageHandler::setDistUpgradeStatus(DistUpgradeStatus status)
{
    m_distUpgradeStatus = status;
    Q_EMIT distUpgradeStatusChanged();
}

void PackageHandler::announceUpgradeProgress(int value)
{
    m_upgradeProgress = value;
    Q_EMIT upgradeProgressChanged();
}

// Is there an update

void PackageHandler::checkForOsUpdate(bool refreshCache)
{
    qDebug() << Q_FUNC_INFO << refreshCache;
    if (m_queue.has(JobCheckUpgrade)) {
        qDebug() << "-- already issued";
        return;
    }
    Transaction *transaction = m_manager->createDistCheckTransaction(m_upgradeInfo, refreshCache);
    // A failure has no listener: a check that failed reads as up to date.
    connect(transaction, &Transaction::finished, this, &PackageHandler::slotCheckUpgradeFinished);
    connect(transaction, &Transaction::success, this, &PackageHandler::slotCheckUpgradeSuccess);
    enqueue(JobCheckUpgrade, QString(), transaction);
}

void PackageHandler::slotCheckUpgradeSuccess()
{
    qDebug() << Q_FUNC_INFO << m_upgradeInfo->version;
    setDistUpgradeStatus(DistUpgradeAvailable);
    OsInfo info;
    info.version = normalizeOsVersion(m_upgradeInfo->version);
    info.summary = m_upgradeInfo->summary;
    info.lastChecked = QDateTime::currentDateTime();
    info.downloadSize = -1;
    info.installSize = -1;
    Q_EMIT osUpdateInfo(info);
}

void PackageHandler::slotCheckUpgradeFinished()
{
    if (m_distUpgradeStatus != DistUpgradePending)
        return;
    setDistUpgradeStatus(DistUpgradeUpToDate);
    OsInfo info;
    info.lastChecked = QDateTime::currentDateTime();
    Q_EMIT osUpdateInfo(info);
}

// What would it cost

void PackageHandler::getOsUpdateSize(const QString &version)
{
    qDebug() << Q_FUNC_INFO << version;
    if (m_queue.has(JobUpgradeSize)) {
        qDebug() << "-- already issued";
        return;
    }
    Transaction *transaction = m_manager->createOsUpdateSizeTransaction(m_upgradeInfo);
    connect(transaction, &Transaction::success, this, &PackageHandler::slotOsUpdateSizeReceived);
    connect(transaction, &Transaction::failure, this, &PackageHandler::slotOsUpdateSizeFailure);
    Transaction *wrapper = requireRepositories(transaction, version, true, s_requiredRepositories);
    enqueueIsolated(JobUpgradeSize, QString(), transaction, wrapper);
}

void PackageHandler::slotOsUpdateSizeReceived()
{
    setDistUpgradeStatus(DistUpgradeAvailable);
    Q_EMIT osUpdateSize(m_upgradeInfo->downloadSize, m_upgradeInfo->installSize,
                        m_upgradeInfo->removeSize);
}

void PackageHandler::slotOsUpdateSizeFailure(const QString &details)
{
    qDebug() << Q_FUNC_INFO << details;
    setDistUpgradeStatus(DistUpgradeUnknown);
    Q_EMIT error(qtTrId("orvik-store-no-error_os_update_size_failed"));
    Q_EMIT osUpdateSize(0, 0, 0);
}

// Download and install

void PackageHandler::downloadOsUpdate(const QString &version)
{
    m_downloadInterrupted = false;
    m_osUpdateVersion = version;
    upgrade(true, version);
}

void PackageHandler::installOsUpdate(const QString &version)
{
    if ((Rdm().deviceMode() & Rdm::DeviceModeNoIsolation) == 0 && version.isEmpty())
        qWarning() << "No OS update version supplied. Check your rdm release after installing the "
                      "OS update.";
    upgrade(false, version);
}

void PackageHandler::upgrade(bool download, const QString &version)
{
    qDebug() << Q_FUNC_INFO << download << version;
    Transaction *transaction = m_manager->createDistUpgradeTransaction(download);
    connect(transaction, &Transaction::progress, this, &PackageHandler::slotUpgradeProgress);
    connect(transaction, &Transaction::failure, this, &PackageHandler::slotUpgradeFailure);
    if (download)
        announceUpgradeProgress(1);
    // After an install the device stays on the release that it has installed.
    Transaction *wrapper =
        requireRepositories(transaction, version, download, s_requiredRepositories);
    connect(wrapper, &Transaction::success, this, &PackageHandler::slotUpgradeSuccess);
    enqueueIsolated(download ? JobDownloadUpgrade : JobInstallUpgrade, QString(), transaction,
                    wrapper);
}

void PackageHandler::slotUpgradeProgress(int value)
{
    qDebug() << Q_FUNC_INFO << value;
    announceUpgradeProgress(value);
}

void PackageHandler::slotUpgradeSuccess()
{
    qDebug() << Q_FUNC_INFO << static_cast<int>(m_distUpgradeStatus);
    m_downloadInterrupted = false;
    // The isolation around a download or install ends in success also when that failed.
    if (m_upgradeProgress == 0) {
        qDebug() << "Already failed earlier.";
        return;
    }
    if (m_upgradeProgress != 100)
        announceUpgradeProgress(100);
    Q_EMIT osUpdateResult(true, false);
}

void PackageHandler::slotUpgradeFailure(const QString &details)
{
    qDebug() << Q_FUNC_INFO << details;
    if (m_downloadInterrupted) {
        qDebug() << "OS update download was interrupted.";
        return;
    }
    Q_EMIT error(qtTrId("orvik-store-no-error_os_update_failed"));
    announceUpgradeProgress(0);
    Q_EMIT osUpdateResult(false, details.startsWith(QLatin1String("disk full: ")));
}

// Giving way

void PackageHandler::interruptDownloadOsUpdate()
{
    if (m_queue.current().type != JobDownloadUpgrade || m_downloadInterrupted)
        return;
    qDebug() << "Attempting to interrupt the OS update download.";
    m_downloadInterrupted = true;
    // Held here: its end may make another job the current one.
    const QPointer<Transaction> transaction = m_queue.current().transaction;
    if (transaction)
        transaction->cancel();
}

void PackageHandler::slotPackageManagerForeignRequested()
{
    if (m_queue.current().type == JobDownloadUpgrade)
        interruptDownloadOsUpdate();
}

void PackageHandler::slotPackageManagerIdle()
{
    if (!m_downloadInterrupted || m_queue.isRunning())
        return;
    qDebug() << "Resuming interrupted OS update download.";
    downloadOsUpdate(m_osUpdateVersion);
}
