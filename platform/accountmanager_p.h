#pragma once

#include "accountmanager.h"

#include <Accounts/Manager>

#include <QHash>
#include <QPointer>
#include <QSharedPointer>

class Account;

/** The account database behind an AccountManager. */
class AccountManager::Storage
{
public:
    Storage();

    /** Whether the database holds the account @p identifier now. */
    [[nodiscard]] bool holds(int identifier) const;

    /**
     * The one connection of this process to the database. A second one would break the
     * locks of the first: opening probes the file with a plain open() and close(), which
     * gives up all locks that the process holds on it.
     */
    QSharedPointer<Accounts::Manager> manager;
    QHash<int, QPointer<Account>> accounts; // handed out already
};
