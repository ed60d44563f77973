#pragma once

#include "signinsession.h"

#include <SignOn/AuthSession>
#include <SignOn/Identity>

#include <QPointer>
#include <QTimer>

/**
 * A sign-in carried out by the sign-on daemon.
 *
 * The daemon, and the process that it runs a method in, come and go by themselves, and a
 * request that meets their end may never be answered. None of that says anything about
 * the user's credentials: such an accident is tried once more with everything made anew,
 * and then counts as a lack of network.
 */
class SignonSession final : public SignInSession
{
    Q_OBJECT

public:
    /** @param credentials number of the stored credentials, 0 for none. */
    explicit SignonSession(quint32 credentials, QObject *parent = nullptr);
    ~SignonSession() override;

    void start(const QString &method, const QString &mechanism,
               const QVariantMap &parameters) override;
    void cancel() override;

    /** Makes the daemon forget its sessions with the stored @p credentials; no outcome. */
    static void signOut(quint32 credentials, QObject *parent);

private:
    void attempt();
    void retryOrFail(const QString &details);
    void fail(const QString &details, int errorType);
    void release();

    void onResponse(const SignOn::SessionData &data);
    void onError(const SignOn::Error &error);
    void onDaemonGone();
    void onGuardTimeout();

    quint32 m_credentials;
    QString m_method;
    QString m_mechanism;
    QVariantMap m_parameters;
    QPointer<SignOn::Identity> m_identity; // of the attempt that is running
    QPointer<SignOn::AuthSession> m_session; // owned by the identity
    QTimer m_guard;
    int m_attemptsLeft;
};
