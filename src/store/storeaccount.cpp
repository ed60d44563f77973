#include "storeaccount.h"

#include "account.h"
#include "accountmanager.h"
#include "backgroundactivity.h"
#include "branwickkeyprovider.h"
#include "redaction.h"
#include "signinparameters.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDebug>

#include <cstdlib>

namespace Store {

namespace {

constexpr char provider[] = "orvik";
constexpr char service[] = "orvik-store";
constexpr char clientIdKey[] = "client_id";

const QString signInMethod = QStringLiteral("Orvik");
const QString needUpdateKey = QStringLiteral("CredentialsNeedUpdate");
const QString needUpdateFromKey = QStringLiteral("CredentialsNeedUpdateFrom");
const QString ownName = QStringLiteral("kiosk-client");

constexpr int uiPolicyNone = 2; // a sign-in never asks the user
constexpr int credentialsPolicyRenew = 1; // a new token, not one that is kept

bool isUsable(const Account *account)
{
    const int status = account->status();
    return status == Account::StatusInitialized || status == Account::StatusSynced;
}

QString serviceName()
{
    return QLatin1String(service);
}

/** Access to the store's repository rests on the credentials that have just been renewed. */
void refreshStoreRepository()
{
    QDBusInterface releaseManager(QStringLiteral("org.tesk.rdm"), QStringLiteral("/org/tesk/rdm"),
                                  QStringLiteral("org.tesk.rdm"), QDBusConnection::systemBus());
    releaseManager.call(QDBus::Block, QStringLiteral("modifyRepo"), 1, QStringLiteral("store"));
    releaseManager.call(QDBus::Block, QStringLiteral("updateRepos"));
}

} // namespace

StoreAccount::StoreAccount(QObject *parent)
    : QObject(parent)
    , m_accountManager(new AccountManager(this))
{ }

StoreAccount::~StoreAccount() = default;

void StoreAccount::signIn()
{
    if (!m_account)
        m_account = getAccount();
    if (!m_account) {
        qWarning() << Q_FUNC_INFO << "No valid orvik account!";
        setState(AccountState::NoAccount);
        return;
    }
    if (credentialsNeedUpdate()) {
        qWarning() << Q_FUNC_INFO << "Account credentials need update!";
        setState(AccountState::NeedsUpdate);
        return;
    }
    trySignIn(m_account);
}

QString StoreAccount::accessToken() const
{
    return m_accessToken;
}

QString StoreAccount::userName() const
{
    return m_userName;
}

AccountState::State StoreAccount::state() const
{
    return m_state;
}

void StoreAccount::markCredentialsNeedUpdate()
{
    if (m_account) {
        m_account->setConfigurationValue(serviceName(), needUpdateKey, true);
        m_account->setConfigurationValue(serviceName(), needUpdateFromKey, ownName);
        // Has the account framework show its notification.
        m_account->setProperty("settingNotificationFlag", true);
        m_account->sync();
    }
    setState(AccountState::NeedsUpdate);
}

void StoreAccount::slotAccountStatusChanged()
{
    auto *account = qobject_cast<Account *>(sender());
    if (!account)
        return;
    if (m_state == AccountState::Waiting && isUsable(account)) {
        if (credentialsNeedUpdate()) {
            qWarning() << Q_FUNC_INFO << "Account credentials need update!";
            setState(AccountState::NeedsUpdate);
        } else {
            signIn(account);
        }
    } else if (account->status() == Account::StatusDeleted) {
        accountRemoved(account);
    }
}

void StoreAccount::slotSignInResponse(QVariantMap data)
{
    m_forceRefresh = false;
    if (m_account)
        m_userName = m_account->defaultCredentialsUserName();
    m_accessToken = data.value(QStringLiteral("AccessToken")).toString();
    const int expiresIn = data.value(QStringLiteral("ExpiresIn")).toInt(); // seconds
    if (!m_refreshActivity) {
        m_refreshActivity = new BackgroundActivity(this);
        connect(m_refreshActivity, &BackgroundActivity::running, this,
                &StoreAccount::slotRefreshToken);
    }
    m_refreshActivity->wait(expiresIn, -1);
    refreshStoreRepository();
    setState(AccountState::SignedIn);
}

void StoreAccount::slotSignInError(QString details, int errorType)
{
    qDebug() << Q_FUNC_INFO << errorType
             << withoutToken(withoutToken(details, m_accessToken), m_clientId);
    if (errorType == Account::ErrorNetwork) {
        setState(AccountState::NetworkError);
    } else if (!m_forceRefresh && m_account) {
        m_forceRefresh = true;
        signIn(m_account);
    } else {
        markCredentialsNeedUpdate();
    }
}

void StoreAccount::slotRefreshToken()
{
    trySignIn(m_account);
}

Account *StoreAccount::getAccount() const
{
    const QList<int> identifiers =
        m_accountManager->providerAccountIdentifiers(QLatin1String(provider));
    if (identifiers.isEmpty())
        return nullptr;
    Account *account = m_accountManager->account(identifiers.first());
    if (!account)
        return nullptr;
    // Whoever signs in to the store wants the service, so both switches are repaired.
    bool changed = false;
    if (!account->enabled()) {
        qDebug() << "Account was disabled!";
        account->setEnabled(true);
        changed = true;
    }
    if (!account->isEnabledWithService(serviceName())) {
        qDebug() << "Account was disabled with orvik-store service!";
        account->enableWithService(serviceName());
        changed = true;
    }
    if (changed)
        account->sync();
    return account;
}

QString StoreAccount::clientId() const
{
    char *value = nullptr;
    const int result = BranwickKeyProvider_storedKey(provider, service, clientIdKey, &value);
    if (result < 0 || !value) {
        qDebug() << Q_FUNC_INFO << "Failed to retrieve Client ID";
        std::free(value);
        return QString();
    }
    QString id = QString::fromLatin1(value);
    std::free(value);
    return id;
}

void StoreAccount::signIn(Account *account)
{
    setState(AccountState::SigningIn);
    connect(account, &Account::signInResponse, this, &StoreAccount::slotSignInResponse,
            Qt::UniqueConnection);
    connect(account, &Account::signInError, this, &StoreAccount::slotSignInError,
            Qt::UniqueConnection);
    SignInParameters *parameters =
        account->signInParameters(serviceName(), QStringLiteral(""), QStringLiteral(""));
    m_clientId = clientId();
    parameters->setParameter(QStringLiteral("ClientId"), m_clientId);
    parameters->setParameter(QStringLiteral("UiPolicy"), uiPolicyNone);
    if (m_forceRefresh) {
        qDebug() << "Forcing token refresh for the account";
        parameters->setParameter(QStringLiteral("CredentialsPolicy"), credentialsPolicyRenew);
    }
    account->signIn(signInMethod, signInMethod, parameters, QStringLiteral(""));
}

void StoreAccount::trySignIn(Account *account)
{
    if (!account) {
        qWarning() << Q_FUNC_INFO << "Unexpected null pointer!";
        return;
    }
    if (m_state != AccountState::SigningIn && isUsable(account)) {
        signIn(account);
        return;
    }
    setState(AccountState::Waiting);
    connect(account, &Account::statusChanged, this, &StoreAccount::slotAccountStatusChanged,
            Qt::UniqueConnection);
}

void StoreAccount::setState(AccountState::State state)
{
    if (state != m_state) {
        qDebug() << Q_FUNC_INFO << int(m_state) << "-->" << int(state);
        m_state = state;
        Q_EMIT accountStateChanged();
    }
    const bool failed = m_state == AccountState::NoAccount || m_state == AccountState::NeedsUpdate
        || m_state == AccountState::NetworkError;
    if (m_refreshActivity && failed) {
        // It may be the one whose signal has led here.
        m_refreshActivity->disconnect(this);
        m_refreshActivity->deleteLater();
        m_refreshActivity = nullptr;
    }
}

bool StoreAccount::credentialsNeedUpdate() const
{
    if (!m_account)
        return false;
    return m_account->configurationValues(QString()).value(needUpdateKey, false).toBool()
        || m_account->configurationValues(serviceName()).value(needUpdateKey, false).toBool();
}

void StoreAccount::accountRemoved(Account *account)
{
    account->signOut(signInMethod, signInMethod);
    m_userName.clear();
    m_accessToken.clear();
    account->disconnect(this);
    account->deleteLater();
    m_account = nullptr;
    setState(AccountState::NoAccount);
}

} // namespace Store
