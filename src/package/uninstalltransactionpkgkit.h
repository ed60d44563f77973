#pragma once

#include "transaction.h"

#include <PackageKit/Transaction>

namespace Package {

class StepPkgKit;

/**
 * Removes one installed package. A package that isn't installed counts as removed. There
 * are no retries, and a removal that fails without an error ends without any signal.
 */
class UninstallTransactionPkgKit final : public Transaction
{
    Q_OBJECT

public:
    /**
     * @param package a name, or a path that ends in ".rpm", which is reduced to a name.
     * @param autoRemove also remove dependencies that nothing needs any more.
     */
    UninstallTransactionPkgKit(const QString &package, bool autoRemove);

    void start() override;

private Q_SLOTS:
    void slotResolveFinished(PackageKit::Transaction::Exit status, uint runtime);
    void slotResolveError(PackageKit::Transaction::Error error, QString details);
    void slotResolved(PackageKit::Transaction::Info info, QString pkgId, QString summary);
    void slotUninstallFinished(PackageKit::Transaction::Exit status, uint runtime);
    void slotUninstallError(PackageKit::Transaction::Error error, QString details);
    void slotUninstallProgress();

private:
    void resolve(const QString &package);
    void uninstall(const QString &packageId);
    void giveUp(const QString &details);

    QString m_package;
    bool m_autoRemove;
    bool m_resolved = false;
    StepPkgKit *m_transaction = nullptr; // the newest removal in progress, a child
};

} // namespace Package
