#pragma once

#include "manager.h"
#include "transaction.h"

#include <PackageKit/Transaction>

namespace Package {

/** Lists the installed packages. */
class ListTransactionPkgKit final : public Transaction
{
    Q_OBJECT

public:
    /** @param list takes the packages, and is sealed at the end. */
    explicit ListTransactionPkgKit(Manager::PackageList::Ptr list);

    void start() override;

private Q_SLOTS:
    void slotTransactionFinished(PackageKit::Transaction::Exit status, uint runtime);
    void slotTransactionError(PackageKit::Transaction::Error error, QString details);
    void slotPackage(PackageKit::Transaction::Info info, QString pkgId, QString summary);

private:
    Manager::PackageList::Ptr m_list;
    bool m_failed = false;
};

} // namespace Package
