#include "daemonadaptor.h"

#include "packagedaemon.h"

#include <Daemon>
#include <QDBusMetaType>

#include <limits>

DaemonAdaptor::DaemonAdaptor(PackageDaemon *daemon)
    : QDBusAbstractAdaptor(daemon)
    , m_daemon(daemon)
{
    qDBusRegisterMetaType<QList<QVariantMap>>();
    qDBusRegisterMetaType<PackageHistory>();
}

qulonglong DaemonAdaptor::roles() const
{
    qulonglong roles = 0;
    for (const Role role :
         {Transaction::RoleCancel, Transaction::RoleDependsOn, Transaction::RoleGetDetails,
          Transaction::RoleGetFiles, Transaction::RoleGetPackages, Transaction::RoleGetRepoList,
          Transaction::RoleGetUpdates, Transaction::RoleInstallFiles,
          Transaction::RoleInstallPackages, Transaction::RoleRefreshCache,
          Transaction::RoleRemovePackages, Transaction::RoleRepoEnable,
          Transaction::RoleRepoSetData, Transaction::RoleResolve, Transaction::RoleSearchFile,
          Transaction::RoleUpdatePackages, Transaction::RoleUpgradeSystem})
        roles |= 1ULL << role;
    return roles;
}

qulonglong DaemonAdaptor::filters() const
{
    return Transaction::FilterInstalled | Transaction::FilterNewest;
}

QStringList DaemonAdaptor::mimeTypes() const
{
    return {QStringLiteral("application/x-rpm")};
}

bool DaemonAdaptor::locked() const
{
    return m_daemon->isLocked();
}

uint DaemonAdaptor::networkState() const
{
    return PackageKit::Daemon::NetworkOnline;
}

uint DaemonAdaptor::CanAuthorize(const QString &)
{
    return PackageKit::Daemon::AuthorizeYes;
}

QDBusObjectPath DaemonAdaptor::CreateTransaction(const QDBusMessage &message)
{
    return QDBusObjectPath(m_daemon->createTransaction(message.service()));
}

uint DaemonAdaptor::GetTimeSinceAction(uint)
{
    return std::numeric_limits<uint>::max(); // never
}

QList<QDBusObjectPath> DaemonAdaptor::GetTransactionList()
{
    QList<QDBusObjectPath> paths;
    const QStringList list = m_daemon->transactionPaths();
    for (const QString &path : list)
        paths.append(QDBusObjectPath(path));
    return paths;
}

void DaemonAdaptor::StateHasChanged(const QString &)
{
    m_daemon->recordDaemonCall(QStringLiteral("StateHasChanged"));
}

/** Only noted: whoever tests a client wants to read the record afterwards. */
void DaemonAdaptor::SuggestDaemonQuit()
{
    m_daemon->recordDaemonCall(QStringLiteral("SuggestDaemonQuit"));
}

PackageHistory DaemonAdaptor::GetPackageHistory(const QStringList &names, uint)
{
    PackageHistory history;
    for (const QString &name : names)
        history.insert(name, {});
    return history;
}

QString DaemonAdaptor::GetDaemonState()
{
    return m_daemon->transactionPaths().join(QLatin1Char('\n'));
}

void DaemonAdaptor::SetProxy(const QString &, const QString &, const QString &, const QString &,
                             const QString &, const QString &)
{
    m_daemon->recordDaemonCall(QStringLiteral("SetProxy"));
}
