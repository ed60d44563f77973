#include "simulatedobject.h"

#include "dbusjson.h"
#include "methodfaults.h"
#include "simulatorcontrol.h"

#include <QJsonObject>
#include <QTimer>

namespace {

QString recordedName(const QString &kind, const QString &method)
{
    return kind + QLatin1Char('.') + method.at(0).toLower() + method.mid(1);
}

QString argumentTags(const QStringList &types, const QString &direction)
{
    QString tags;
    for (const QString &type : types)
        tags += QStringLiteral("<arg type=\"%1\"%2/>").arg(type, direction);
    return tags;
}

} // namespace

SimulatedObject::Handler noted()
{
    return [](const QVariantList &, const SimulatedObject::Done &done) { done({}); };
}

SimulatedObject::SimulatedObject(const QString &kind, SimulatorControl *control,
                                 MethodFaults *faults, QObject *parent)
    : QDBusVirtualObject(parent)
    , m_kind(kind)
    , m_control(control)
    , m_faults(faults)
    , m_bus(QString())
{ }

void SimulatedObject::addMethod(Method method)
{
    m_methods.append(std::move(method));
}

void SimulatedObject::addSignal(const Signal &signal)
{
    m_signals.append(signal);
}

bool SimulatedObject::publish(const QDBusConnection &bus, const QString &path)
{
    m_bus = bus;
    m_path = path;
    return m_bus.registerVirtualObject(path, this, QDBusConnection::SingleNode);
}

void SimulatedObject::withdraw()
{
    m_bus.unregisterObject(m_path);
    m_bus = QDBusConnection(QString());
}

void SimulatedObject::sendSignal(const QString &interface, const QString &name,
                                 const QVariantList &arguments) const
{
    if (!m_bus.isConnected())
        return;
    QDBusMessage signal = QDBusMessage::createSignal(m_path, interface, name);
    signal.setArguments(arguments);
    m_bus.send(signal);
}

QString SimulatedObject::introspect(const QString &) const
{
    QMap<QString, QString> members; // by interface
    for (const Method &method : m_methods) {
        members[method.interface] +=
            QStringLiteral("<method name=\"%1\">%2%3</method>")
                .arg(method.name,
                     argumentTags(method.inputTypes, QStringLiteral(" direction=\"in\"")),
                     argumentTags(method.outputTypes, QStringLiteral(" direction=\"out\"")));
    }
    for (const Signal &signal : m_signals) {
        members[signal.interface] += QStringLiteral("<signal name=\"%1\">%2</signal>")
                                         .arg(signal.name, argumentTags(signal.types, {}));
    }
    QString description;
    for (auto entry = members.cbegin(); entry != members.cend(); ++entry) {
        description +=
            QStringLiteral("<interface name=\"%1\">%2</interface>").arg(entry.key(), entry.value());
    }
    return description;
}

bool SimulatedObject::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    const Method *method = find(message);
    if (!method)
        return false;
    const QString recorded = recordedName(m_kind, method->name);
    m_control->record({{QStringLiteral("kind"), recorded},
                       {QStringLiteral("arguments"), DBusJson::fromList(message.arguments())}});

    const MethodFault fault = m_faults->take(recorded).value_or(MethodFault());
    if (fault.hang)
        return true;
    message.setDelayedReply(true);
    const auto carryOut = [message, connection, fault, handler = method->handler] {
        if (!fault.errorName.isEmpty()) {
            connection.send(message.createErrorReply(fault.errorName, fault.errorText));
            return;
        }
        handler(message.arguments(), [message, connection](const QVariantList &results) {
            if (message.isReplyRequired())
                connection.send(message.createReply(results));
        });
    };
    if (fault.delay.count() > 0)
        QTimer::singleShot(fault.delay, this, carryOut);
    else
        carryOut();
    return true;
}

const SimulatedObject::Method *SimulatedObject::find(const QDBusMessage &message) const
{
    for (const Method &method : m_methods) {
        if (method.name == message.member()
            && method.inputTypes.join(QString()) == message.signature()
            && (message.interface().isEmpty() || method.interface == message.interface()))
            return &method;
    }
    return nullptr;
}
