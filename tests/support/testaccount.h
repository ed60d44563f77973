#pragma once

#include "platform/accountmanager.h"

#include <QVariant>

class Account;

/** The phone's account as another program of the device would change it. */
class TestAccount
{
public:
    TestAccount();

    /** The flag that the user must renew the credentials; @p service may be empty. */
    void setNeedsUpdate(const QString &service, bool needed);
    void setEnabled(bool enabled);
    [[nodiscard]] bool enabled() const;
    [[nodiscard]] QVariant value(const QString &service, const QString &key) const;
    /** Clears both flags and enables the account. */
    void repair();

private:
    void write();

    AccountManager m_manager;
    Account *m_account;
};
