#include "storeconnection.h"

#include "testaccount.h"

#include <QSignalSpy>
#include <QTest>

using Store::Server;

StoreConnection::StoreConnection()
    : server(std::make_unique<Server>(QStringLiteral("fjord")))
{
    store.command(QStringLiteral("reset"));
    services.command(QStringLiteral("reset"));
    TestAccount().repair();
    server->signIn();
    if (!QTest::qWaitFor([this] { return server->accountState() == AccountState::SignedIn; },
                         20000))
        QTest::qFail("not signed in", __FILE__, __LINE__);
    store.clearLog();
}

bool StoreConnection::connectToServer()
{
    QSignalSpy ready(server.get(), &Server::ready);
    server->connectToServer();
    const bool isReady = ready.wait(10000);
    if (isReady)
        store.clearLog();
    return isReady;
}

QStringList StoreConnection::requests()
{
    QStringList result;
    const QJsonArray entries = store.entries(QStringLiteral("request"));
    for (const QJsonValue &value : entries) {
        const QJsonObject entry = value.toObject();
        QString line = entry[QLatin1String("method")].toString() + QLatin1Char(' ')
            + entry[QLatin1String("path")].toString();
        const QString query = entry[QLatin1String("query")].toString();
        if (!query.isEmpty())
            line += QLatin1Char('?') + query;
        result.append(line);
    }
    return result;
}

QJsonObject StoreConnection::request(const QString &path)
{
    return store.waitFor([&path](const QJsonObject &entry) {
        return entry[QLatin1String("path")].toString().startsWith(path);
    });
}

void StoreConnection::fault(const QString &path, QJsonObject description)
{
    description.insert(QStringLiteral("path"), path);
    store.command(QStringLiteral("fault"), description);
}
