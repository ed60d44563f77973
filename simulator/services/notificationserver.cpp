#include "notificationserver.h"

#include "dbusjson.h"

#include <QJsonObject>

namespace {

constexpr uint closedByCall = 3;
constexpr uint dismissed = 2;

QString serverName() // also of the interface
{
    return QStringLiteral("org.freedesktop.Notifications");
}

QString connectionName(int incarnation)
{
    return QStringLiteral("notifications-%1").arg(incarnation);
}

QString text(const char *type)
{
    return QString::fromLatin1(type);
}

} // namespace

NotificationServer::NotificationServer(SimulatorControl *control, MethodFaults *faults,
                                       QObject *parent)
    : QObject(parent)
    , m_object(new SimulatedObject(QStringLiteral("notification"), control, faults, this))
{
    describe();
}

NotificationServer::~NotificationServer()
{
    disconnectFromBus();
}

bool NotificationServer::publish()
{
    QDBusConnection bus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName(++m_incarnation));
    return m_object->publish(bus, QStringLiteral("/org/freedesktop/Notifications"))
        && bus.registerService(serverName());
}

QJsonArray NotificationServer::notifications() const
{
    QJsonArray list;
    for (const QJsonObject &notification : m_notifications)
        list.append(notification);
    return list;
}

bool NotificationServer::invoke(uint id, const QString &action, bool stays)
{
    if (!m_notifications.contains(id))
        return false;
    m_object->sendSignal(serverName(), QStringLiteral("ActionInvoked"), {id, action});
    return stays || close(id, dismissed);
}

bool NotificationServer::close(uint id, uint reason)
{
    if (m_notifications.remove(id) == 0)
        return false;
    m_object->sendSignal(serverName(), QStringLiteral("NotificationClosed"), {id, reason});
    return true;
}

bool NotificationServer::restart()
{
    disconnectFromBus();
    m_notifications.clear();
    m_nextId = 1;
    return publish();
}

void NotificationServer::clear()
{
    m_notifications.clear();
}

void NotificationServer::describe()
{
    m_object->addMethod({serverName(),
                         QStringLiteral("GetCapabilities"),
                         {},
                         {text("as")},
                         [](const QVariantList &, const SimulatedObject::Done &done) {
                             done({QStringList{QStringLiteral("actions"), QStringLiteral("body"),
                                               QStringLiteral("persistence")}});
                         }});
    m_object->addMethod({serverName(),
                         QStringLiteral("GetServerInformation"),
                         {},
                         {text("s"), text("s"), text("s"), text("s")},
                         [](const QVariantList &, const SimulatedObject::Done &done) {
                             done({QStringLiteral("servicesim"), QStringLiteral("kiosk"),
                                   QStringLiteral("1.0"), QStringLiteral("1.2")});
                         }});
    m_object->addMethod({serverName(),
                         QStringLiteral("Notify"),
                         {text("s"), text("u"), text("s"), text("s"), text("s"), text("as"),
                          text("a{sv}"), text("i")},
                         {text("u")},
                         [this](const QVariantList &arguments, const SimulatedObject::Done &done) {
                             done({show(arguments)});
                         }});
    m_object->addMethod({serverName(),
                         QStringLiteral("CloseNotification"),
                         {text("u")},
                         {},
                         [this](const QVariantList &arguments, const SimulatedObject::Done &done) {
                             static_cast<void>(close(arguments.at(0).toUInt(), closedByCall));
                             done({});
                         }});
    m_object->addSignal(
        {serverName(), QStringLiteral("NotificationClosed"), {text("u"), text("u")}});
    m_object->addSignal({serverName(), QStringLiteral("ActionInvoked"), {text("u"), text("s")}});
}

uint NotificationServer::show(const QVariantList &arguments)
{
    const QJsonArray values = DBusJson::fromList(arguments);
    uint id = arguments.at(1).toUInt();
    if (!m_notifications.contains(id))
        id = m_nextId++;
    m_notifications.insert(id,
                           {{QStringLiteral("id"), qint64(id)},
                            {QStringLiteral("appName"), values[0]},
                            {QStringLiteral("summary"), values[3]},
                            {QStringLiteral("body"), values[4]},
                            {QStringLiteral("actions"), values[5]},
                            {QStringLiteral("hints"), values[6]},
                            {QStringLiteral("timeout"), values[7]}});
    return id;
}

void NotificationServer::disconnectFromBus()
{
    if (m_incarnation == 0)
        return;
    // The connection may stay open a little longer than it has a name here.
    const QString name = connectionName(m_incarnation);
    QDBusConnection(name).unregisterService(serverName());
    m_object->withdraw();
    QDBusConnection::disconnectFromBus(name);
}
