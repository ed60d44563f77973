#include "instantmanager.h"

#include "package/managerpkgkit.h"

#include <QTimer>

using Package::Transaction;

InstantTransaction::InstantTransaction(Transaction *wrapped)
    : m_wrapped(wrapped)
{ }

void InstantTransaction::start()
{
    if (m_wrapped) {
        connect(m_wrapped, &Transaction::finished, this, &InstantTransaction::succeed);
        m_wrapped->start();
    } else {
        QTimer::singleShot(0, this, &InstantTransaction::succeed);
    }
}

InstantManager::InstantManager(int packages)
    : m_packages(packages)
    , m_real(new Package::ManagerPkgKit)
{ }

Transaction *InstantManager::createDistCheckTransaction(UpgradeInformation::Ptr, bool)
{
    return new InstantTransaction;
}

Transaction *InstantManager::createOsUpdateSizeTransaction(UpgradeInformation::Ptr)
{
    return new InstantTransaction;
}

Transaction *InstantManager::createDistUpgradeTransaction(bool)
{
    return new InstantTransaction;
}

Transaction *InstantManager::createListTransaction(PackageList::Ptr list)
{
    for (int i = 0; i < m_packages; ++i)
        list->add({QStringLiteral("application-%1").arg(i), QStringLiteral("1.15-2"),
                   QStringLiteral("One of many")});
    return new InstantTransaction;
}

Transaction *InstantManager::createInstallTransaction(const QString &package,
                                                      PackageInformation::Ptr info)
{
    info->name = package;
    info->version = QStringLiteral("1.15-2");
    return new InstantTransaction;
}

Transaction *InstantManager::createUninstallTransaction(const QString &, bool)
{
    return new InstantTransaction;
}

Transaction *InstantManager::createInfoTransaction(const QString &, PackageInformation::Ptr)
{
    return new InstantTransaction;
}

Transaction *InstantManager::createPackageFilesTransaction(const QString &, QStringList *)
{
    return new InstantTransaction;
}

Transaction *InstantManager::createPackageNameTransaction(const QString &, PackageInformation::Ptr)
{
    return new InstantTransaction;
}

Transaction *InstantManager::createRepositoryTransaction(Transaction *wrapped, const QString &,
                                                         bool, const QStringList &)
{
    return new InstantTransaction(wrapped);
}

int InstantManager::compareVersions(const QString &a, const QString &b) const
{
    return m_real->compareVersions(a, b);
}

QStringList InstantManager::packageDesktopFiles(const QString &) const
{
    return {};
}

QString InstantManager::packageNameByDesktopFile(const QString &) const
{
    return {};
}
