#include "account.h"
#include "accountmanager.h"
#include "runself.h"
#include "text.h"

#include <Accounts/Account>
#include <Accounts/Manager>
#include <Accounts/Service>

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

namespace {

const QString provider = text("orvik");
const QString service = text("orvik-store");
const QString flag = text("CredentialsNeedUpdate");
const QString userNameKey = text("default_credentials_username");

/** Keeps the statuses that an account goes through. */
class StatusRecord : public QObject
{
public:
    explicit StatusRecord(Account *account)
    {
        connect(account, &Account::statusChanged, this,
                [this, account] { statuses.append(account->status()); });
    }

    QList<int> statuses;
};

const QList<int> written{Account::StatusSyncing, Account::StatusSynced};

/** Another program, which does what main() says of @p mode. */
QStringList arguments(const char *mode, int identifier)
{
    return {text(mode), QString::number(identifier)};
}

/** Writes a value with whatever the environment leaves; see main(). */
bool writeElsewhere(int identifier)
{
    AccountManager manager;
    Account *account = manager.account(identifier);
    if (!account || !manager.providerAccountIdentifiers(provider).contains(identifier))
        return false;
    const StatusRecord record(account);
    QSignalSpy changed(account, &Account::statusChanged);
    const int before = account->configurationValues(service).value(text("elsewhere")).toInt();
    account->setConfigurationValue(service, text("elsewhere"), before + 1);
    account->sync();
    while (account->status() == Account::StatusSyncing && changed.wait()) { }
    return record.statuses == written;
}

/** The account's number, 0 if it could not be made. */
int makeAccount()
{
    Accounts::Manager database;
    const QScopedPointer<Accounts::Account> account(database.createAccount(provider));
    account->setDisplayName(text("ada@example"));
    return account->syncAndBlock() ? int(account->id()) : 0;
}

bool removeAccount(int identifier)
{
    Accounts::Manager database;
    const QScopedPointer<Accounts::Account> account(
        Accounts::Account::fromId(&database, Accounts::AccountId(identifier)));
    if (!account)
        return false;
    account->remove();
    return account->syncAndBlock();
}

} // namespace

/** Each test has an account of its own beside the one of the phone. */
class TstAccount : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void findsTheAccountsOfAProvider();
    void keepsSettingsOfServiceAndAccountApart();
    void isBusyWhileItWrites();
    void writesWhatIsSetWhileItWrites();
    void mayGoWhileItWrites();
    void worksWithLess();
    void tellsOfItsRemoval();
    void namesItsUser();

private:
    int m_identifier = 0;
};

void TstAccount::init()
{
    m_identifier = runSelf(arguments("make", 0));
    QVERIFY(m_identifier > 0);
}

void TstAccount::cleanup()
{
    QVERIFY(runSelf(arguments("remove", m_identifier)) >= 0);
}

void TstAccount::findsTheAccountsOfAProvider()
{
    AccountManager manager;
    const QList<int> identifiers = manager.providerAccountIdentifiers(provider);
    QCOMPARE(identifiers.size(), 2);
    QVERIFY(identifiers[0] < identifiers[1]);
    QCOMPARE(identifiers[1], m_identifier);
    QVERIFY(manager.providerAccountIdentifiers(text("other")).isEmpty());

    Account *account = manager.account(m_identifier);
    QVERIFY(account);
    QCOMPARE(manager.account(m_identifier), account);
    delete account;
    QVERIFY(manager.account(m_identifier));
    for (const int identifier : {4711, -1, 0}) // zero would make a new one
        QVERIFY(!manager.account(identifier));
}

void TstAccount::keepsSettingsOfServiceAndAccountApart()
{
    {
        AccountManager manager;
        Account *account = manager.account(m_identifier);
        account->setConfigurationValue(service, flag, true);
        account->setConfigurationValue(QString(), text("number"), 7);
        account->setConfigurationValue(text("no-such-service"), flag, true);
        QVERIFY(!account->configurationValues(QString()).contains(flag));
        account->enableWithService(service);
        account->enableWithService(text("no-such-service"));
        QVERIFY(!account->enabled());
        account->setEnabled(true);
        account->sync();
        QTRY_COMPARE(account->status(), Account::StatusSynced);
    }
    AccountManager manager;
    Account *account = manager.account(m_identifier);
    QCOMPARE(account->status(), Account::StatusInitialized);
    QCOMPARE(account->configurationValues(service).value(flag), QVariant(true));
    QVERIFY(!account->configurationValues(service).contains(text("number")));
    QVERIFY(!account->configurationValues(QString()).contains(flag));
    QCOMPARE(account->configurationValues(QString()).value(text("number")), QVariant(7));
    QVERIFY(account->configurationValues(text("no-such-service")).isEmpty());
    QVERIFY(account->enabled());
    QVERIFY(account->isEnabledWithService(service));
    QVERIFY(!account->isEnabledWithService(text("no-such-service")));
}

void TstAccount::isBusyWhileItWrites()
{
    AccountManager manager;
    Account *account = manager.account(m_identifier);
    const StatusRecord record(account);
    account->setEnabled(true);
    account->sync();
    QCOMPARE(record.statuses, QList<int>{Account::StatusSyncing});
    QTRY_COMPARE(record.statuses, written);

    account->sync(); // also with nothing to write
    QTRY_COMPARE(record.statuses, written + written);
}

void TstAccount::writesWhatIsSetWhileItWrites()
{
    QScopedPointer<AccountManager> manager(new AccountManager);
    Account *account = manager->account(m_identifier);
    const StatusRecord record(account);
    account->setConfigurationValue(service, text("first"), 1);
    account->sync();
    account->setConfigurationValue(service, text("second"), 2);
    account->sync();
    QTRY_COMPARE(record.statuses, written);

    manager.reset();
    manager.reset(new AccountManager);
    const QVariantMap values = manager->account(m_identifier)->configurationValues(service);
    QCOMPARE(values.value(text("first")), QVariant(1));
    QCOMPARE(values.value(text("second")), QVariant(2));
}

void TstAccount::mayGoWhileItWrites()
{
    {
        AccountManager manager;
        manager.account(m_identifier)->setEnabled(true);
        manager.account(m_identifier)->sync();
    }
    AccountManager manager;
    Account *account = manager.account(m_identifier);
    account->setConfigurationValue(service, flag, true);
    account->sync();
    delete account;
    account = manager.account(m_identifier);
    account->setConfigurationValue(service, text("later"), true);
    account->sync();
    QTRY_COMPARE(account->status(), Account::StatusSynced);
}

void TstAccount::worksWithLess()
{
    const QStringList write = arguments("write", m_identifier);
    QCOMPARE(runSelfWithoutBus(write), EXIT_SUCCESS);
    QCOMPARE(runSelf(write, text("QT_NO_GLIB"), text("1")), EXIT_SUCCESS); // no main loop of GLib
    AccountManager manager;
    const QVariantMap values = manager.account(m_identifier)->configurationValues(service);
    QCOMPARE(values.value(text("elsewhere")), QVariant(2));
}

void TstAccount::tellsOfItsRemoval()
{
    AccountManager manager;
    QPointer<Account> account = manager.account(m_identifier);
    const StatusRecord record(account);
    QCOMPARE(runSelf(arguments("remove", m_identifier)), EXIT_SUCCESS);

    QTRY_COMPARE(record.statuses, QList<int>{Account::StatusDeleted});
    QVERIFY(!manager.account(m_identifier));
    QVERIFY(!manager.providerAccountIdentifiers(provider).contains(m_identifier));
    account->sync();
    account->signOut(text("Orvik"), text("Orvik"));
    QCOMPARE(account->status(), Account::StatusDeleted);
    account->deleteLater();
    QTRY_VERIFY(!account);
}

void TstAccount::namesItsUser()
{
    AccountManager manager;
    Account *account = manager.account(m_identifier);
    QCOMPARE(account->defaultCredentialsUserName(), text("ada@example"));
    account->setConfigurationValue(QString(), userNameKey, text("ada"));
    account->sync();
    QTRY_COMPARE(account->status(), Account::StatusSynced);
    QCOMPARE(account->defaultCredentialsUserName(), text("ada"));
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QString mode = QCoreApplication::arguments().value(1);
    const int identifier = QCoreApplication::arguments().value(2).toInt();
    if (mode == QLatin1String("make"))
        return makeAccount();
    if (mode == QLatin1String("write"))
        return writeElsewhere(identifier) ? EXIT_SUCCESS : EXIT_FAILURE;
    if (mode == QLatin1String("remove"))
        return removeAccount(identifier) ? EXIT_SUCCESS : EXIT_FAILURE;
    TstAccount test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_account.moc"
