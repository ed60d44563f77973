#pragma once

#include "manager.h"
#include "transaction.h"

#include <PackageKit/Transaction>

namespace Package {

/**
 * How much an OS update would download, install and remove. The daemon answers with an
 * error whose text carries the sizes, so here the error is the success.
 */
class OsUpdateSizeTransactionPkgKit final : public Transaction
{
    Q_OBJECT

public:
    /** @param info takes the sizes, in bytes. */
    explicit OsUpdateSizeTransactionPkgKit(Manager::UpgradeInformation::Ptr info);

    void start() override;

private Q_SLOTS:
    void slotTransactionFinished(PackageKit::Transaction::Exit status, uint runtime);
    void slotTransactionError(PackageKit::Transaction::Error error, QString details);

private:
    Manager::UpgradeInformation::Ptr m_info;
    int m_sizeReceived = 0;
    QString m_errorDetails;
};

} // namespace Package
