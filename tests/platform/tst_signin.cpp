// Signing in with an account: the client's side, the real daemon, the phone's sign-on
// method and the store's token endpoint, and what happens when one of them fails.

#include "account.h"
#include "accountmanager.h"
#include "signinparameters.h"
#include "simulatorclient.h"
#include "text.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <csignal>

namespace {

const QString method = text("Orvik");
const QString daemonName = text("com.google.code.AccountsSSO.SingleSignOn");
const QString tokenPath = text("/oauth/token");
constexpr int notAuthorized = 304; // of the sign-on daemon

pid_t daemon()
{
    return pid_t(QDBusConnection::sessionBus().interface()->servicePid(daemonName).value());
}

/** The process in which the daemon runs the latest method, 0 if there is none. */
pid_t methodProcess()
{
    const QString children = text("/proc/%1/task/%1/children").arg(daemon());
    QFile file(children);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return pid_t(file.readAll().trimmed().split(' ').constLast().toInt());
}

void signIn(Account *account, int credentialsPolicy = 0)
{
    SignInParameters *parameters =
        account->signInParameters(text("orvik-store"), QString(), QString());
    parameters->setParameter(text("ClientId"), text("phone"));
    parameters->setParameter(text("UiPolicy"), 2);
    if (credentialsPolicy > 0)
        parameters->setParameter(text("CredentialsPolicy"), credentialsPolicy);
    account->signIn(method, method, parameters, QString());
}

} // namespace

class TstSignIn : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void givesAToken();
    void newTokenOnlyWhenAskedFor();
    void failsByKind_data();
    void failsByKind();
    void accidentIsTriedOnceMore_data();
    void accidentIsTriedOnceMore();
    void signOutAbandons();
    void mayGoWhileItSignsIn();
    void isRepeatedFromItsOwnSignal();
    void failsForLackOfNetworkWithoutABus();

private:
    [[nodiscard]] bool reachStore(int requests);
    [[nodiscard]] QJsonArray tokenRequests();
    /** Makes the store hold the next request back, @p times in a row, -1 for all. */
    void hangStore(int times);

    SimulatorClient m_store{text("Store")};
    QScopedPointer<AccountManager> m_manager;
    Account *m_account = nullptr;
    QScopedPointer<QSignalSpy> m_responses;
    QScopedPointer<QSignalSpy> m_errors;
};

void TstSignIn::init()
{
    m_store.command(text("reset"));
    m_manager.reset(new AccountManager);
    const QList<int> identifiers = m_manager->providerAccountIdentifiers(text("orvik"));
    QCOMPARE(identifiers.size(), 1);
    m_account = m_manager->account(identifiers[0]);
    QVERIFY(m_account);
    m_responses.reset(new QSignalSpy(m_account, &Account::signInResponse));
    m_errors.reset(new QSignalSpy(m_account, &Account::signInError));
}

void TstSignIn::cleanup()
{
    m_manager.reset();
}

QJsonArray TstSignIn::tokenRequests()
{
    QJsonArray requests;
    const QJsonArray entries = m_store.entries();
    for (const QJsonValue &entry : entries) {
        if (entry.toObject()[QLatin1String("path")].toString() == tokenPath)
            requests.append(entry);
    }
    return requests;
}

bool TstSignIn::reachStore(int requests)
{
    return QTest::qWaitFor([&] { return tokenRequests().size() >= requests; });
}

void TstSignIn::hangStore(int times)
{
    m_store.command(
        text("fault"),
        {{text("path"), tokenPath}, {text("do"), text("hang")}, {text("times"), times}});
}

void TstSignIn::givesAToken()
{
    m_store.command(text("token"), {{text("expires_in"), 1234}});
    signIn(m_account);
    QCOMPARE(m_responses->count(), 0); // never from within the call
    QTRY_COMPARE(m_responses->count(), 1);
    const QVariantMap data = m_responses->at(0).at(0).toMap();
    QVERIFY(!data.value(text("AccessToken")).toString().isEmpty());
    QCOMPARE(data.value(text("ExpiresIn")).toInt(), 1234);

    QCOMPARE(tokenRequests().size(), 1);
    const QJsonObject request = tokenRequests()[0].toObject();
    QCOMPARE(request[QLatin1String("method")].toString(), text("POST"));
    const QJsonObject body =
        QJsonDocument::fromJson(request[QLatin1String("body")].toString().toUtf8()).object();
    QCOMPARE(body,
             (QJsonObject{{text("client_id"), text("phone")},
                          {text("user"), m_account->defaultCredentialsUserName()},
                          {text("refresh"), false}}));
    QCOMPARE(m_errors->count(), 0);
    QCOMPARE(m_account->status(), Account::StatusInitialized);
}

void TstSignIn::newTokenOnlyWhenAskedFor()
{
    QStringList tokens;
    for (const int policy : {0, 0, 1}) {
        signIn(m_account, policy);
        QTRY_COMPARE(m_responses->count(), tokens.size() + 1);
        const QVariantMap data = m_responses->last().at(0).toMap();
        tokens.append(data.value(text("AccessToken")).toString());
    }
    QCOMPARE(tokens[0], tokens[1]);
    QVERIFY(tokens[1] != tokens[2]);
}

void TstSignIn::failsByKind_data()
{
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<int>("errorType");

    const auto fault = [](const char *kind, QJsonObject more = {}) {
        more.insert(text("path"), tokenPath);
        more.insert(text("do"), QString::fromLatin1(kind));
        return more;
    };
    const auto status = [&](int value) { return fault("status", {{text("status"), value}}); };
    const auto body = [&](const char *text) {
        return fault("body", {{text("body"), QString::fromLatin1(text)}});
    };
    const int network = Account::ErrorNetwork;
    QTest::newRow("credentials refused") << status(401) << notAuthorized;
    QTest::newRow("client refused") << status(400) << notAuthorized;
    QTest::newRow("store broken") << status(500) << network;
    QTest::newRow("led elsewhere") << status(302) << network;
    QTest::newRow("connection reset") << fault("reset") << network;
    QTest::newRow("answer cut") << fault("cut") << network;
    QTest::newRow("a page in place of the store's answer") << body("<html>") << network;
    QTest::newRow("no token in the answer") << body("{\"expires_in\": 5}") << network;
}

void TstSignIn::failsByKind()
{
    QFETCH(QJsonObject, fault);
    m_store.command(text("fault"), fault);
    signIn(m_account);
    QTRY_COMPARE(m_errors->count(), 1);
    QTEST(m_errors->at(0).at(1).toInt(), "errorType");
    QCOMPARE(m_responses->count(), 0);

    m_store.command(text("clear-faults"));
    signIn(m_account);
    QTRY_COMPARE(m_responses->count(), 1);
    QCOMPARE(m_errors->count(), 1);
}

void TstSignIn::accidentIsTriedOnceMore_data()
{
    QTest::addColumn<bool>("ofTheDaemon");
    QTest::addColumn<int>("accidents");

    QTest::newRow("daemon killed") << true << 1;
    QTest::newRow("daemon killed again") << true << 2;
    QTest::newRow("method killed") << false << 1;
    QTest::newRow("method killed again") << false << 2;
}

void TstSignIn::accidentIsTriedOnceMore()
{
    QFETCH(bool, ofTheDaemon);
    QFETCH(int, accidents);
    hangStore(accidents);
    signIn(m_account);
    for (int i = 1; i <= accidents; ++i) {
        QVERIFY(reachStore(i));
        const pid_t process = ofTheDaemon ? daemon() : methodProcess();
        QVERIFY(process > 0);
        QCOMPARE(kill(process, SIGKILL), 0);
    }
    QTRY_COMPARE(m_responses->count() + m_errors->count(), 1);
    QCOMPARE(m_errors->count(), accidents - 1);
    if (accidents > 1)
        QCOMPARE(m_errors->at(0).at(1).toInt(), Account::ErrorNetwork);
    m_store.command(text("clear-faults"));
    signIn(m_account);
    QTRY_COMPARE(m_responses->count(), accidents == 1 ? 2 : 1);
}

void TstSignIn::signOutAbandons()
{
    hangStore(1);
    signIn(m_account);
    QVERIFY(reachStore(1));
    m_account->signOut(method, method);
    m_store.command(text("clear-faults"));

    // Only this second one is ever heard of.
    signIn(m_account, 1);
    QTRY_COMPARE(m_responses->count(), 1);
    QCOMPARE(m_errors->count(), 0);
    QCOMPARE(tokenRequests().size(), 2);
}

void TstSignIn::mayGoWhileItSignsIn()
{
    hangStore(1);
    signIn(m_account);
    QVERIFY(reachStore(1));
    delete m_account;
    m_account = m_manager->account(m_manager->providerAccountIdentifiers(text("orvik"))[0]);
    QSignalSpy responses(m_account, &Account::signInResponse);
    signIn(m_account);
    QTRY_COMPARE(responses.count(), 1);
}

void TstSignIn::isRepeatedFromItsOwnSignal()
{
    m_store.command(text("token"), {{text("status"), 401}});
    bool repeated = false;
    connect(m_account, &Account::signInError, this, [&] {
        if (!repeated)
            signIn(m_account, 1);
        repeated = true;
    });
    signIn(m_account);
    QTRY_COMPARE(m_errors->count(), 2);
    QCOMPARE(tokenRequests().size(), 2);
}

void TstSignIn::failsForLackOfNetworkWithoutABus()
{
    m_manager.reset();
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(text("DBUS_SESSION_BUS_ADDRESS"), text("unix:path=/nowhere"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(QCoreApplication::applicationFilePath(), {text("without-bus")});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), Account::ErrorNetwork);
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().value(1) == QLatin1String("without-bus")) {
        AccountManager manager;
        Account *account =
            manager.account(manager.providerAccountIdentifiers(text("orvik")).value(0));
        QSignalSpy errors(account, &Account::signInError);
        signIn(account);
        return errors.wait() ? errors[0][1].toInt() : EXIT_FAILURE;
    }
    TstSignIn test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_signin.moc"
