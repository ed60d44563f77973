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

Account::Private::Private(Accounts::Account *stored)
    : account(stored)
{ }

Account::Private::~Private() = default;

bool Account::Private::select(const QString &service) const
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

Account::Account(Private *implementation, QObject *parent)
    : QObject(parent)
    , d(implementation)
{
    connect(d->account.get(), &Accounts::Account::synced, this, [this] { syncFinished(true); });
    connect(d->account.get(), &Accounts::Account::error, this,
            [this](const Accounts::Error &error) {
                qWarning() << "Could not write the account:" << error.message();
                if (error.type() == Accounts::Error::Deleted)
                    setStatus(StatusDeleted);
                else
                    syncFinished(false);
            });
    connect(d->account.get(), &Accounts::Account::removed, this,
            [this] { setStatus(StatusDeleted); });
}

Account::~Account()
{
    d->account->disconnect(this);
}

int Account::status() const
{
    return d->status;
}

bool Account::enabled() const
{
    return d->select({}) && d->account->enabled();
}

void Account::setEnabled(bool enabled)
{
    if (d->select({}))
        d->account->setEnabled(enabled);
}

bool Account::isEnabledWithService(const QString &service) const
{
    return d->select(service) && d->account->enabled();
}

void Account::enableWithService(const QString &service)
{
    if (d->select(service))
        d->account->setEnabled(true);
}

QVariantMap Account::configurationValues(const QString &service) const
{
    QVariantMap values;
    if (!d->select(service))
        return values;
    const QStringList keys = d->account->allKeys();
    for (const QString &key : keys)
        values.insert(key, d->account->value(key));
    return values;
}

void Account::setConfigurationValue(const QString &service, const QString &key,
                                    const QVariant &value)
{
    if (d->select(service))
        d->account->setValue(key, value);
}

void Account::sync()
{
    if (d->status == StatusDeleted)
        return;
    if (d->status == StatusSyncing) {
        d->syncAgain = true;
        return;
    }
    d->usableStatus = d->status;
    setStatus(StatusSyncing);
    writeChanges();
}

void Account::writeChanges()
{
    if (turnsMainLoop())
        d->account->sync();
    else
        syncFinished(d->account->syncAndBlock());
}

void Account::syncFinished(bool written)
{
    if (d->status != StatusSyncing)
        return;
    if (d->syncAgain) {
        d->syncAgain = false;
        writeChanges();
        return;
    }
    setStatus(written ? StatusSynced : d->usableStatus);
}

void Account::setStatus(int status)
{
    if (d->status == status || d->status == StatusDeleted)
        return;
    d->status = status;
    Q_EMIT statusChanged();
}

QString Account::defaultCredentialsUserName() const
{
    if (!d->select({}))
        return {};
    const QString userName = d->account->valueAsString(userNameKey());
    return userName.isEmpty() ? d->account->displayName() : userName;
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
    const bool known = d->select(service);
    const quint32 credentials = known ? d->account->credentialsId() : 0;

    d->session = new SignonSession(credentials, this);
    connect(d->session, &SignInSession::succeeded, this, [this](const QVariantMap &data) {
        endSession();
        Q_EMIT signInResponse(data);
    });
    connect(d->session, &SignInSession::failed, this,
            [this](const QString &details, int errorType) {
                endSession();
                Q_EMIT signInError(details, errorType);
            });
    d->session->start(method, mechanism, values);
}

void Account::signOut(const QString &, const QString &)
{
    endSession();
    if (d->status != StatusDeleted && d->select({}))
        SignonSession::signOut(d->account->credentialsId(), this);
}

void Account::endSession()
{
    if (!d->session)
        return;
    d->session->disconnect(this);
    d->session->cancel();
    d->session->deleteLater();
    d->session = nullptr;
}
