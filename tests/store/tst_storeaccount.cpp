#include "logcapture.h"
#include "simulatorclient.h"
#include "testaccount.h"
#include "text.h"

#include "platform/backgroundactivity.h"
#include "store/storeaccount.h"

#include <Accounts/Account>
#include <Accounts/Manager>

#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

using Store::StoreAccount;
using States = QList<AccountState::State>;

Q_DECLARE_METATYPE(States)

namespace {

const QString service = text("orvik-store");
const QString tokenPath = text("/oauth/token");

} // namespace

class TstStoreAccount : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void signsIn();
    void withoutAccount();
    void flaggedAccount();
    void repairsDisabledAccount();
    void secondCallWaits();
    void refusals_data();
    void refusals();
    void renewsAtExpiry();
    void expiredTokenStarvesNobody();
    void failureDropsRenewal_data();
    void failureDropsRenewal();
    void releaseManagerMayFail();
    void removedAccount();

private:
    /** Signs in and waits until one of the states in which it rests. */
    bool signIn(AccountState::State expected);
    /** The bodies of the requests for a token. */
    QStringList tokenRequests();
    QStringList releaseManagerCalls();
    /** Whether a renewal is planned. */
    bool renews() const { return m_account->findChild<BackgroundActivity *>() != nullptr; }

    SimulatorClient m_store{text("Store")};
    SimulatorClient m_services{text("Services")};
    std::unique_ptr<StoreAccount> m_account;
    States m_states;
};

void TstStoreAccount::init()
{
    m_store.command("reset");
    m_services.command("reset");
    TestAccount().repair();
    m_account = std::make_unique<StoreAccount>();
    m_states.clear();
    connect(m_account.get(), &StoreAccount::accountStateChanged, this,
            [this] { m_states.append(m_account->state()); });
}

void TstStoreAccount::cleanup()
{
    m_account.reset();
}

bool TstStoreAccount::signIn(AccountState::State expected)
{
    m_account->signIn();
    return QTest::qWaitFor([this, expected] { return m_account->state() == expected; }, 20000);
}

QStringList TstStoreAccount::tokenRequests()
{
    QStringList bodies;
    const QJsonArray requests = m_store.requests(tokenPath);
    for (const QJsonValue &request : requests)
        bodies.append(request[QLatin1String("body")].toString());
    return bodies;
}

QStringList TstStoreAccount::releaseManagerCalls()
{
    QStringList calls;
    const QJsonArray entries = m_services.entries();
    for (const QJsonValue &entry : entries)
        calls.append(entry[QLatin1String("kind")].toString());
    return calls.filter(text("rdm."));
}

void TstStoreAccount::signsIn()
{
    const LogCapture log;
    QCOMPARE(m_account->state(), AccountState::Unknown);
    QVERIFY(signIn(AccountState::SignedIn));
    QCOMPARE(m_states, (States{AccountState::SigningIn, AccountState::SignedIn}));
    QCOMPARE(m_account->userName(), text("mira"));
    QVERIFY(!m_account->accessToken().isEmpty());
    QCOMPARE(releaseManagerCalls(), (QStringList{text("rdm.modifyRepo"), text("rdm.updateRepos")}));
    QCOMPARE(m_services.entries(text("rdm.modifyRepo")).at(0)[QLatin1String("arguments")].toArray(),
             (QJsonArray{1, text("store")}));
    QCOMPARE(tokenRequests().filter(text("\"client_id\":\"5f0c2b7e-simulated-phone\"")).size(), 1);

    QCOMPARE(LogCapture::lines("0 --> 5").size(), 1);
    QCOMPARE(LogCapture::lines("5 --> 6").size(), 1);
    QCOMPARE(LogCapture::lines(m_account->accessToken().toUtf8().constData()), QStringList());
    QCOMPARE(LogCapture::lines("simulated-phone"), QStringList());
}

void TstStoreAccount::withoutAccount()
{
    const QTemporaryDir empty;
    const QByteArray folder = qgetenv("ACCOUNTS");
    qputenv("ACCOUNTS", empty.path().toLocal8Bit());
    m_account.reset(); // a process has one connection to the accounts
    m_account = std::make_unique<StoreAccount>();
    if (folder.isNull())
        qunsetenv("ACCOUNTS");
    else
        qputenv("ACCOUNTS", folder);
    QTest::ignoreMessage(QtWarningMsg,
                         "void Store::StoreAccount::signIn() No valid orvik account!");
    m_account->signIn();
    QCOMPARE(m_account->state(), AccountState::NoAccount);
    m_account->markCredentialsNeedUpdate(); // there is nothing to mark
    QCOMPARE(m_account->state(), AccountState::NeedsUpdate);
}

void TstStoreAccount::flaggedAccount()
{
    for (const QString &where : {QString(), service}) {
        init();
        TestAccount().setNeedsUpdate(where, true);
        m_account->signIn();
        QCOMPARE(m_states, States{AccountState::NeedsUpdate});
        QCOMPARE(tokenRequests(), QStringList());
    }
}

void TstStoreAccount::repairsDisabledAccount()
{
    TestAccount().setEnabled(false);
    const LogCapture log;
    QVERIFY(signIn(AccountState::SignedIn));
    QCOMPARE(LogCapture::lines("Account was disabled!").size(), 1);
    // The account is busy with being written first.
    QCOMPARE(m_states,
             (States{AccountState::Waiting, AccountState::SigningIn, AccountState::SignedIn}));
    QVERIFY(TestAccount().enabled());
}

void TstStoreAccount::secondCallWaits()
{
    m_account->signIn();
    m_account->signIn();
    QCOMPARE(m_states, (States{AccountState::SigningIn, AccountState::Waiting}));
    QTRY_COMPARE(m_account->state(), AccountState::SignedIn); // the first one's answer
    QCOMPARE(tokenRequests().size(), 1);
}

void TstStoreAccount::refusals_data()
{
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<AccountState::State>("state");
    QTest::addColumn<int>("requests");

    QTest::newRow("once") << QByteArray(R"({"do": "status", "status": 401, "times": 1})")
                          << AccountState::SignedIn << 2;
    QTest::newRow("for good") << QByteArray(R"({"do": "status", "status": 401})")
                              << AccountState::NeedsUpdate << 2;
    // That is nobody's fault: no new token is asked for, nothing is noted.
    QTest::newRow("no way to the store")
        << QByteArray(R"({"do": "status", "status": 503})") << AccountState::NetworkError << 1;
}

void TstStoreAccount::refusals()
{
    QFETCH(QByteArray, fault);
    QFETCH(AccountState::State, state);
    m_store.fault(tokenPath, fault);
    QVERIFY(signIn(state));
    QCOMPARE(m_states, (States{AccountState::SigningIn, state}));
    QTEST(tokenRequests().size(), "requests");
    QVERIFY(tokenRequests().first().contains(QLatin1String("\"refresh\":false")));
    QCOMPARE(tokenRequests().filter(text("\"refresh\":true")).size(), tokenRequests().size() - 1);

    const bool failed = state == AccountState::NeedsUpdate;
    const QString flag = text("CredentialsNeedUpdate");
    QTRY_COMPARE(TestAccount().value(service, flag).toBool(), failed);
    QCOMPARE(TestAccount().value(service, text("CredentialsNeedUpdateFrom")).toString(),
             failed ? text("kiosk-client") : QString());
    QCOMPARE(TestAccount().value(QString(), flag).toBool(), false);
    if (failed)
        return;
    // The next sign-in doesn't ask for a new token.
    m_store.command("clear-faults");
    const LogCapture log;
    m_states.clear();
    m_account->signIn();
    QTRY_COMPARE(m_states, (States{AccountState::SigningIn, AccountState::SignedIn}));
    QCOMPARE(LogCapture::lines("Forcing token refresh"), QStringList());
}

void TstStoreAccount::renewsAtExpiry()
{
    m_store.command("token", R"({"expires_in": 1})");
    QVERIFY(signIn(AccountState::SignedIn));
    const QString first = m_account->accessToken();
    // Nothing of the client runs in between.
    m_store.command("token", R"({"expires_in": 1000, "revoke": true})");
    m_states.clear();
    QTRY_VERIFY(m_states.contains(AccountState::SigningIn));
    QCOMPARE(m_account->accessToken(), first); // usable until there is another
    QTRY_COMPARE(m_account->state(), AccountState::SignedIn);
    QVERIFY(m_account->accessToken() != first);
    QCOMPARE(releaseManagerCalls().size(), 4);
}

void TstStoreAccount::expiredTokenStarvesNobody()
{
    m_store.command("token", R"({"expires_in": 0})");
    QVERIFY(signIn(AccountState::SignedIn));
    QTimer ticks;
    int ticked = 0;
    connect(&ticks, &QTimer::timeout, this, [&ticked] { ++ticked; });
    ticks.start(10);
    m_states.clear();
    QTRY_VERIFY(m_states.count(AccountState::SignedIn) > 10);
    QVERIFY(ticked > 3);
    m_store.command("token", R"({"expires_in": 1000})");
    QTRY_COMPARE(m_account->state(), AccountState::SignedIn); // no request is left under way
}

void TstStoreAccount::failureDropsRenewal_data()
{
    QTest::addColumn<bool>("atRenewal");
    QTest::addColumn<AccountState::State>("state");

    QTest::newRow("no way to the store") << true << AccountState::NetworkError;
    QTest::newRow("told by a request") << false << AccountState::NeedsUpdate;
}

void TstStoreAccount::failureDropsRenewal()
{
    QFETCH(bool, atRenewal);
    QFETCH(AccountState::State, state);
    m_store.command("token", R"({"expires_in": 1})");
    QVERIFY(signIn(AccountState::SignedIn));
    QVERIFY(renews());
    if (atRenewal) {
        m_store.fault(tokenPath, R"({"do": "status", "status": 503})");
    } else {
        m_account->markCredentialsNeedUpdate();
        m_account->markCredentialsNeedUpdate(); // tells nothing new
    }
    QTRY_COMPARE(m_account->state(), state);
    QCOMPARE(m_states.count(state), 1);
    QTRY_VERIFY(!renews());
}

void TstStoreAccount::releaseManagerMayFail()
{
    m_services.command("error", R"({"method": "rdm.modifyRepo", "name": "org.tesk.Error"})");
    m_services.command("error", R"({"method": "rdm.updateRepos", "name": "org.tesk.Error"})");
    QVERIFY(signIn(AccountState::SignedIn));
    QCOMPARE(releaseManagerCalls().size(), 2);
}

/** The last one, since the phone has no account afterwards. */
void TstStoreAccount::removedAccount()
{
    // Its removal is noticed once something has waited for its status.
    m_account->signIn();
    m_account->signIn();
    QTRY_COMPARE(m_account->state(), AccountState::SignedIn);
    Accounts::Manager manager;
    Accounts::Account *account = manager.account(manager.accountList().value(0));
    QVERIFY(account);
    account->remove();
    account->syncAndBlock();
    QTRY_COMPARE(m_account->state(), AccountState::NoAccount);
    QVERIFY(m_account->accessToken().isEmpty());
    QVERIFY(m_account->userName().isEmpty());
    m_states.clear();
    m_account->signIn();
    QCOMPARE(m_states, States()); // still none
}

QTEST_GUILESS_MAIN(TstStoreAccount)
#include "tst_storeaccount.moc"
