#pragma once

#include "simulatedobject.h"

#include <QByteArray>

class QJsonObject;

/**
 * The release manager, "org.tesk.rdm". It keeps the device's configuration file, and has
 * the simulated package daemon, where one runs, make the repositories that go with it.
 */
class ReleaseService : public QObject
{
    Q_OBJECT

public:
    ReleaseService(SimulatorControl *control, MethodFaults *faults, QObject *parent = nullptr);

    /** Takes the name on the system bus. */
    [[nodiscard]] bool publish();

    /** Writes @p values, keys such as "release/domain" with texts, numbers or lists. */
    void configure(const QJsonObject &values);
    /** Announces that the device's registration has changed. */
    void announceRegistration();
    /** Puts the configuration file back to what it was at the start. */
    void reset();

private:
    void describe();
    /** Tells the simulated package daemon; @p done follows also where there is none. */
    void forward(const QString &verb, const QJsonObject &arguments,
                 const SimulatedObject::Done &done);

    SimulatedObject *m_object;
    QByteArray m_original; // the configuration file at the start
};
