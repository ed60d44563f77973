#pragma once

#include "manager.h"
#include "transaction.h"

#include <PackageKit/Transaction>

namespace Package {

class StepPkgKit;

/**
 * Whether a newer OS can be had. success() means that there is one; an end without it means
 * that there is none, or that nothing could be found out.
 */
class DistCheckTransactionPkgKit final : public Transaction
{
    Q_OBJECT

public:
    /**
     * @param info takes version and summary of what was found last.
     * @param refreshCache refresh the repository first.
     */
    DistCheckTransactionPkgKit(Manager::UpgradeInformation::Ptr info, bool refreshCache);
    ~DistCheckTransactionPkgKit() override;

    void start() override;

private Q_SLOTS:
    void slotTransactionFinished(PackageKit::Transaction::Exit status, uint runtime);
    void slotTransactionError(PackageKit::Transaction::Error error, QString details);
    void slotVersionPackageResolved(PackageKit::Transaction::Info info, QString packageId,
                                    QString summary);

private:
    enum State { StateRefreshing, StateCheckingInstalled, StateCheckingUpgrade };

    void refresh();
    void checkInstalledVersion();
    void checkForUpgrade();
    StepPkgKit *createStep();

    State m_state;
    Manager::UpgradeInformation::Ptr m_info;
    bool m_upgradeFound = false;
    QString m_installedVersion;
};

} // namespace Package
