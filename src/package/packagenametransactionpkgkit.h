#pragma once

#include "manager.h"
#include "transaction.h"

#include <PackageKit/Transaction>

namespace Package {

/** Which installed package owns a file. None is a success with an empty name. */
class PackageNameTransactionPkgKit final : public Transaction
{
    Q_OBJECT

public:
    /** @param info takes name and version; its file stays as it is. */
    PackageNameTransactionPkgKit(const QString &file, Manager::PackageInformation::Ptr info);
    ~PackageNameTransactionPkgKit() override;

    void start() override;

private Q_SLOTS:
    void slotTransactionFinished(PackageKit::Transaction::Exit status, uint runtime);
    void slotTransactionError(PackageKit::Transaction::Error error, QString details);
    void slotPackage(PackageKit::Transaction::Info info, QString pkgId, QString summary);

private:
    QString m_file;
    Manager::PackageInformation::Ptr m_info;
    bool m_failed = false;
};

} // namespace Package
