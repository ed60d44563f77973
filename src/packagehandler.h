#pragma once

#include "applicationstate.h"
#include "jobqueue.h"
#include "osinfo.h"
#include "package/manager.h"

#include <QJSValue>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QSharedPointer>
#include <QStringList>
#include <QVariantMap>

#include <memory>

namespace Package {
class Transaction;
} // namespace Package

/** What is being done to a package; kept as a plain number per package. */
enum PackageStatus {
    StatusNone = 0, // not installed
    StatusInstalled = 1, // installed, nothing going on
    StatusInstalling = 2, // first install queued or running
    StatusUpdating = 3,
    StatusUninstalling = 4
};

/**
 * The one door to package management: turns requests into transactions, runs them strictly
 * one at a time, and answers from memory what is known about each package.
 *
 * Answers and failures come as signals; error() and packageError() carry translated texts.
 * Its end tells the package daemon to quit. Main thread only.
 */
class PackageHandler : public QObject
{
    Q_OBJECT
    Q_PROPERTY(
        DistUpgradeStatus distUpgradeStatus READ distUpgradeStatus NOTIFY distUpgradeStatusChanged)
    Q_PROPERTY(QString upgradeVersion READ upgradeVersion)
    Q_PROPERTY(QString upgradeSummary READ upgradeSummary)
    Q_PROPERTY(int upgradeProgress READ upgradeProgress NOTIFY upgradeProgressChanged)
    Q_PROPERTY(int packagesCount READ packagesCount NOTIFY packagesCountChanged)

public:
    enum DistUpgradeStatus {
        DistUpgradeUnknown = 0, // not checked, or the size query failed
        DistUpgradeUpToDate = 1,
        DistUpgradePending = 2, // a check is running
        DistUpgradeAvailable = 3,
        DistUpgradeCheckingSize = 4
    };
    Q_ENUM(DistUpgradeStatus)

    explicit PackageHandler(QObject *parent = nullptr);
    /** Takes over @p manager instead of one on the package daemon. */
    PackageHandler(Package::Manager *manager, QObject *parent);
    ~PackageHandler() override;

    [[nodiscard]] DistUpgradeStatus distUpgradeStatus() const;
    [[nodiscard]] QString upgradeVersion() const;
    [[nodiscard]] QString upgradeSummary() const;
    /** Percent; 0: no download or install is under way, or it failed; -1: no amount known. */
    [[nodiscard]] int upgradeProgress() const;
    /** Sets the progress without announcing it. */
    void setUpgradeProgress(int value);
    [[nodiscard]] int packagesCount() const;

    /** A job runs, or an OS update download waits to be resumed. */
    [[nodiscard]] bool isBusy() const;

    // For the scene as well.
    /** Looks for an OS update in the repositories; the answer is osUpdateInfo(). */
    Q_INVOKABLE void checkForOsUpdate(bool refreshCache);
    /**
     * The answer is checkInstalledResult(). Before the first list of packages it waits for
     * that list, and is false if the list fails.
     */
    Q_INVOKABLE void checkInstalled(const QString &package);
    /**
     * Queues an install, or an update if the package is installed.
     * @param package a name, or the path of a package file.
     * @param callback called with one boolean at the end.
     */
    Q_INVOKABLE void install(const QString &package, const QJSValue &callback);
    Q_INVOKABLE void install(const QString &package);
    /** Queues a removal. @param autoRemove also what nothing needs any more. */
    Q_INVOKABLE void uninstall(const QString &package, bool autoRemove, const QJSValue &callback);
    Q_INVOKABLE void uninstall(const QString &package, bool autoRemove);
    /**
     * Takes a job of the package that hasn't started yet out of the queue; a running one goes
     * on. The callback of the job isn't called.
     */
    Q_INVOKABLE void cancelPending(const QString &package);
    /** Reads a package file; the answer is packageInfoReceived(). */
    Q_INVOKABLE void packageInfo(const QString &packageFile);
    /**
     * The answer is packageFilesReceived(): nothing after a failure, what was found last for a
     * package that nobody knows.
     */
    Q_INVOKABLE void packageFiles(const QString &package);
    /** What the cache of desktop files lists for a package; empty where there is none. */
    Q_INVOKABLE [[nodiscard]] QStringList packageDesktopFiles(const QString &package) const;
    /** An ApplicationState::State. @param version the one that the store has. */
    Q_INVOKABLE [[nodiscard]] int applicationState(const QString &package,
                                                   const QString &version) const;
    /** A translated label. */
    Q_INVOKABLE [[nodiscard]] QString applicationStateName(int appState, int progress) const;
    /** Percent; 100 if nothing is going on, -1 for working, with no amount known. */
    Q_INVOKABLE [[nodiscard]] int packageProgress(const QString &package) const;
    /** Installed version, "0" if the package is unknown. */
    Q_INVOKABLE [[nodiscard]] QString packageVersion(const QString &package) const;

    // For the program.
    /** A PackageStatus. */
    [[nodiscard]] int packageStatus(const QString &package) const;
    /** Lists the installed packages anew, ahead of everything queued. */
    void refreshPackages();
    /** What the device has or is getting, in no particular order. */
    [[nodiscard]] QStringList knownPackages() const;
    /** Installed versions and summaries, by package name. */
    [[nodiscard]] const QMap<QString, QString> &versions() const;
    [[nodiscard]] const QMap<QString, QString> &summaries() const;
    /** The preinstalled applications that serve a type of account. */
    [[nodiscard]] QStringList packagesForAccountType(const QString &accountType) const;
    /**
     * Finds the installed package that owns a file; the answer is packageNameResult(),
     * with an empty name if nobody does or the search fails.
     */
    void resolvePackageName(const QString &file);
    /**
     * Removes whatever a launcher icon stands for: the package that the cache of desktop files
     * knows for it, else the file itself where it is the user's own, else the package or the
     * Android application behind it. Failures are only logged.
     */
    void uninstallByDesktopFile(const QString &desktopFile);

    /** The answer is osUpdateSize(). */
    void getOsUpdateSize(const QString &version);
    /**
     * Fetches, or installs, all of the update; told by upgradeProgressChanged() and
     * osUpdateResult(). @param version the release to switch to; empty stays on the present one.
     * After an install the device stays on the new release.
     */
    void downloadOsUpdate(const QString &version);
    void installOsUpdate(const QString &version);
    /** Stops a running download, to be resumed when the daemon is idle. */
    void interruptDownloadOsUpdate();

Q_SIGNALS:
    void distUpgradeStatusChanged();
    void osUpdateResult(bool success, bool diskFull);
    void checkInstalledResult(QString packageName, bool isInstalled);
    void packagesCountChanged();
    void packageInfoReceived(QVariantMap info);
    void packageFilesReceived(QString packageName, QStringList files);
    void progressChanged(QString packageName, int progress);
    void upgradeProgressChanged();
    void packageStatusChanged(QString packageName);
    void packageNameResult(QString packageName);
    void error(QString details);
    void packageError(QString details, QString packageName);
    void sideloadingError(QString details); // untranslated, for whoever asked
    void installFailed(QString packageName);
    void sideLoadingFinished(QString packageName, bool success);
    void osUpdateInfo(OsInfo osInfo);
    void osUpdateSize(qlonglong downloadSize, qlonglong installSize, qlonglong removeSize); // bytes

private Q_SLOTS:
    void slotRequireRepositoriesFailure(const QString &details);
    void slotCheckUpgradeFinished();
    void slotCheckUpgradeSuccess();
    void slotOsUpdateSizeReceived();
    void slotOsUpdateSizeFailure(const QString &details);
    void slotInstallProgress(int value);
    void slotInstallSuccess();
    void slotInstallFailure(const QString &details);
    void slotNextJob();
    void slotUninstallProgress(int value);
    void slotUninstallSuccess();
    void slotUninstallFailure(const QString &details);
    void slotUpgradeProgress(int value);
    void slotUpgradeSuccess();
    void slotUpgradeFailure(const QString &details);
    void slotListSuccess();
    void slotListFailure(const QString &details);
    void slotPackageInfoSuccess();
    void slotPackageInfoFailure(const QString &details);
    void slotPackageFilesSuccess();
    void slotPackageFilesFailure(const QString &details);
    void slotPackageNameSuccess();
    void slotPackageNameFailure(const QString &details);
    void slotPackageNameForUninstallSuccess();
    void slotPackageNameForUninstallFailure(const QString &details);
    void slotPackageManagerIdle();
    void slotPackageManagerForeignRequested();

private:
    using Information = Package::Manager::PackageInformation;

    void enqueue(const Job &job);
    void enqueue(JobType type, const QString &package, Package::Transaction *transaction,
                 const SceneCallback &callback = SceneCallback());
    void enqueueIsolated(JobType type, const QString &package, Package::Transaction *transaction,
                         Package::Transaction *wrapper,
                         const SceneCallback &callback = SceneCallback());
    /** @p transaction inside one that isolates repositories, or itself where none does. */
    Package::Transaction *requireRepositories(Package::Transaction *transaction,
                                              const QString &version, bool restoreVersion,
                                              const QStringList &repositories);
    void upgrade(bool download, const QString &version);
    /**
     * The record for an answer to come. Questions may overlap, so each has its own; it begins
     * as the last answer, since a file that lacks a field leaves what stands there.
     */
    [[nodiscard]] Information::Ptr newQuestion() const;
    /** Starts a lookup at once; by the time it ends its record is the last answer. */
    void ask(Package::Transaction *transaction, const Information::Ptr &record,
             void (PackageHandler::*success)(), void (PackageHandler::*failure)(const QString &));

    void setPackageStatus(const QString &package, int status);
    void setPackageProgress(const QString &package, int value);
    void setDistUpgradeStatus(DistUpgradeStatus status);
    void announceUpgradeProgress(int value);

    static const QStringList s_requiredRepositories; // by the operating system
    static const QStringList s_requiredStoreRepositories; // those, and the store's

    std::unique_ptr<Package::Manager> m_manager;
    DistUpgradeStatus m_distUpgradeStatus = DistUpgradeUnknown;
    int m_upgradeProgress = 0;
    Package::Manager::PackageList::Ptr m_packageList; // filled by the list job
    QMap<QString, int> m_statusMap; // packages with something going on
    QMap<QString, int> m_progressValues; // packages being worked on, percent
    QSet<QString> m_pendingChecks; // checkInstalled() before the first list
    QSet<QString> m_installed; // names
    QMap<QString, QString> m_versions; // by package name
    QMap<QString, QString> m_summaries; // by package name
    JobQueue m_queue;
    Package::Manager::UpgradeInformation::Ptr m_upgradeInfo; // the offered OS update
    Information::Ptr m_packageInfoRecord; // of the question answered last
    Information::Ptr m_installInfo; // of the install that succeeded last
    QSharedPointer<QStringList> m_files; // filled by files jobs, which share it
    QString m_desktopFile; // of the removal whose package was looked up last
    bool m_downloadInterrupted = false; // to be resumed
    QString m_osUpdateVersion; // of the download
};
