#include "accountmanager.h"

#include "account.h"
#include "account_p.h"
#include "accountmanager_p.h"

#include <QDBusConnection>

#include <gio/gio.h>

#include <algorithm>

namespace {

// The database answers without a bus, as long as it isn't told to announce changes there.
Accounts::Manager::Options managerOptions()
{
    if (QDBusConnection::sessionBus().isConnected())
        return {};
    return Accounts::Manager::DisableNotifications;
}

// The account library's own connection ends the process by a signal when the bus goes away,
// which is the default there and not for a library to decide.
void outliveTheBus()
{
    GDBusConnection *bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (!bus)
        return;
    g_dbus_connection_set_exit_on_close(bus, FALSE);
    g_object_unref(bus);
}

QSharedPointer<Accounts::Manager> sharedManager()
{
    static QWeakPointer<Accounts::Manager> shared;
    QSharedPointer<Accounts::Manager> manager = shared.toStrongRef();
    if (!manager) {
        manager = QSharedPointer<Accounts::Manager>::create(managerOptions());
        shared = manager;
        if (QDBusConnection::sessionBus().isConnected())
            outliveTheBus();
    }
    return manager;
}

} // namespace

AccountManager::Storage::Storage()
    : manager(sharedManager())
{ }

bool AccountManager::Storage::holds(int identifier) const
{
    return identifier > 0 && manager->accountList().contains(Accounts::AccountId(identifier));
}

AccountManager::AccountManager(QObject *parent)
    : QObject(parent)
    , m_storage(new Storage)
{ }

AccountManager::~AccountManager()
{
    // Accounts refer to the database, so they can't wait for their parent's destructor.
    qDeleteAll(findChildren<Account *>(QString(), Qt::FindDirectChildrenOnly));
}

QList<int> AccountManager::providerAccountIdentifiers(const QString &provider) const
{
    QList<int> identifiers;
    const Accounts::AccountIdList present = m_storage->manager->accountList();
    for (const Accounts::AccountId identifier : present) {
        const std::unique_ptr<Accounts::Account> account(
            Accounts::Account::fromId(m_storage->manager.data(), identifier));
        if (account && account->providerName() == provider)
            identifiers.append(int(identifier));
    }
    std::sort(identifiers.begin(), identifiers.end());
    return identifiers;
}

Account *AccountManager::account(int identifier)
{
    if (!m_storage->holds(identifier))
        return nullptr;
    QPointer<Account> &account = m_storage->accounts[identifier];
    if (account && account->status() != Account::StatusDeleted)
        return account;
    Accounts::Account *stored =
        Accounts::Account::fromId(m_storage->manager.data(), Accounts::AccountId(identifier));
    account = stored ? new Account(new Account::Storage(stored), this) : nullptr;
    return account;
}
