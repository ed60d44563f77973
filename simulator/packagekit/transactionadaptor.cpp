#include "transactionadaptor.h"

#include "packagetransaction.h"

#include <unistd.h>

TransactionAdaptor::TransactionAdaptor(PackageTransaction *transaction)
    : QDBusAbstractAdaptor(transaction)
    , m_transaction(transaction)
{ }

uint TransactionAdaptor::role() const
{
    return m_transaction->role();
}

uint TransactionAdaptor::status() const
{
    return m_transaction->status();
}

QString TransactionAdaptor::lastPackage() const
{
    return m_transaction->lastPackage();
}

uint TransactionAdaptor::uid() const
{
    return ::getuid();
}

QString TransactionAdaptor::sender() const
{
    return m_transaction->sender();
}

uint TransactionAdaptor::percentage() const
{
    return m_transaction->percentage();
}

bool TransactionAdaptor::allowCancel() const
{
    return m_transaction->allowCancel();
}

bool TransactionAdaptor::callerActive() const
{
    return m_transaction->isCallerActive();
}

uint TransactionAdaptor::elapsedTime() const
{
    return m_transaction->elapsedSeconds();
}

qulonglong TransactionAdaptor::transactionFlags() const
{
    return m_transaction->flags();
}

void TransactionAdaptor::begin(int role, const QDBusMessage &message)
{
    m_transaction->begin(Role(role), message);
}

void TransactionAdaptor::SetHints(const QStringList &)
{
    // Language and patience of the caller make no difference to a simulation.
}

void TransactionAdaptor::Cancel(const QDBusMessage &message)
{
    m_transaction->cancel(message);
}

void TransactionAdaptor::DependsOn(qulonglong, const QStringList &, bool,
                                   const QDBusMessage &message)
{
    begin(Transaction::RoleDependsOn, message);
}

void TransactionAdaptor::GetDetails(const QStringList &, const QDBusMessage &message)
{
    begin(Transaction::RoleGetDetails, message);
}

void TransactionAdaptor::GetFiles(const QStringList &, const QDBusMessage &message)
{
    begin(Transaction::RoleGetFiles, message);
}

void TransactionAdaptor::GetPackages(qulonglong, const QDBusMessage &message)
{
    begin(Transaction::RoleGetPackages, message);
}

void TransactionAdaptor::GetRepoList(qulonglong, const QDBusMessage &message)
{
    begin(Transaction::RoleGetRepoList, message);
}

void TransactionAdaptor::GetUpdates(qulonglong, const QDBusMessage &message)
{
    begin(Transaction::RoleGetUpdates, message);
}

void TransactionAdaptor::InstallFiles(qulonglong, const QStringList &, const QDBusMessage &message)
{
    begin(Transaction::RoleInstallFiles, message);
}

void TransactionAdaptor::InstallPackages(qulonglong, const QStringList &,
                                         const QDBusMessage &message)
{
    begin(Transaction::RoleInstallPackages, message);
}

void TransactionAdaptor::RefreshCache(bool, const QDBusMessage &message)
{
    begin(Transaction::RoleRefreshCache, message);
}

void TransactionAdaptor::RemovePackages(qulonglong, const QStringList &, bool, bool,
                                        const QDBusMessage &message)
{
    begin(Transaction::RoleRemovePackages, message);
}

void TransactionAdaptor::RepoEnable(const QString &, bool, const QDBusMessage &message)
{
    begin(Transaction::RoleRepoEnable, message);
}

void TransactionAdaptor::RepoSetData(const QString &, const QString &, const QString &,
                                     const QDBusMessage &message)
{
    begin(Transaction::RoleRepoSetData, message);
}

void TransactionAdaptor::Resolve(qulonglong, const QStringList &, const QDBusMessage &message)
{
    begin(Transaction::RoleResolve, message);
}

void TransactionAdaptor::SearchFiles(qulonglong, const QStringList &, const QDBusMessage &message)
{
    begin(Transaction::RoleSearchFile, message);
}

void TransactionAdaptor::UpdatePackages(qulonglong, const QStringList &,
                                        const QDBusMessage &message)
{
    begin(Transaction::RoleUpdatePackages, message);
}

void TransactionAdaptor::UpgradeSystem(qulonglong, const QString &, uint,
                                       const QDBusMessage &message)
{
    begin(Transaction::RoleUpgradeSystem, message);
}
