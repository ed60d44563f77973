#include "packagehandler.h"

#include "mdesktopentry.h"
#include "package/managerpkgkit.h"
#include "package/transaction.h"
#include "rdm.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <iterator>
#include <utility>

using Package::Manager;
using Package::Transaction;

namespace {

constexpr int requiredByOs = 2; // filter of RdmRepoManager::repos()

const QLatin1String androidService("com.orvik.apkd");
const QLatin1String androidPath("/com/orvik/apkd");
const QLatin1String androidInterface("com.orvik.apkd");

bool isIsolationOff()
{
    return (Rdm().deviceMode() & Rdm::DeviceModeNoIsolation) != 0;
}

bool isPackageFile(const QString &package)
{
    return package.toLower().endsWith(QLatin1String(".rpm"));
}

/** The Android package that a launcher stands for, or empty. */
QString readApkFile(const QString &desktopFile)
{
    const MDesktopEntry entry(desktopFile);
    const QString key = QStringLiteral("Desktop Entry/X-apkd-apkfile");
    return entry.contains(key) ? entry.value(key) : QString();
}

/**
 * Whether a desktop file lies in the user's own applications folder. Folders are resolved,
 * or a sibling with the same beginning and paths with ".." would count; the file itself is
 * not, since a link there is the user's own wherever it points.
 */
bool isUsersOwn(const QString &desktopFile)
{
    const QString location = QStandardPaths::writableLocation(QStandardPaths::ApplicationsLocation);
    if (location.isEmpty())
        return false;
    const QString own = QDir(location).canonicalPath();
    // Not absoluteDir(), which takes ".." out of the text before links are followed.
    const QString folder = QFileInfo(QFileInfo(desktopFile).path()).canonicalFilePath();
    return !own.isEmpty() && !folder.isEmpty()
        && (folder == own || folder.startsWith(own + QLatin1Char('/')));
}

} // namespace

const QStringList PackageHandler::s_requiredRepositories =
    RdmRepoManager::repos(isIsolationOff(), requiredByOs);
const QStringList PackageHandler::s_requiredStoreRepositories =
    s_requiredRepositories + QStringList{QStringLiteral("store")};

PackageHandler::PackageHandler(QObject *parent)
    : PackageHandler(new Package::ManagerPkgKit, parent)
{ }

PackageHandler::PackageHandler(Manager *manager, QObject *parent)
    : QObject(parent)
    , m_manager(manager)
    , m_packageList(Manager::PackageList::Ptr::create())
    , m_upgradeInfo(Manager::UpgradeInformation::Ptr::create())
    , m_packageInfoRecord(Information::Ptr::create())
    , m_installInfo(Information::Ptr::create())
    , m_files(QSharedPointer<QStringList>::create())
{
    connect(manager, &Manager::packageManagerIdle, this, &PackageHandler::slotPackageManagerIdle);
    connect(manager, &Manager::packageManagerForeignRequested, this,
            &PackageHandler::slotPackageManagerForeignRequested);
}

PackageHandler::~PackageHandler() = default;

int PackageHandler::packagesCount() const
{
    return m_installed.size();
}

bool PackageHandler::isBusy() const
{
    return m_queue.isRunning() || m_downloadInterrupted;
}

// The queue

void PackageHandler::enqueue(const Job &job)
{
    m_queue.add(job);
    if (!m_queue.isRunning())
        slotNextJob();
}

void PackageHandler::enqueue(JobType type, const QString &package, Transaction *transaction,
                             const SceneCallback &callback)
{
    enqueue(Job{type, package, transaction, nullptr, callback});
}

void PackageHandler::enqueueIsolated(JobType type, const QString &package, Transaction *transaction,
                                     Transaction *wrapper, const SceneCallback &callback)
{
    enqueue(Job{type, package, wrapper, wrapper == transaction ? nullptr : transaction, callback});
}

void PackageHandler::slotNextJob()
{
    Transaction *transaction = nullptr;
    while (!transaction) {
        if (!m_queue.advance())
            return;
        transaction = m_queue.current().transaction;
        if (!transaction)
            qDebug() << "job has no transaction";
    }

    if (m_queue.current().type == JobCheckUpgrade)
        setDistUpgradeStatus(DistUpgradePending);
    else if (m_queue.current().type == JobUpgradeSize)
        setDistUpgradeStatus(DistUpgradeCheckingSize);
    connect(transaction, &Transaction::finished, this, &PackageHandler::slotNextJob);
    transaction->start();
}

Transaction *PackageHandler::requireRepositories(Transaction *transaction, const QString &version,
                                                 bool restoreVersion,
                                                 const QStringList &repositories)
{
    if (isIsolationOff())
        return transaction;
    Transaction *wrapper =
        m_manager->createRepositoryTransaction(transaction, version, restoreVersion, repositories);
    connect(wrapper, &Transaction::failure, this, &PackageHandler::slotRequireRepositoriesFailure);
    return wrapper;
}

void PackageHandler::slotRequireRepositoriesFailure(const QString &details)
{
    // All that waits goes, also what needs no isolation; packages keep the status they have.
    m_queue.drop();
    QString repositories = details;
    repositories.replace(QLatin1Char(' '), QLatin1String(", "));
    Q_EMIT error(qtTrId("orvik-store-no-error_repositories_missing").arg(repositories));
}

void PackageHandler::cancelPending(const QString &package)
{
    const std::optional<Job> job = m_queue.waiting(package);
    if (!job)
        return;
    if (job->type == JobInstall)
        setPackageStatus(package, StatusNone);
    else if (job->type == JobUpdate || job->type == JobUninstall)
        setPackageStatus(package, StatusInstalled);
    m_queue.remove(*job);
}

// What is known

void PackageHandler::setPackageStatus(const QString &package, int status)
{
    m_statusMap.insert(package, status);
    Q_EMIT packageStatusChanged(package);
}

void PackageHandler::setPackageProgress(const QString &package, int value)
{
    if (value > 99)
        m_progressValues.remove(package);
    else
        m_progressValues.insert(package, value);
    Q_EMIT progressChanged(package, value);
}

int PackageHandler::packageStatus(const QString &package) const
{
    const auto status = m_statusMap.constFind(package);
    if (status != m_statusMap.constEnd())
        return *status;
    return m_installed.contains(package) ? StatusInstalled : StatusNone;
}

int PackageHandler::applicationState(const QString &package, const QString &version) const
{
    switch (packageStatus(package)) {
    case StatusInstalled: {
        const bool isOutdated = m_installed.contains(package)
            && m_manager->compareVersions(version, m_versions.value(package)) > 0;
        return isOutdated ? ApplicationState::Updatable : ApplicationState::Installed;
    }
    case StatusInstalling:
        return ApplicationState::Installing;
    case StatusUpdating:
        return ApplicationState::Updating;
    case StatusUninstalling:
        return ApplicationState::Uninstalling;
    default:
        return ApplicationState::Normal;
    }
}

QString PackageHandler::applicationStateName(int appState, int progress) const
{
    switch (appState) {
    case ApplicationState::Installing:
        if (progress == 0)
            return qtTrId("orvik-store-la-app_state_waiting");
        // The first half of an install is its download, also where no amount is known.
        if (progress <= 49)
            return qtTrId("orvik-store-la-app_state_downloading");
        return qtTrId("orvik-store-la-app_state_installing");
    case ApplicationState::Updating:
        return qtTrId("orvik-store-la-app_state_updating");
    case ApplicationState::Uninstalling:
        return qtTrId("orvik-store-la-app_state_uninstalling");
    case ApplicationState::Installed:
        return qtTrId("orvik-store-la-app_state_installed");
    case ApplicationState::Updatable:
        return qtTrId("orvik-store-la-app_state_updatable");
    default:
        return {};
    }
}

int PackageHandler::packageProgress(const QString &package) const
{
    return m_progressValues.value(package, 100);
}

QString PackageHandler::packageVersion(const QString &package) const
{
    return m_versions.value(package, QStringLiteral("0"));
}

const QMap<QString, QString> &PackageHandler::versions() const
{
    return m_versions;
}

const QMap<QString, QString> &PackageHandler::summaries() const
{
    return m_summaries;
}

QStringList PackageHandler::knownPackages() const
{
    QSet<QString> known = m_installed;
    for (auto entry = m_statusMap.cbegin(); entry != m_statusMap.cend(); ++entry) {
        if (*entry == StatusInstalled || *entry == StatusInstalling || *entry == StatusUpdating)
            known.insert(entry.key());
    }
    return known.values();
}

QStringList PackageHandler::packagesForAccountType(const QString &accountType) const
{
    const QString email = QStringLiteral("orvik-email");
    const QString calendar = QStringLiteral("orvik-calendar");
    if (accountType == QLatin1String("e-mail"))
        return {email};
    if (accountType == QLatin1String("facebook"))
        return {calendar};
    if (accountType == QLatin1String("google") || accountType == QLatin1String("activesync"))
        return {email, calendar};
    return {};
}

// The list of installed packages

void PackageHandler::refreshPackages()
{
    interruptDownloadOsUpdate();
    m_packageList->clear();
    Transaction *transaction = m_manager->createListTransaction(m_packageList);
    connect(transaction, &Transaction::success, this, &PackageHandler::slotListSuccess);
    connect(transaction, &Transaction::failure, this, &PackageHandler::slotListFailure);
    enqueue(JobList, QString(), transaction);
}

void PackageHandler::checkInstalled(const QString &package)
{
    if (m_installed.isEmpty())
        m_pendingChecks.insert(package);
    else
        Q_EMIT checkInstalledResult(package, m_installed.contains(package));
}

void PackageHandler::slotListSuccess()
{
    const int count = m_installed.size();
    // A listener may refresh, which empties the list.
    const QList<Manager::PackageListEntry> entries = m_packageList->entries();
    // A list that comes in order, as it mostly does, tells where the next entry belongs.
    QMap<QString, QString>::const_iterator version = m_versions.constBegin();
    QMap<QString, QString>::const_iterator summary = m_summaries.constBegin();
    for (const Manager::PackageListEntry &entry : entries) {
        version = std::next(m_versions.insert(version, entry.name, entry.version));
        summary = std::next(m_summaries.insert(summary, entry.name, entry.summary));
        const int known = m_installed.size();
        m_installed.insert(entry.name);
        if (m_installed.size() > known)
            continue;
        const int oldStatus = packageStatus(entry.name);
        m_statusMap.remove(entry.name);
        if (packageStatus(entry.name) == oldStatus)
            continue;
        Q_EMIT packageStatusChanged(entry.name);
        version = m_versions.constBegin(); // a listener may have taken entries away
        summary = m_summaries.constBegin();
    }
    // A listener may ask again, which has to wait for the next list.
    const QSet<QString> checks = std::exchange(m_pendingChecks, {});
    for (const QString &package : checks)
        Q_EMIT checkInstalledResult(package, m_installed.contains(package));
    if (m_installed.size() != count)
        Q_EMIT packagesCountChanged();
}

void PackageHandler::slotListFailure(const QString &)
{
    Q_EMIT error(qtTrId("orvik-store-no-error_package_database_unavailable"));
    const QSet<QString> checks = std::exchange(m_pendingChecks, {});
    for (const QString &package : checks)
        Q_EMIT checkInstalledResult(package, false);
}

// Installs

void PackageHandler::install(const QString &package)
{
    install(package, QJSValue());
}

void PackageHandler::install(const QString &package, const QJSValue &callback)
{
    interruptDownloadOsUpdate();
    // Several installs may be queued, and each writes what it finds when it runs.
    const auto info = Information::Ptr::create();
    Transaction *transaction = m_manager->createInstallTransaction(package, info);
    connect(transaction, &Transaction::progress, this, &PackageHandler::slotInstallProgress);
    connect(transaction, &Transaction::success, this, [this, info] {
        m_installInfo = info;
        slotInstallSuccess();
    });
    connect(transaction, &Transaction::failure, this, &PackageHandler::slotInstallFailure);
    Transaction *wrapper =
        requireRepositories(transaction, QString(), true, s_requiredStoreRepositories);

    const bool isUpdate = m_installed.contains(package);
    setPackageStatus(package, isUpdate ? StatusUpdating : StatusInstalling);
    setPackageProgress(package, 0);
    enqueueIsolated(isUpdate ? JobUpdate : JobInstall, package, transaction, wrapper,
                    SceneCallback(callback));
}

void PackageHandler::slotInstallProgress(int value)
{
    setPackageProgress(m_queue.current().package, value);
}

void PackageHandler::slotInstallSuccess()
{
    const Job job = m_queue.current();
    setPackageProgress(job.package, 100);
    m_versions.insert(job.package, m_installInfo->version);
    setPackageStatus(job.package, StatusInstalled);
    if (isPackageFile(job.package))
        Q_EMIT sideLoadingFinished(job.package, true);
    job.callback.call({QJSValue(true)});
    refreshPackages();
}

void PackageHandler::slotInstallFailure(const QString &details)
{
    const Job job = m_queue.current();
    setPackageProgress(job.package, 100);
    const bool wasInstalled = m_installed.contains(job.package);
    if (isPackageFile(job.package)) {
        Q_EMIT sideLoadingFinished(job.package, false);
        Q_EMIT sideloadingError(details);
    } else {
        if (!wasInstalled)
            Q_EMIT installFailed(job.package);
        if (details.startsWith(QLatin1String("package already installed ")))
            Q_EMIT packageError(qtTrId("orvik-store-no-error_package_already_uptodate"),
                                job.package);
        else if (details != QLatin1String("cancelled"))
            Q_EMIT packageError(wasInstalled ? qtTrId("orvik-store-no-error_update_failed")
                                             : qtTrId("orvik-store-no-error_install_failed"),
                                job.package);
    }
    job.callback.call({QJSValue(false)});
    setPackageStatus(job.package, wasInstalled ? StatusInstalled : StatusNone);
}

// Removals

void PackageHandler::uninstall(const QString &package, bool autoRemove)
{
    uninstall(package, autoRemove, QJSValue());
}

void PackageHandler::uninstall(const QString &package, bool autoRemove, const QJSValue &callback)
{
    interruptDownloadOsUpdate();
    Transaction *transaction = m_manager->createUninstallTransaction(package, autoRemove);
    connect(transaction, &Transaction::progress, this, &PackageHandler::slotUninstallProgress);
    connect(transaction, &Transaction::success, this, &PackageHandler::slotUninstallSuccess);
    connect(transaction, &Transaction::failure, this, &PackageHandler::slotUninstallFailure);
    setPackageStatus(package, StatusUninstalling);
    setPackageProgress(package, 0);
    enqueue(JobUninstall, package, transaction, SceneCallback(callback));
}

void PackageHandler::slotUninstallProgress(int value)
{
    setPackageProgress(m_queue.current().package, value);
}

void PackageHandler::slotUninstallSuccess()
{
    const Job job = m_queue.current();
    setPackageProgress(job.package, 100);
    m_installed.remove(job.package);
    setPackageStatus(job.package, StatusNone);
    job.callback.call({QJSValue(true)});
    Q_EMIT packagesCountChanged();
    refreshPackages();
}

void PackageHandler::slotUninstallFailure(const QString &)
{
    const Job job = m_queue.current();
    setPackageProgress(job.package, 100);
    Q_EMIT packageError(qtTrId("orvik-store-no-error_uninstall_failed"), job.package);
    job.callback.call({QJSValue(false)});
    setPackageStatus(job.package, StatusInstalled);
}

void PackageHandler::uninstallByDesktopFile(const QString &desktopFile)
{
    if (!QFileInfo(desktopFile).isFile()) {
        slotPackageNameForUninstallFailure(QLatin1String("bad file: ") + desktopFile);
        return;
    }
    const Information::Ptr record = newQuestion();
    record->name = m_manager->packageNameByDesktopFile(desktopFile);
    m_packageInfoRecord = record;
    if (!record->name.isEmpty()) {
        slotPackageNameForUninstallSuccess();
        return;
    }
    if (isUsersOwn(desktopFile)) {
        if (!QFile::remove(desktopFile))
            qWarning() << "Failed to remove desktopFile:" << desktopFile;
        return;
    }

    qDebug() << "No packageName found from desktop cache. Falling back to packageName transaction.";
    interruptDownloadOsUpdate();
    const QString apkFile = readApkFile(desktopFile);
    Transaction *transaction =
        m_manager->createPackageNameTransaction(apkFile.isEmpty() ? desktopFile : apkFile, record);
    connect(transaction, &Transaction::success, this,
            [this, desktopFile] { m_desktopFile = desktopFile; });
    ask(transaction, record, &PackageHandler::slotPackageNameForUninstallSuccess,
        &PackageHandler::slotPackageNameForUninstallFailure);
}

void PackageHandler::slotPackageNameForUninstallSuccess()
{
    const QString package = m_packageInfoRecord->name;
    if (!package.isEmpty()) {
        uninstall(package, false, QJSValue());
        return;
    }
    if (readApkFile(m_desktopFile).isEmpty())
        return;
    QDBusInterface android(androidService, androidPath, androidInterface,
                           QDBusConnection::systemBus());
    const QDBusReply<bool> reply = android.call(QStringLiteral("removeFile"), m_desktopFile);
    if (!reply.isValid() || !reply.value())
        qWarning() << "failed to remove android app:" << m_desktopFile;
}

void PackageHandler::slotPackageNameForUninstallFailure(const QString &details)
{
    qWarning() << Q_FUNC_INFO << details;
}

// Questions

PackageHandler::Information::Ptr PackageHandler::newQuestion() const
{
    return Information::Ptr::create(*m_packageInfoRecord);
}

void PackageHandler::ask(Transaction *transaction, const Information::Ptr &record,
                         void (PackageHandler::*success)(),
                         void (PackageHandler::*failure)(const QString &))
{
    const auto answered = [this, record] { m_packageInfoRecord = record; };
    connect(transaction, &Transaction::success, this, answered);
    connect(transaction, &Transaction::failure, this, answered);
    connect(transaction, &Transaction::success, this, success);
    connect(transaction, &Transaction::failure, this, failure);
    transaction->start();
}

void PackageHandler::packageInfo(const QString &packageFile)
{
    const Information::Ptr record = newQuestion();
    Transaction *transaction = m_manager->createInfoTransaction(packageFile, record);
    m_statusMap.remove(packageFile);
    ask(transaction, record, &PackageHandler::slotPackageInfoSuccess,
        &PackageHandler::slotPackageInfoFailure);
}

void PackageHandler::slotPackageInfoSuccess()
{
    Q_EMIT packageInfoReceived({{QStringLiteral("file"), m_packageInfoRecord->file},
                                {QStringLiteral("name"), m_packageInfoRecord->name},
                                {QStringLiteral("summary"), m_packageInfoRecord->summary},
                                {QStringLiteral("version"), m_packageInfoRecord->version}});
}

void PackageHandler::slotPackageInfoFailure(const QString &)
{
    const QString fileName = QFileInfo(m_packageInfoRecord->file).fileName();
    Q_EMIT packageInfoReceived(
        {{QStringLiteral("file"), QStringLiteral("")},
         {QStringLiteral("name"), fileName},
         {QStringLiteral("summary"), qtTrId("orvik-store-la-invalid_package")},
         {QStringLiteral("version"), QStringLiteral("")}});
}

void PackageHandler::packageFiles(const QString &package)
{
    Transaction *transaction = m_manager->createPackageFilesTransaction(package, m_files.data());
    // A running transaction writes into the list, also when this has gone before it.
    connect(transaction, &QObject::destroyed, [files = m_files] { Q_UNUSED(files) });
    connect(transaction, &Transaction::success, this, &PackageHandler::slotPackageFilesSuccess);
    connect(transaction, &Transaction::failure, this, &PackageHandler::slotPackageFilesFailure);
    enqueue(JobPackageFiles, package, transaction);
}

void PackageHandler::slotPackageFilesSuccess()
{
    Q_EMIT packageFilesReceived(m_queue.current().package, *m_files);
}

void PackageHandler::slotPackageFilesFailure(const QString &details)
{
    qWarning() << Q_FUNC_INFO << details;
    Q_EMIT packageFilesReceived(m_queue.current().package, QStringList());
}

QStringList PackageHandler::packageDesktopFiles(const QString &package) const
{
    return m_manager->packageDesktopFiles(package);
}

void PackageHandler::resolvePackageName(const QString &file)
{
    const Information::Ptr record = newQuestion();
    Transaction *transaction = m_manager->createPackageNameTransaction(file, record);
    ask(transaction, record, &PackageHandler::slotPackageNameSuccess,
        &PackageHandler::slotPackageNameFailure);
}

void PackageHandler::slotPackageNameSuccess()
{
    Q_EMIT packageNameResult(m_packageInfoRecord->name);
}

void PackageHandler::slotPackageNameFailure(const QString &details)
{
    qWarning() << Q_FUNC_INFO << details;
    Q_EMIT packageNameResult(QString());
}
