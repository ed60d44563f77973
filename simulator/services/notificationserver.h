#pragma once

#include "simulatedobject.h"

#include <QJsonArray>
#include <QMap>

/**
 * The notification server of the home screen, "org.freedesktop.Notifications", on a
 * connection of its own so that it can go away and come back as another.
 */
class NotificationServer : public QObject
{
    Q_OBJECT

public:
    NotificationServer(SimulatorControl *control, MethodFaults *faults, QObject *parent = nullptr);
    ~NotificationServer() override;

    /** Connects to the session bus and takes the name. */
    [[nodiscard]] bool publish();

    /** What is on show, by number: objects with "id", "appName", "summary", "hints", … */
    [[nodiscard]] QJsonArray notifications() const;

    /** What a tap does: the action is announced, and the notification goes unless @p stays. */
    [[nodiscard]] bool invoke(uint id, const QString &action, bool stays);
    /** @param reason 1 expired, 2 dismissed by the user, 3 closed by a call. */
    [[nodiscard]] bool close(uint id, uint reason);
    /** Loses everything and comes back under another connection. */
    [[nodiscard]] bool restart();
    /** Takes everything away, without anybody being told. */
    void clear();

private:
    void describe();
    [[nodiscard]] uint show(const QVariantList &arguments);
    void disconnectFromBus();

    SimulatedObject *m_object;
    QMap<uint, QJsonObject> m_notifications;
    uint m_nextId = 1;
    int m_incarnation = 0; // makes the names of connections differ
};
