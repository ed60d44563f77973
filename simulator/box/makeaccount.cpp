// makeaccount FOLDER: writes an account database with one account of the provider "orvik",
// ready for the service "orvik-store". AG_PROVIDERS and AG_SERVICES name the folders with
// the descriptions of both.

#include <Accounts/Account>
#include <Accounts/Manager>
#include <Accounts/Service>

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QTextStream errors(stderr);
    if (argc != 2) {
        errors << "usage: makeaccount FOLDER\n";
        return 2;
    }
    qputenv("ACCOUNTS", argv[1]);
    const QCoreApplication application(argc, argv);

    Accounts::Manager manager(Accounts::Manager::DisableNotifications);
    const Accounts::Service service = manager.service(QStringLiteral("orvik-store"));
    if (!service.isValid()) {
        errors << "makeaccount: the service orvik-store is not described\n";
        return 1;
    }
    const QScopedPointer<Accounts::Account> account(manager.createAccount(QStringLiteral("orvik")));
    if (!account) {
        errors << "makeaccount: " << manager.lastError().message() << '\n';
        return 1;
    }
    account->setDisplayName(QStringLiteral("mira@orvik.example"));
    account->setValue(QStringLiteral("default_credentials_username"), QStringLiteral("mira"));
    account->setEnabled(true);
    account->selectService(service);
    account->setEnabled(true);
    account->selectService();
    if (!account->syncAndBlock()) {
        errors << "makeaccount: the account could not be written\n";
        return 1;
    }
    return 0;
}
