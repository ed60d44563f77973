#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QHash>
#include <QObject>
#include <QStringList>
#include <QVariantList>

/**
 * A client of a package daemon that understands nothing and writes everything down: calls
 * the methods of transactions and lists what the daemon sends about each, in its order.
 *
 * An event is a text: "Role 17", "Status 2", "Percentage 50", "AllowCancel 0", "reply",
 * "error NAME TEXT", "listed", "delisted" (the daemon's list of transactions), "Destroy",
 * "Finished 1", "ErrorCode 17 TEXT", "Package 1 ID SUMMARY" and so on for other signals.
 */
class WireClient : public QObject
{
    Q_OBJECT

public:
    /** Connects to the system bus under the name @p connection. */
    explicit WireClient(const QString &connection, QObject *parent = nullptr);
    ~WireClient() override;

    /** Makes a transaction; @return its path, empty if the daemon refuses. */
    [[nodiscard]] QString create();

    /** Calls a method of the transaction @p path without waiting. */
    void call(const QString &path, const QString &method, const QVariantList &arguments = {});

    /**
     * Makes a transaction, calls @p method, and waits until the daemon has no more to say
     * about it, Destroy excepted where it comes long after the end.
     * @return the events, as far as they have come after half a minute.
     */
    QStringList run(const QString &method, const QVariantList &arguments);

    [[nodiscard]] QStringList events(const QString &path) const { return m_events.value(path); }

    /** Turns the event loop until an event of @p path begins with @p start. */
    [[nodiscard]] bool waitFor(const QString &path, const QString &start);

    [[nodiscard]] QDBusConnection connection() const { return m_connection; }

private Q_SLOTS:
    void onSignal(const QDBusMessage &message);

private:
    /** Whether the daemon has no more to say. */
    [[nodiscard]] bool hasEnded(const QString &path) const;
    void note(const QString &path, const QString &event);
    void noteProperties(const QString &path, const QVariantMap &properties);
    void noteList(const QStringList &list);

    QDBusConnection m_connection;
    QHash<QString, QStringList> m_events;
    QStringList m_listed;
};

/** The events that begin with one of @p starts, in their order. */
[[nodiscard]] QStringList only(const QStringList &events, const QStringList &starts);
