#pragma once

#include "account.h"

#include <Accounts/Account>

#include <memory>

class SignInSession;

/** An account of the database, and what is going on with it. */
class Account::Storage
{
public:
    explicit Storage(Accounts::Account *stored);
    ~Storage();

    /** Selects @p service for the next access; false if the device has no such service. */
    [[nodiscard]] bool select(const QString &service) const;

    std::unique_ptr<Accounts::Account> account;
    int status = StatusInitialized;
    int usableStatus = StatusInitialized; // to return to when nothing could be written
    bool syncAgain = false; // sync() was called while one was running
    SignInSession *session = nullptr; // child of the account object, null while none runs
};
