#pragma once

#include <QObject>
#include <QVariantMap>

class SignInParameters;

/**
 * One account of the device: its settings, and signing in with it.
 *
 * status() is 0 or 2 when the account can be used, 7 once it no longer exists, and another
 * value while changes are being written. Every change of it is announced.
 */
class Account : public QObject
{
    Q_OBJECT

public:
    static constexpr int StatusInitialized = 0;
    static constexpr int StatusSyncing = 1;
    static constexpr int StatusSynced = 2;
    static constexpr int StatusDeleted = 7;

    /** Type of signInError() for a sign-in that failed for lack of network. */
    static constexpr int ErrorNetwork = 11;

    ~Account() override;

    [[nodiscard]] int status() const;
    [[nodiscard]] bool enabled() const;
    void setEnabled(bool enabled);
    [[nodiscard]] bool isEnabledWithService(const QString &service) const;
    void enableWithService(const QString &service);

    /**
     * Settings for @p service; an empty name stands for the account's global settings. A
     * service that the device doesn't have has no settings, and none can be set for it. What
     * has been set shows when it is written.
     */
    [[nodiscard]] QVariantMap configurationValues(const QString &service) const;
    void setConfigurationValue(const QString &service, const QString &key, const QVariant &value);

    /**
     * Writes the changes made since the last call; returns at once. The status is
     * StatusSyncing until they are written, then StatusSynced, or what it was before if
     * they could not be.
     */
    void sync();

    /** The setting "default_credentials_username" of the account, else its display name. */
    [[nodiscard]] QString defaultCredentialsUserName() const;

    /** New parameters for signIn(), owned by this account until they are used. */
    [[nodiscard]] SignInParameters *
    signInParameters(const QString &service, const QString &userName, const QString &password);

    /**
     * Starts a sign-in, which ends in signInResponse() or signInError(), never in both and
     * never in neither, and not before this has returned. A sign-in that is still running
     * is abandoned for the new one. Takes @p parameters over.
     */
    void signIn(const QString &method, const QString &mechanism, SignInParameters *parameters,
                const QString &service);
    /** Ends the session of earlier sign-ins and abandons one that is running. */
    void signOut(const QString &method, const QString &mechanism);

Q_SIGNALS:
    void statusChanged();
    /** @param data the answer, with "AccessToken" and "ExpiresIn" (seconds). */
    void signInResponse(const QVariantMap &data);
    /** @param errorType a number of the sign-in framework, or ErrorNetwork. */
    void signInError(const QString &details, int errorType);

private:
    friend class AccountManager;
    class Storage; // keeps the account library out of this header
    Account(Storage *implementation, QObject *parent);
    void writeChanges();
    void syncFinished(bool written);
    void setStatus(int status);
    void endSession();

    QScopedPointer<Storage> m_storage;
};
