#include "connmanservice.h"

#include <QDBusConnection>
#include <QDBusMetaType>

namespace {

QString managerInterface()
{
    return QStringLiteral("net.connman.Manager");
}

QString technologyInterface()
{
    return QStringLiteral("net.connman.Technology");
}

QString serviceInterface()
{
    return QStringLiteral("net.connman.Service");
}

QString technologyPath()
{
    return QStringLiteral("/net/connman/technology/kiosk");
}

QString servicePath(const QString &type)
{
    return QStringLiteral("/net/connman/service/") + type;
}

QStringList types()
{
    return {QStringLiteral("wifi"), QStringLiteral("cellular"), QStringLiteral("ethernet")};
}

void addPropertyMembers(SimulatedObject *object, const QString &interface,
                        const std::function<QVariantMap()> &properties)
{
    object->addMethod({interface,
                       QStringLiteral("GetProperties"),
                       {},
                       {QStringLiteral("a{sv}")},
                       [properties](const QVariantList &, const SimulatedObject::Done &done) {
                           done({properties()});
                       }});
    object->addSignal(
        {interface, QStringLiteral("PropertyChanged"), {QStringLiteral("s"), QStringLiteral("v")}});
}

void announce(SimulatedObject *object, const QString &interface, const QString &property,
              const QVariant &value)
{
    object->sendSignal(interface, QStringLiteral("PropertyChanged"),
                       {property, QVariant::fromValue(QDBusVariant(value))});
}

} // namespace

QDBusArgument &operator<<(QDBusArgument &argument, const ConnmanEntry &entry)
{
    argument.beginStructure();
    argument << entry.path << entry.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, ConnmanEntry &entry)
{
    argument.beginStructure();
    argument >> entry.path >> entry.properties;
    argument.endStructure();
    return argument;
}

ConnmanService::ConnmanService(SimulatorControl *control, MethodFaults *faults, QObject *parent)
    : QObject(parent)
    , m_control(control)
    , m_faults(faults)
    , m_manager(new SimulatedObject(QStringLiteral("connman"), control, faults, this))
    , m_technology(new SimulatedObject(QStringLiteral("connman.technology"), control, faults, this))
    , m_state(QStringLiteral("online"))
    , m_type(types().constFirst())
{
    qDBusRegisterMetaType<ConnmanEntry>();
    qDBusRegisterMetaType<QList<ConnmanEntry>>();
    describeManager();
    describeTechnology();
}

bool ConnmanService::publish()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    bool published = m_manager->publish(bus, QStringLiteral("/"))
        && m_technology->publish(bus, technologyPath());
    for (const QString &type : types())
        published = published && serviceObject(type)->publish(bus, servicePath(type));
    return published && bus.registerService(QStringLiteral("net.connman"));
}

QString ConnmanService::state() const
{
    return m_state;
}

QString ConnmanService::type() const
{
    return m_type;
}

void ConnmanService::setState(const QString &state)
{
    if (m_state == state)
        return;
    m_state = state;
    announce(m_technology, technologyInterface(), QStringLiteral("Connected"),
             technologyProperties()[QStringLiteral("Connected")]);
    announce(serviceObject(m_type), serviceInterface(), QStringLiteral("State"), m_state);
    announce(m_manager, managerInterface(), QStringLiteral("State"), m_state);
}

void ConnmanService::setType(const QString &type)
{
    if (m_type == type || !types().contains(type))
        return;
    const QList<QDBusObjectPath> gone{QDBusObjectPath(servicePath(m_type))};
    m_type = type;
    m_manager->sendSignal(
        managerInterface(), QStringLiteral("ServicesChanged"),
        {QVariant::fromValue(QList<ConnmanEntry>{serviceEntry()}), QVariant::fromValue(gone)});
}

SimulatedObject *ConnmanService::serviceObject(const QString &type)
{
    SimulatedObject *&object = m_services[type];
    if (!object) {
        object = new SimulatedObject(QStringLiteral("connman.service"), m_control, m_faults, this);
        addPropertyMembers(object, serviceInterface(),
                           [this, type] { return serviceProperties(type); });
        object->addMethod({serviceInterface(),
                           QStringLiteral("Connect"),
                           {},
                           {},
                           [this](const QVariantList &, const SimulatedObject::Done &done) {
                               setState(QStringLiteral("online"));
                               done({});
                           }});
        object->addMethod({serviceInterface(),
                           QStringLiteral("Disconnect"),
                           {},
                           {},
                           [this](const QVariantList &, const SimulatedObject::Done &done) {
                               setState(QStringLiteral("idle"));
                               done({});
                           }});
    }
    return object;
}

void ConnmanService::describeManager()
{
    const QString entries = QStringLiteral("a(oa{sv})");
    addPropertyMembers(m_manager, managerInterface(), [this] { return managerProperties(); });
    m_manager->addMethod({managerInterface(),
                          QStringLiteral("GetServices"),
                          {},
                          {entries},
                          [this](const QVariantList &, const SimulatedObject::Done &done) {
                              done({QVariant::fromValue(QList<ConnmanEntry>{serviceEntry()})});
                          }});
    m_manager->addMethod({managerInterface(),
                          QStringLiteral("GetTechnologies"),
                          {},
                          {entries},
                          [this](const QVariantList &, const SimulatedObject::Done &done) {
                              done({QVariant::fromValue(QList<ConnmanEntry>{
                                  {QDBusObjectPath(technologyPath()), technologyProperties()}})});
                          }});
    m_manager->addSignal(
        {managerInterface(), QStringLiteral("ServicesChanged"), {entries, QStringLiteral("ao")}});
}

void ConnmanService::describeTechnology()
{
    addPropertyMembers(m_technology, technologyInterface(),
                       [this] { return technologyProperties(); });
    m_technology->addMethod({technologyInterface(), QStringLiteral("Scan"), {}, {}, noted()});
}

QVariantMap ConnmanService::managerProperties() const
{
    return {{QStringLiteral("State"), m_state},
            {QStringLiteral("OfflineMode"), false},
            {QStringLiteral("SessionMode"), false}};
}

QVariantMap ConnmanService::technologyProperties() const
{
    return {{QStringLiteral("Name"), QStringLiteral("Radio")},
            {QStringLiteral("Type"), m_type},
            {QStringLiteral("Powered"), true},
            {QStringLiteral("Connected"), m_state != QLatin1String("idle")},
            {QStringLiteral("Tethering"), false}};
}

QVariantMap ConnmanService::serviceProperties(const QString &type) const
{
    return {{QStringLiteral("Name"), QStringLiteral("Harbour ") + type},
            {QStringLiteral("Type"), type},
            {QStringLiteral("State"), type == m_type ? m_state : QStringLiteral("idle")},
            {QStringLiteral("Strength"), QVariant::fromValue(uchar(80))},
            {QStringLiteral("Security"), QStringList{QStringLiteral("psk")}},
            {QStringLiteral("Favorite"), true},
            {QStringLiteral("Immutable"), false},
            {QStringLiteral("AutoConnect"), true},
            {QStringLiteral("Roaming"), false},
            {QStringLiteral("Ethernet"),
             QVariantMap{{QStringLiteral("Interface"), QStringLiteral("lo")}}}};
}

ConnmanEntry ConnmanService::serviceEntry() const
{
    return {QDBusObjectPath(servicePath(m_type)), serviceProperties(m_type)};
}
