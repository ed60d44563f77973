#pragma once

#include "accountstate.h"

#include <QObject>
#include <QPointer>
#include <QVariantMap>

class Account;
class AccountManager;
class BackgroundActivity;

namespace Store {

/**
 * The user's sign-in to the store: finds the account, repairs it where it was disabled,
 * signs in, keeps the bearer token and renews it at its expiry.
 */
class StoreAccount : public QObject
{
    Q_OBJECT

public:
    explicit StoreAccount(QObject *parent = nullptr);
    ~StoreAccount() override;

    /**
     * Starts a sign-in; accountStateChanged() tells how far it has come. One that is asked
     * for while another runs, or while the account is busy, waits for the account's status
     * to change.
     */
    void signIn();

    /** The bearer token; the old one stays usable while it is being renewed. */
    [[nodiscard]] QString accessToken() const;
    /** The account's user name at the last sign-in. */
    [[nodiscard]] QString userName() const;
    [[nodiscard]] AccountState::State state() const;

    /**
     * Records with the account, if there is one, that the user must renew the credentials; the
     * state becomes NeedsUpdate, and a planned renewal is dropped.
     */
    void markCredentialsNeedUpdate();

Q_SIGNALS:
    void accountStateChanged();

private Q_SLOTS:
    void slotAccountStatusChanged();
    void slotSignInResponse(QVariantMap data);
    void slotSignInError(QString details, int errorType);
    void slotRefreshToken();

private:
    /** The first account of the provider, enabled for the store if it wasn't; or null. */
    [[nodiscard]] Account *getAccount() const;
    [[nodiscard]] QString clientId() const;
    void signIn(Account *account);
    void trySignIn(Account *account);
    /** A state without a usable account also drops a planned renewal. */
    void setState(AccountState::State state);
    [[nodiscard]] bool credentialsNeedUpdate() const;
    void accountRemoved(Account *account);

    AccountManager *m_accountManager;
    QPointer<Account> m_account; // the manager's; null until found and after its removal
    AccountState::State m_state = AccountState::Unknown;
    QString m_accessToken;
    QString m_clientId; // that the latest sign-in has been given
    QString m_userName;
    bool m_forceRefresh = false; // the next sign-in asks for a new token
    BackgroundActivity *m_refreshActivity = nullptr; // child; null if no renewal is planned
};

} // namespace Store
