#pragma once

#include "manager.h"
#include "transaction.h"

#include <PackageKit/Transaction>

#include <QTimer>

#include <chrono>

namespace Package {

class StepPkgKit;

/**
 * Brings one package to the device: by name from the repositories, as a new install or an
 * update, or from a local package file.
 *
 * Everything is downloaded first and installed afterwards; the progress runs to 49 for the
 * download and from 50 for the install, and never falls back. A step that fails climbs a
 * ladder: refresh the store's repository, force that, refresh all repositories, then repeat
 * the failed step after a delay. Only a local file is given up at once.
 */
class InstallTransactionPkgKit final : public Transaction
{
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds DefaultRetryDelay{10000};

    /**
     * @param package a name, or the path of a package file.
     * @param info emptied now, filled as soon as the package has been found.
     */
    InstallTransactionPkgKit(const QString &package, Manager::PackageInformation::Ptr info);
    ~InstallTransactionPkgKit() override;

    /** How long a failed step waits for its next try; to be set before start(). */
    void setRetryDelay(std::chrono::milliseconds delay);

    void start() override;

private Q_SLOTS:
    void slotTransactionFinished(PackageKit::Transaction::Exit status, uint runtime);
    void slotTransactionError(PackageKit::Transaction::Error error, QString details);
    void slotResolvedInstalled(PackageKit::Transaction::Info info, QString pkgId, QString summary);
    void slotResolved(PackageKit::Transaction::Info info, QString pkgId, QString summary);
    void slotResolvedDependency(PackageKit::Transaction::Info info, QString pkgId, QString summary);
    void slotInstallProgress();
    void slotRetrySameAction();

private:
    enum State {
        StateIdle,
        StateRefreshing,
        StateResolving,
        StateResolvingInstalled,
        StateResolvingDependencies,
        StateDownloading,
        StateInstalling,
    };

    void refresh();
    void resolveInstalled(const QString &package);
    void resolve(const QString &package);
    void resolveDependencies(const QString &packageId);
    void download(const QStringList &packageIds);
    void install(const QString &packageId);
    void installFile(const QString &file);
    void update(const QString &packageId);
    void stepSucceeded();
    void giveUpOrRetry(const QString &details);
    void beginStep(State state);

    State m_state = StateIdle;
    QString m_package;
    QString m_packageId; // of the available package
    QString m_installedVersion;
    QString m_availableVersion;
    QStringList m_dependencies; // ids of all packages to download
    int m_refreshLevel = 0;
    bool m_isFile = false;
    bool m_isUpdate = false;
    StepPkgKit *m_transaction = nullptr; // the step in progress, a child
    bool m_failed = false;
    int m_lastProgress = -1;
    int m_retryCount = 0;
    QTimer m_retryTimer;
    Manager::PackageInformation::Ptr m_info;
};

} // namespace Package
