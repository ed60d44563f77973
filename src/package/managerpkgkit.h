#pragma once

#include "manager.h"

#include <QTimer>

#include <chrono>

namespace Package {

/** The manager on PackageKit and rpm. Its end tells the daemon that it may quit. */
class ManagerPkgKit final : public Manager
{
    Q_OBJECT

public:
    explicit ManagerPkgKit(QObject *parent = nullptr);
    ~ManagerPkgKit() override;

    /** How long install transactions made from now on wait before they repeat a step. */
    void setRetryDelay(std::chrono::milliseconds delay);

    Transaction *createDistCheckTransaction(UpgradeInformation::Ptr info,
                                            bool refreshCache) override;
    Transaction *createOsUpdateSizeTransaction(UpgradeInformation::Ptr info) override;
    Transaction *createDistUpgradeTransaction(bool downloadOnly) override;
    Transaction *createListTransaction(PackageList::Ptr list) override;
    Transaction *createInstallTransaction(const QString &package,
                                          PackageInformation::Ptr info) override;
    Transaction *createUninstallTransaction(const QString &package, bool autoRemove) override;
    Transaction *createInfoTransaction(const QString &packageFile,
                                       PackageInformation::Ptr info) override;
    Transaction *createPackageFilesTransaction(const QString &package, QStringList *files) override;
    Transaction *createPackageNameTransaction(const QString &file,
                                              PackageInformation::Ptr info) override;
    Transaction *createRepositoryTransaction(Transaction *wrapped, const QString &version,
                                             bool restoreVersion,
                                             const QStringList &requiredRepositories) override;
    [[nodiscard]] int compareVersions(const QString &a, const QString &b) const override;
    [[nodiscard]] QStringList packageDesktopFiles(const QString &package) const override;
    [[nodiscard]] QString packageNameByDesktopFile(const QString &desktopFile) const override;

private Q_SLOTS:
    void slotTransactionListChanged(QStringList tids);

private:
    QTimer m_idleTimer;
    std::chrono::milliseconds m_retryDelay;
};

} // namespace Package
