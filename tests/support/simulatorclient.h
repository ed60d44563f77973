#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QString>

#include <functional>

/**
 * A test's handle on one simulator program of the phone that it runs in ("Store",
 * "PackageKit", "Services"): sends verbs, reads the record, waits for entries.
 */
class SimulatorClient : public QObject
{
    Q_OBJECT

public:
    explicit SimulatorClient(const QString &part, QObject *parent = nullptr);

    /** Sends @p verb and returns the answer; fails the test on an error. */
    QJsonObject command(const QString &verb, const QJsonObject &arguments = {});

    /** The same with the arguments as the text of an object. */
    QJsonObject command(const char *verb, const QByteArray &arguments = "{}");

    /** Has the store answer with a fault what it is asked below @p path. */
    void fault(const QString &path, const QByteArray &description);
    /** What the store was asked on paths that begin with @p path, oldest first. */
    [[nodiscard]] QJsonArray requests(const QString &path = QString());

    /** The record, or its entries of one @p kind, oldest first. */
    [[nodiscard]] QJsonArray entries(const QString &kind = QString());
    void clearLog();

    /**
     * Turns the event loop until an entry of the record satisfies @p wanted, which is asked
     * about those that exist already first.
     * @return the entry, or an empty object after @p timeout milliseconds.
     */
    QJsonObject waitFor(const std::function<bool(const QJsonObject &)> &wanted,
                        int timeout = 10000);

    /** Waits for an entry of @p kind. */
    QJsonObject waitForKind(const QString &kind, int timeout = 10000);

Q_SIGNALS:
    void recorded();

private Q_SLOTS:
    void onRecorded(const QString &entry);

private:
    QString m_service;
};
