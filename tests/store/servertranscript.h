#pragma once

#include "scriptednetwork.h"

#include "store/server.h"

#include <QJsonArray>
#include <QJsonObject>

/**
 * A Store::Server and everything that it tells, in order, one object for each signal of the
 * server and of the proxies. Requests are made on scripted networks of the test's own and
 * handed to a slot of the server.
 */
class ServerTranscript : public QObject
{
    Q_OBJECT

public:
    ServerTranscript();
    ~ServerTranscript() override;

    /** Hands a proxy on @p network to the two slots, and follows what it tells. */
    Store::RequestProxy *follow(ScriptedNetwork *network, const char *finishedSlot,
                                const char *errorSlot = SLOT(slotRequestError()));

    /** Gets @p answer for @p url, hands it to @p slot and waits for the end of that. */
    QJsonArray play(const QByteArray &slot, const ScriptedAnswer &answer,
                    const QUrl &url = QUrl(QStringLiteral("https://store.example/x/")));

    Store::Server server;
    QJsonArray entries;

private:
    void followServer();
    void add(const QString &key, const QJsonValue &value);
};
