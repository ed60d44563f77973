#pragma once

#include "transaction.h"

#include <PackageKit/Transaction>

#include <QStringList>

namespace Package {

class StepPkgKit;

/**
 * Which files a package has. A package that can't be found is a success that leaves the
 * caller's list as it was.
 */
class PackageFilesTransactionPkgKit final : public Transaction
{
    Q_OBJECT

public:
    /** @param files the caller's list, which must outlive the transaction. */
    PackageFilesTransactionPkgKit(const QString &package, QStringList *files);
    ~PackageFilesTransactionPkgKit() override;

    void start() override;

private Q_SLOTS:
    void slotTransactionFinished(PackageKit::Transaction::Exit status, uint runtime);
    void slotTransactionError(PackageKit::Transaction::Error error, QString details);
    void slotFiles(QString packageID, QStringList filenames);
    void slotPackage(PackageKit::Transaction::Info info, QString pkgId, QString summary);

private:
    StepPkgKit *createStep();

    QString m_package;
    QString m_packageId; // set between the two steps only
    QStringList *m_files;
    bool m_failed = false;
};

} // namespace Package
