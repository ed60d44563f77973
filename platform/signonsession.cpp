#include "signonsession.h"

#include "account.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr int maximumAttempts = 2;
// Longer than a method's own time-out: it is for requests that nobody answers any more.
constexpr std::chrono::milliseconds guardTime = 45s;
constexpr std::chrono::milliseconds signOutGuardTime = 10s;

QString daemonName()
{
    return QStringLiteral("com.google.code.AccountsSSO.SingleSignOn");
}

/** What an error of the daemon says about the sign-in. */
enum class Verdict { Refused, NoNetwork, Accident };

Verdict verdict(int errorType)
{
    switch (errorType) {
    case SignOn::Error::NoConnection:
    case SignOn::Error::Network:
    case SignOn::Error::TimedOut:
        return Verdict::NoNetwork;
    case SignOn::Error::Unknown:
    case SignOn::Error::InternalServer:
    case SignOn::Error::InternalCommunication:
    case SignOn::Error::Runtime:
        return Verdict::Accident;
    default:
        return Verdict::Refused;
    }
}

SignOn::Identity *newIdentity(quint32 credentials, QObject *parent)
{
    if (credentials == 0)
        return SignOn::Identity::newIdentity(SignOn::IdentityInfo(), parent);
    return SignOn::Identity::existingIdentity(credentials, parent);
}

} // namespace

SignonSession::SignonSession(quint32 credentials, QObject *parent)
    : SignInSession(parent)
    , m_credentials(credentials)
    , m_attemptsLeft(maximumAttempts)
{
    m_guard.setSingleShot(true);
    connect(&m_guard, &QTimer::timeout, this, &SignonSession::onGuardTimeout);
    auto *watcher = new QDBusServiceWatcher(daemonName(), QDBusConnection::sessionBus(),
                                            QDBusServiceWatcher::WatchForUnregistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this, &SignonSession::onDaemonGone);
}

SignonSession::~SignonSession()
{
    release();
}

void SignonSession::start(const QString &method, const QString &mechanism,
                          const QVariantMap &parameters)
{
    m_method = method;
    m_mechanism = mechanism;
    m_parameters = parameters;
    QMetaObject::invokeMethod(this, &SignonSession::attempt, Qt::QueuedConnection);
}

void SignonSession::cancel()
{
    m_attemptsLeft = 0;
    release();
}

void SignonSession::signOut(quint32 credentials, QObject *parent)
{
    if (credentials == 0 || !QDBusConnection::sessionBus().isConnected())
        return; // the daemon keeps nothing of a sign-in without stored credentials
    SignOn::Identity *identity = newIdentity(credentials, parent);
    if (!identity)
        return;
    connect(identity, &SignOn::Identity::signedOut, identity, &QObject::deleteLater);
    connect(identity, &SignOn::Identity::error, identity, &QObject::deleteLater);
    QTimer::singleShot(signOutGuardTime, identity, &QObject::deleteLater);
    identity->signOut();
}

void SignonSession::attempt()
{
    if (m_attemptsLeft == 0)
        return; // cancelled before it began
    --m_attemptsLeft;
    if (!QDBusConnection::sessionBus().isConnected()) {
        fail(QStringLiteral("No session bus"), Account::ErrorNetwork);
        return;
    }
    m_identity = newIdentity(m_credentials, this);
    if (m_identity)
        m_session = m_identity->createSession(m_method);
    if (!m_session) {
        retryOrFail(QStringLiteral("No session of the sign-on daemon"));
        return;
    }
    connect(m_session, &SignOn::AuthSession::response, this, &SignonSession::onResponse);
    connect(m_session, &SignOn::AuthSession::error, this, &SignonSession::onError);
    m_guard.start(guardTime);
    m_session->process(SignOn::SessionData(m_parameters), m_mechanism);
}

void SignonSession::retryOrFail(const QString &details)
{
    release();
    if (m_attemptsLeft > 0)
        QMetaObject::invokeMethod(this, &SignonSession::attempt, Qt::QueuedConnection);
    else
        fail(details, Account::ErrorNetwork);
}

void SignonSession::fail(const QString &details, int errorType)
{
    m_attemptsLeft = 0;
    Q_EMIT failed(details, errorType);
}

void SignonSession::release()
{
    m_guard.stop();
    if (m_session) {
        m_session->disconnect(this);
        m_session->cancel();
    }
    m_session.clear();
    if (m_identity) {
        m_identity->disconnect(this);
        m_identity->deleteLater();
    }
    m_identity.clear();
}

void SignonSession::onResponse(const SignOn::SessionData &data)
{
    m_attemptsLeft = 0;
    const QVariantMap values = data.toMap();
    release();
    Q_EMIT succeeded(values);
}

void SignonSession::onError(const SignOn::Error &error)
{
    const int type = error.type();
    const QString details = error.message();
    switch (verdict(type)) {
    case Verdict::Accident:
        retryOrFail(details);
        return;
    case Verdict::NoNetwork:
        release();
        fail(details, Account::ErrorNetwork);
        return;
    case Verdict::Refused:
        release();
        fail(details, type);
        return;
    }
}

void SignonSession::onDaemonGone()
{
    if (m_session)
        retryOrFail(QStringLiteral("The sign-on daemon went away"));
}

void SignonSession::onGuardTimeout()
{
    retryOrFail(QStringLiteral("The sign-on daemon doesn't answer"));
}
