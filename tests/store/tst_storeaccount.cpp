#include "logcapture.h"
#include "simulatorclient.h"
#include "testaccount.h"

#include "store/storeaccount.h"

#include <Accounts/Account>
#include <Accounts/Manager>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <memory>

using Store::StoreAccount;
using States = QList<AccountState::State>;

Q_DECLARE_METATYPE(States)

namespace {

const QString service = QStringLiteral("orvik-store");
const QString tokenPath = QStringLiteral("/oauth/token");

/** The sign-on daemon of this phone; the box has a process table of its own. */
qint64 signonDaemon()
{
    const QStringList processes = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &process : processes) {
        QFile name(QStringLiteral("/proc/%1/comm").arg(process));
        if (name.open(QIODevice::ReadOnly) && name.readAll() == "signond\n")
            return process.toLongLong();
    }
    return 0;
}

} // namespace

class TstStoreAccount : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void signsIn();
    void withoutAccount();
    void flaggedAccount_data();
    void flaggedAccount();
    void repairsDisabledAccount();
    void secondCallWaits();
    void refusals_data();
    void refusals();
    void withoutNetwork();
    void renewsAtExpiry();
    void expiredTokenStarvesNobody();
    void failureDropsRenewal();
    void survivesDaemonCrash();
    void releaseManagerMayFail();
    void removedAccount();

private:
    /** Signs in and waits until one of the states in which it rests. */
    bool signIn(AccountState::State expected);
    /** The bodies of the requests for a token. */
    QStringList tokenRequests();
    QStringList releaseManagerCalls();

    std::unique_ptr<SimulatorClient> m_store;
    std::unique_ptr<SimulatorClient> m_services;
    std::unique_ptr<StoreAccount> m_account;
    States m_states;
};

void TstStoreAccount::init()
{
    m_store = std::make_unique<SimulatorClient>(QStringLiteral("Store"));
    m_services = std::make_unique<SimulatorClient>(QStringLiteral("Services"));
    m_store->command(QStringLiteral("reset"));
    m_services->command(QStringLiteral("reset"));
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
    const QJsonArray entries = m_store->entries(QStringLiteral("request"));
    for (const QJsonValue &value : entries) {
        const QJsonObject entry = value.toObject();
        if (entry[QLatin1String("path")].toString() == tokenPath)
            bodies.append(entry[QLatin1String("body")].toString());
    }
    return bodies;
}

QStringList TstStoreAccount::releaseManagerCalls()
{
    QStringList calls;
    const QJsonArray entries = m_services->entries();
    for (const QJsonValue &value : entries) {
        const QString kind = value.toObject()[QLatin1String("kind")].toString();
        if (kind.startsWith(QLatin1String("rdm.")))
            calls.append(kind);
    }
    return calls;
}

void TstStoreAccount::signsIn()
{
    const LogCapture log;
    QCOMPARE(m_account->state(), AccountState::Unknown);
    QVERIFY(signIn(AccountState::SignedIn));
    QCOMPARE(m_states, (States{AccountState::SigningIn, AccountState::SignedIn}));
    QCOMPARE(m_account->userName(), QStringLiteral("mira"));
    QVERIFY(!m_account->accessToken().isEmpty());
    QCOMPARE(releaseManagerCalls(),
             (QStringList{QStringLiteral("rdm.modifyRepo"), QStringLiteral("rdm.updateRepos")}));
    QCOMPARE(m_services->entries(QStringLiteral("rdm.modifyRepo"))[0]
                 .toObject()[QLatin1String("arguments")]
                 .toArray(),
             (QJsonArray{1, QStringLiteral("store")}));
    const QStringList requests = tokenRequests();
    QCOMPARE(requests.size(), 1);
    QVERIFY(requests.first().contains(QLatin1String("\"client_id\":\"5f0c2b7e-simulated-phone\"")));

    QCOMPARE(LogCapture::lines("0 --> 5").size(), 1);
    QCOMPARE(LogCapture::lines("5 --> 6").size(), 1);
    for (const QString &line : LogCapture::lines()) {
        QVERIFY(!line.contains(m_account->accessToken()));
        QVERIFY(!line.contains(QLatin1String("simulated-phone")));
    }
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

void TstStoreAccount::flaggedAccount_data()
{
    QTest::addColumn<QString>("service");

    QTest::newRow("for everything") << QString();
    QTest::newRow("for the store") << service;
}

void TstStoreAccount::flaggedAccount()
{
    QFETCH(QString, service);
    TestAccount().setNeedsUpdate(service, true);
    m_account->signIn();
    QCOMPARE(m_account->state(), AccountState::NeedsUpdate);
    QCOMPARE(m_states, States{AccountState::NeedsUpdate});
    QCOMPARE(tokenRequests(), QStringList());
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
    QTest::addColumn<int>("times");
    QTest::addColumn<AccountState::State>("state");

    QTest::newRow("once") << 1 << AccountState::SignedIn;
    QTest::newRow("for good") << -1 << AccountState::NeedsUpdate;
}

void TstStoreAccount::refusals()
{
    QFETCH(int, times);
    QFETCH(AccountState::State, state);
    const LogCapture log;
    m_store->command(QStringLiteral("fault"),
                     {{QStringLiteral("path"), tokenPath},
                      {QStringLiteral("do"), QStringLiteral("status")},
                      {QStringLiteral("status"), 401},
                      {QStringLiteral("times"), times}});
    QVERIFY(signIn(state));
    QCOMPARE(m_states, (States{AccountState::SigningIn, state}));
    QCOMPARE(LogCapture::lines("Forcing token refresh for the account").size(), 1);
    const QStringList requests = tokenRequests();
    QCOMPARE(requests.size(), 2);
    QVERIFY(requests[0].contains(QLatin1String("\"refresh\":false")));
    QVERIFY(requests[1].contains(QLatin1String("\"refresh\":true")));

    const bool failed = state == AccountState::NeedsUpdate;
    const QString flag = QStringLiteral("CredentialsNeedUpdate");
    QTRY_COMPARE(TestAccount().value(service, flag).toBool(), failed);
    QCOMPARE(TestAccount().value(service, QStringLiteral("CredentialsNeedUpdateFrom")).toString(),
             failed ? QStringLiteral("kiosk-client") : QString());
    QCOMPARE(TestAccount().value(QString(), flag).toBool(), false);
    if (!failed) {
        // The next sign-in doesn't ask for a new token again.
        m_store->clearLog();
        QVERIFY(m_account->state() == AccountState::SignedIn);
        m_states.clear();
        m_account->signIn();
        QTRY_COMPARE(m_states, (States{AccountState::SigningIn, AccountState::SignedIn}));
        QCOMPARE(LogCapture::lines("Forcing token refresh").size(), 1);
    }
}

void TstStoreAccount::withoutNetwork()
{
    m_store->command(QStringLiteral("fault"),
                     {{QStringLiteral("path"), tokenPath},
                      {QStringLiteral("do"), QStringLiteral("status")},
                      {QStringLiteral("status"), 503}});
    QVERIFY(signIn(AccountState::NetworkError));
    QCOMPARE(m_states, (States{AccountState::SigningIn, AccountState::NetworkError}));
    QVERIFY(!TestAccount().value(service, QStringLiteral("CredentialsNeedUpdate")).toBool());
    m_store->command(QStringLiteral("clear-faults"));
    QVERIFY(signIn(AccountState::SignedIn));
}

void TstStoreAccount::renewsAtExpiry()
{
    m_store->command(QStringLiteral("token"), {{QStringLiteral("expires_in"), 1}});
    QVERIFY(signIn(AccountState::SignedIn));
    const QString first = m_account->accessToken();
    m_store->command(QStringLiteral("token"),
                     {{QStringLiteral("expires_in"), 1000}, {QStringLiteral("revoke"), true}});
    m_states.clear();
    QTRY_VERIFY(m_states.contains(AccountState::SigningIn));
    QCOMPARE(m_account->accessToken(), first); // usable until there is another
    QTRY_COMPARE(m_account->state(), AccountState::SignedIn);
    QVERIFY(m_account->accessToken() != first);
    QCOMPARE(releaseManagerCalls().size(), 4);
}

void TstStoreAccount::expiredTokenStarvesNobody()
{
    m_store->command(QStringLiteral("token"), {{QStringLiteral("expires_in"), 0}});
    QVERIFY(signIn(AccountState::SignedIn));
    QTimer ticks;
    int ticked = 0;
    connect(&ticks, &QTimer::timeout, this, [&ticked] { ++ticked; });
    ticks.start(10);
    m_states.clear();
    QTRY_VERIFY(m_states.count(AccountState::SignedIn) > 10);
    QVERIFY(ticked > 3);
}

void TstStoreAccount::failureDropsRenewal()
{
    m_store->command(QStringLiteral("token"), {{QStringLiteral("expires_in"), 1}});
    QVERIFY(signIn(AccountState::SignedIn));
    m_account->markCredentialsNeedUpdate();
    m_account->markCredentialsNeedUpdate(); // tells nothing new
    QCOMPARE(m_states,
             (States{AccountState::SigningIn, AccountState::SignedIn, AccountState::NeedsUpdate}));
    QSignalSpy changed(m_account.get(), &StoreAccount::accountStateChanged);
    QVERIFY(!changed.wait(1500)); // the token would have been renewed by now
    QCOMPARE(tokenRequests().size(), 1);
}

void TstStoreAccount::survivesDaemonCrash()
{
    QVERIFY(signIn(AccountState::SignedIn));
    m_store->command(QStringLiteral("token"), {{QStringLiteral("revoke"), true}});
    m_account = std::make_unique<StoreAccount>();
    m_store->clearLog();
    m_store->command(QStringLiteral("fault"),
                     {{QStringLiteral("path"), tokenPath},
                      {QStringLiteral("do"), QStringLiteral("hang")},
                      {QStringLiteral("times"), 1}});
    const qint64 idle = signonDaemon();
    QVERIFY(idle > 0);
    kill(pid_t(idle), SIGKILL); // with the token that it keeps
    QTRY_VERIFY(signonDaemon() != idle);
    m_account->signIn();
    const QJsonObject asked = m_store->waitFor([](const QJsonObject &entry) {
        return entry[QLatin1String("path")].toString() == tokenPath;
    });
    QVERIFY(!asked.isEmpty());
    const qint64 busy = signonDaemon();
    QVERIFY(busy > 0);
    kill(pid_t(busy), SIGKILL);
    // One loss in mid-request is no reason to trouble the user.
    QTRY_COMPARE_WITH_TIMEOUT(m_account->state(), AccountState::SignedIn, 30000);
    QVERIFY(!TestAccount().value(service, QStringLiteral("CredentialsNeedUpdate")).toBool());
}

void TstStoreAccount::releaseManagerMayFail()
{
    for (const char *method : {"rdm.modifyRepo", "rdm.updateRepos"}) {
        m_services->command(QStringLiteral("error"),
                            {{QStringLiteral("method"), QString::fromLatin1(method)},
                             {QStringLiteral("name"), QStringLiteral("org.tesk.Error")}});
    }
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
