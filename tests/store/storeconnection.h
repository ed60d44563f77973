#pragma once

#include "simulatorclient.h"

#include "store/server.h"

#include <QStringList>

#include <memory>

/** A server that is signed in to the simulated store, and the handles on what is around. */
class StoreConnection
{
public:
    /** Puts store and services back to their beginnings and signs in. */
    StoreConnection();

    /** Runs the discovery to its end. @return whether it came to ready(). */
    bool connectToServer();

    /** What the store was asked, as "METHOD path?query", oldest first. */
    QStringList requests();
    /** The store's record of a request whose path begins with @p path, when it has come. */
    QJsonObject request(const QString &path);

    void fault(const QString &path, QJsonObject description);

    SimulatorClient store{QStringLiteral("Store")};
    SimulatorClient services{QStringLiteral("Services")};
    std::unique_ptr<Store::Server> server;
};
