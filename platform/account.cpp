#include "account.h"

#include "account_p.h"
#include "signinparameters.h"
#include "signonsession.h"

#include <Accounts/Manager>

#include <QAbstractEventDispatcher>
#include <QDebug>

namespace {

QString userNameKey() // among the account's global settings
{
    return QStringLiteral("default_credentials_username");
}

QString userNameParameter()
{
    return QStringLiteral("UserName");
}

QString passwordParameter()
{
    return QStringLiteral("Secret");
}

/** Whether work that the account database does in GLib's main loop ever gets done. */
bool turnsMainLoop()
{
    const QAbstractEventDispatcher *dispatcher = QAbstractEventDispatcher::instance();
    return dispatcher && dispatcher->inherits("QEventDispatcherGlib");
}

} // namespace

Account::Storage::Storage(Accounts::Account *stored)
    : account(stored)
{ }

Account::Storage::~Storage() = default;

bool Account::Storage::select(const QString &service) const
{
    if (service.isEmpty()) {
        account->selectService();
        return true;
    }
    const Accounts::Service known = account->manager()->service(service);
    if (!known.isValid())
        return false; // selecting it would select the global settings
    account->selectService(known);
    return true;
}

Account::Account(Storage *implementation, QObject *parent)
    : QObject(parent)
    , m_storage(implementation)
{
    connect(m_storage->account.get(), &Accounts::Account::synced, this,
            [this] { syncFinished(true); });
    connect(m_storage->account.get(), &Accounts::Account::error, this,
            [this](const Accounts::Error &error) {
                qWarning() << "Could not write the account:" << error.message();
                if (error.type() == Accounts::Error::Deleted)
                    setStatus(StatusDeleted);
                else
                    syncFinished(false);
            });
    connect(m_storage->account.get(), &Accounts::Account::removed, this,
            [this] { setStatus(StatusDeleted); });
}

Account::~Account()
{
    m_storage->account->disconnect(this);
}

int Account::status() const
{
    return m_storage->status;
}

bool Account::enabled() const
{
    return m_storage->select({}) && m_storage->account->enabled();
}

void Account::setEnabled(bool enabled)
{
    if (m_storage->select({}))
        m_storage->account->setEnabled(enabled);
}

bool Account::isEnabledWithService(const QString &service) const
{
    return m_storage->select(service) && m_storage->account->enabled();
}

void Account::enableWithService(const QString &service)
{
    if (m_storage->select(service))
        m_storage->account->setEnabled(true);
}

QVariantMap Account::configurationValues(const QString &service) const
{
    QVariantMap values;
    if (!m_storage->select(service))
        return values;
    const QStringList keys = m_storage->account->allKeys();
    for (const QString &key : keys)
        values.insert(key, m_storage->account->value(key));
    return values;
}

void Account::setConfigurationValue(const QString &service, const QString &key,
                                    const QVariant &value)
{
    if (m_storage->select(service))
        m_storage->account->setValue(key, value);
}

void Account::sync()
{
    if (m_storage->status == StatusDeleted)
        return;
    if (m_storage->status == StatusSyncing) {
        m_storage->syncAgain = true;
        return;
    }
    m_storage->usableStatus = m_storage->status;
    setStatus(StatusSyncing);
    writeChanges();
}

void Account::writeChanges()
{
    if (turnsMainLoop())
        m_storage->account->sync();
    else
        syncFinished(m_storage->account->syncAndBlock());
}

void Account::syncFinished(bool written)
{
    if (m_storage->status != StatusSyncing)
        return;
    if (m_storage->syncAgain) {
        m_storage->syncAgain = false;
        writeChanges();
        return;
    }
    setStatus(written ? StatusSynced : m_storage->usableStatus);
}

void Account::setStatus(int status)
{
    if (m_storage->status == status || m_storage->status == StatusDeleted)
        return;
    m_storage->status = status;
    Q_EMIT statusChanged();
}

QString Account::defaultCredentialsUserName() const
{
    if (!m_storage->select({}))
        return {};
    const QString userName = m_storage->account->valueAsString(userNameKey());
    return userName.isEmpty() ? m_storage->account->displayName() : userName;
}

SignInParameters *Account::signInParameters(const QString &, const QString &userName,
                                            const QString &password)
{
    auto *parameters = new SignInParameters(this);
    if (!userName.isEmpty())
        parameters->setParameter(userNameParameter(), userName);
    if (!password.isEmpty())
        parameters->setParameter(passwordParameter(), password);
    return parameters;
}

void Account::signIn(const QString &method, const QString &mechanism, SignInParameters *parameters,
                     const QString &service)
{
    endSession();
    QVariantMap values;
    if (parameters) {
        values = parameters->parameters();
        parameters->deleteLater();
    }
    const QString userName = defaultCredentialsUserName();
    if (!values.contains(userNameParameter()) && !userName.isEmpty())
        values.insert(userNameParameter(), userName);
    const bool known = m_storage->select(service);
    const quint32 credentials = known ? m_storage->account->credentialsId() : 0;

    m_storage->session = new SignonSession(credentials, this);
    connect(m_storage->session, &SignInSession::succeeded, this, [this](const QVariantMap &data) {
        endSession();
        Q_EMIT signInResponse(data);
    });
    connect(m_storage->session, &SignInSession::failed, this,
            [this](const QString &details, int errorType) {
                endSession();
                Q_EMIT signInError(details, errorType);
            });
    m_storage->session->start(method, mechanism, values);
}

void Account::signOut(const QString &, const QString &)
{
    endSession();
    if (m_storage->status != StatusDeleted && m_storage->select({}))
        SignonSession::signOut(m_storage->account->credentialsId(), this);
}

void Account::endSession()
{
    if (!m_storage->session)
        return;
    m_storage->session->disconnect(this);
    m_storage->session->cancel();
    m_storage->session->deleteLater();
    m_storage->session = nullptr;
}
