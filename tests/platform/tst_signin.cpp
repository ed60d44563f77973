// Signing in with an account: the client's side, the real daemon, the phone's sign-on
// method and the store's token endpoint, and what happens when one of them fails.

#include "account.h"
#include "accountmanager.h"
#include "runself.h"
#include "signinparameters.h"
#include "simulatorclient.h"
#include "text.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QFile>
#include <QJsonDocument>
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
    m_store.command("reset");
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

bool TstSignIn::reachStore(int requests)
{
    return QTest::qWaitFor([&] { return m_store.requests(tokenPath).size() >= requests; });
}

void TstSignIn::hangStore(int times)
{
    m_store.fault(tokenPath, R"({"do": "hang", "times": )" + QByteArray::number(times) + '}');
}

void TstSignIn::givesAToken()
{
    m_store.command("token", R"({"expires_in": 1234})");
    signIn(m_account);
    QCOMPARE(m_responses->count(), 0); // never from within the call
    QTRY_COMPARE(m_responses->count(), 1);
    const QVariantMap data = m_responses->at(0).at(0).toMap();
    QVERIFY(!data.value(text("AccessToken")).toString().isEmpty());
    QCOMPARE(data.value(text("ExpiresIn")).toInt(), 1234);

    const QJsonArray requests = m_store.requests(tokenPath);
    QCOMPARE(requests.size(), 1);
    QCOMPARE(requests[0][QLatin1String("method")].toString(), text("POST"));
    const QByteArray body = requests[0][QLatin1String("body")].toString().toUtf8();
    QCOMPARE(QJsonDocument::fromJson(body).object(),
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
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<int>("errorType");

    const auto row = [](const char *name, const char *fault, int error = Account::ErrorNetwork) {
        QTest::newRow(name) << QByteArray(fault) << error;
    };
    row("credentials refused", R"({"do": "status", "status": 401})", notAuthorized);
    row("client refused", R"({"do": "status", "status": 400})", notAuthorized);
    row("store broken", R"({"do": "status", "status": 500})");
    row("led elsewhere", R"({"do": "status", "status": 302})");
    row("connection reset", R"({"do": "reset"})");
    row("answer cut", R"({"do": "cut"})");
    row("a page in place of the store's answer", R"({"do": "body", "body": "<html>"})");
    row("no token in the answer", R"({"do": "body", "body": "{\"expires_in\": 5}"})");
}

void TstSignIn::failsByKind()
{
    QFETCH(QByteArray, fault);
    m_store.fault(tokenPath, fault);
    signIn(m_account);
    QTRY_COMPARE(m_errors->count(), 1);
    QTEST(m_errors->at(0).at(1).toInt(), "errorType");
    QCOMPARE(m_responses->count(), 0);

    m_store.command("clear-faults");
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
    m_store.command("clear-faults");
    signIn(m_account);
    QTRY_COMPARE(m_responses->count(), accidents == 1 ? 2 : 1);
}

void TstSignIn::signOutAbandons()
{
    hangStore(1);
    signIn(m_account);
    QVERIFY(reachStore(1));
    m_account->signOut(method, method);
    m_store.command("clear-faults");

    // Only this second one is ever heard of.
    signIn(m_account, 1);
    QTRY_COMPARE(m_responses->count(), 1);
    QCOMPARE(m_errors->count(), 0);
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
    m_store.command("token", R"({"status": 401})");
    bool repeated = false;
    connect(m_account, &Account::signInError, this, [&] {
        if (!repeated)
            signIn(m_account, 1);
        repeated = true;
    });
    signIn(m_account);
    QTRY_COMPARE(m_errors->count(), 2);
    QCOMPARE(m_store.requests(tokenPath).size(), 2);
}

void TstSignIn::failsForLackOfNetworkWithoutABus()
{
    m_manager.reset();
    QCOMPARE(runSelfWithoutBus({text("without-bus")}), int(Account::ErrorNetwork));
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
