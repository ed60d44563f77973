#pragma once

#include "simulatedobject.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QVariantMap>

/** An object of the connection manager and its properties, (oa{sv}) on the bus. */
struct ConnmanEntry
{
    QDBusObjectPath path;
    QVariantMap properties;
};
Q_DECLARE_METATYPE(ConnmanEntry)
Q_DECLARE_METATYPE(QList<ConnmanEntry>)

QDBusArgument &operator<<(QDBusArgument &argument, const ConnmanEntry &entry);
const QDBusArgument &operator>>(const QDBusArgument &argument, ConnmanEntry &entry);

/**
 * "net.connman", as much of it as the toolkit's bearer plugin asks for: one technology and
 * one service, which is online or idle.
 */
class ConnmanService : public QObject
{
    Q_OBJECT

public:
    ConnmanService(SimulatorControl *control, MethodFaults *faults, QObject *parent = nullptr);

    /** Takes the name on the system bus. */
    [[nodiscard]] bool publish();

    [[nodiscard]] QString state() const;
    [[nodiscard]] QString type() const;
    /** @param state "idle", "ready" or "online". */
    void setState(const QString &state);
    /** Replaces the service by one of @p type: "wifi", "cellular" or "ethernet". */
    void setType(const QString &type);

private:
    /** The service of one type; all types have one, and the manager lists the one in use. */
    SimulatedObject *serviceObject(const QString &type);
    void describeManager();
    void describeTechnology();
    [[nodiscard]] QVariantMap managerProperties() const;
    [[nodiscard]] QVariantMap technologyProperties() const;
    [[nodiscard]] QVariantMap serviceProperties(const QString &type) const;
    [[nodiscard]] ConnmanEntry serviceEntry() const;

    SimulatorControl *m_control;
    MethodFaults *m_faults;
    SimulatedObject *m_manager;
    SimulatedObject *m_technology;
    QHash<QString, SimulatedObject *> m_services; // by type
    QString m_state;
    QString m_type;
};
