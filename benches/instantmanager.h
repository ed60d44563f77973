#pragma once

#include "package/manager.h"
#include "package/transaction.h"

#include <QPointer>
#include <QStringList>

/** Succeeds in the turn after its start, or with the transaction that it runs in turn. */
class InstantTransaction final : public Package::Transaction
{
public:
    explicit InstantTransaction(Package::Transaction *wrapped = nullptr);

    void start() override;

private:
    QPointer<Package::Transaction> m_wrapped;
};

/** A package manager whose transactions take no time. */
class InstantManager final : public Package::Manager
{
public:
    /** @param packages how many a list tells as installed, "application-0" and on */
    explicit InstantManager(int packages = 0);

    Package::Transaction *createDistCheckTransaction(UpgradeInformation::Ptr info,
                                                     bool refreshCache) override;
    Package::Transaction *createOsUpdateSizeTransaction(UpgradeInformation::Ptr info) override;
    Package::Transaction *createDistUpgradeTransaction(bool downloadOnly) override;
    Package::Transaction *createListTransaction(PackageList::Ptr list) override;
    Package::Transaction *createInstallTransaction(const QString &package,
                                                   PackageInformation::Ptr info) override;
    Package::Transaction *createUninstallTransaction(const QString &package,
                                                     bool autoRemove) override;
    Package::Transaction *createInfoTransaction(const QString &packageFile,
                                                PackageInformation::Ptr info) override;
    Package::Transaction *createPackageFilesTransaction(const QString &package,
                                                        QStringList *files) override;
    Package::Transaction *createPackageNameTransaction(const QString &file,
                                                       PackageInformation::Ptr info) override;
    Package::Transaction *createRepositoryTransaction(Package::Transaction *wrapped,
                                                      const QString &version, bool restoreVersion,
                                                      const QStringList &repositories) override;
    [[nodiscard]] int compareVersions(const QString &a, const QString &b) const override;
    [[nodiscard]] QStringList packageDesktopFiles(const QString &package) const override;
    [[nodiscard]] QString packageNameByDesktopFile(const QString &desktopFile) const override;

private:
    int m_packages;
    QScopedPointer<Package::Manager> m_real; // compares versions
};
