#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QVector>

#include <functional>

class MethodFaults;
class SimulatorControl;

/**
 * One object of a simulated service, described by a table of its methods. Every call of
 * one of them is recorded, suffers the fault that is set for it, and goes to its handler.
 */
class SimulatedObject : public QDBusVirtualObject
{
    Q_OBJECT

public:
    /** Sends a method's results to the caller. */
    using Done = std::function<void(const QVariantList &results)>;
    /** Carries a call out, and calls @p done once, at once or later. */
    using Handler = std::function<void(const QVariantList &arguments, const Done &done)>;

    struct Method
    {
        QString interface;
        QString name;
        QStringList inputTypes; // single complete types
        QStringList outputTypes;
        Handler handler;
    };

    struct Signal
    {
        QString interface;
        QString name;
        QStringList types;
    };

    /** @param kind first part of the names under which calls are recorded. */
    SimulatedObject(const QString &kind, SimulatorControl *control, MethodFaults *faults,
                    QObject *parent = nullptr);

    void addMethod(Method method);
    /** Declares a signal for those who ask what the object has. */
    void addSignal(const Signal &signal);

    /** Registers the object at @p path of @p bus, where signals then go out too. */
    [[nodiscard]] bool publish(const QDBusConnection &bus, const QString &path);
    /** Takes the object off the bus, and lets go of the connection. */
    void withdraw();
    void sendSignal(const QString &interface, const QString &name,
                    const QVariantList &arguments) const;

    [[nodiscard]] QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    [[nodiscard]] const Method *find(const QDBusMessage &message) const;

    QString m_kind;
    SimulatorControl *m_control;
    MethodFaults *m_faults;
    QVector<Method> m_methods;
    QVector<Signal> m_signals;
    QDBusConnection m_bus;
    QString m_path;
};

/** A handler that answers without results, for what only has to be told. */
[[nodiscard]] SimulatedObject::Handler noted();
