#pragma once

#include <SignOn/authpluginif.h>

#include <QDeadlineTimer>
#include <QHash>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QTimer>

class QNetworkReply;

/**
 * The sign-on method "Orvik": fetches a bearer token of the store from its token endpoint.
 *
 * Reads the parameters "ClientId", "UserName" and "CredentialsPolicy" (1 asks for a token
 * that is newly made, else one that this process still holds may serve) and answers with
 * "AccessToken" and "ExpiresIn" in seconds. It has no user interface, so "UiPolicy" makes
 * no difference. One request runs at a time; it never blocks.
 */
class OrvikPlugin final : public AuthPluginInterface
{
    Q_OBJECT
    Q_INTERFACES(AuthPluginInterface)

public:
    explicit OrvikPlugin(QObject *parent = nullptr);
    ~OrvikPlugin() override;

    [[nodiscard]] QString type() const override;
    [[nodiscard]] QStringList mechanisms() const override;

    /** Gives the request up; the daemon calls it from a thread of its own. */
    void cancel() override;
    void process(const SignOn::SessionData &inData, const QString &mechanism) override;

private:
    struct Token
    {
        QString text;
        QDeadlineTimer expiry;
    };

    void abandon();
    void abandonReply();
    void fetch(const QString &cacheKey, const QString &clientId, const QString &userName,
               bool refresh);
    void onReplyFinished(QNetworkReply *reply, const QString &cacheKey);
    void onTimeout();
    void fail(int type, const QString &message);
    void answer(const Token &token);

    QNetworkAccessManager m_network;
    QPointer<QNetworkReply> m_reply; // null while nothing runs
    QTimer m_timeout;
    QHash<QString, Token> m_tokens; // by client id and user name
};

extern "C" Q_DECL_EXPORT AuthPluginInterface *auth_plugin_instance();
