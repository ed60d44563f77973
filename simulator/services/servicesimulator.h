#pragma once

#include "connmanservice.h"
#include "methodfaults.h"
#include "notificationserver.h"
#include "releaseservice.h"
#include "simulatorcontrol.h"

#include <QObject>

/**
 * All services of the phone's platform, and the verbs by which people and tests direct
 * them:
 *
 *     connman {"state": "idle"|"online", "type": "wifi"|"cellular"|"ethernet"}; answers both
 *     dialog {"online": bool, "type": s}     what openConnectionNow() leads to by itself
 *     rdm {"release/current": s, …}          writes the release manager's configuration
 *     registration {"domain": s}             announces a registration, of a new domain if given
 *     apkd {"result": bool}                  what removeFile() answers
 *     backplate {"ready": 0|1}               a back cover comes off or on
 *     show-updating {"package": s}           a tap on an icon of the home screen
 *     notifications-list                     what is on show, as "notifications"
 *     notification-action {"id": n, "action": s, "stays": bool}
 *     notification-close {"id": n, "reason": n}
 *     notifications-restart                  the server goes and comes back as another
 *     fault {"method": s, "ms": n, "hang": bool, "error": s, "text": s, "times": n}
 *     hang {"method": s, "ms": n}            never answers, or that much later
 *     error {"method": s, "name": s, "text": s}
 *     reset
 *
 * Methods are named as in the record: "rdm.modifyRepo", "launcher.updatingStarted".
 */
class ServiceSimulator : public QObject
{
    Q_OBJECT

public:
    explicit ServiceSimulator(QObject *parent = nullptr);

    /**
     * Takes all names, the one of the control last. Without a session bus only the services
     * of the system bus are there.
     */
    [[nodiscard]] bool publish();

private:
    void describeSystemServices();
    void describeSessionServices();
    [[nodiscard]] bool publishSystemServices();
    [[nodiscard]] bool publishSessionServices();
    void addFaultVerbs();
    void addNetworkVerbs();
    void addDeviceVerbs();
    void addNotificationVerbs();
    QJsonObject reset();
    [[nodiscard]] bool removeFile(const QString &desktopFile) const;

    SimulatorControl m_control;
    MethodFaults m_faults;
    ConnmanService m_connman;
    ReleaseService m_release;
    NotificationServer m_notifications;
    SimulatedObject m_androidSupport;
    SimulatedObject m_backplate;
    SimulatedObject m_launcher;
    SimulatedObject m_connectionDialog;
    SimulatedObject m_settings;
    bool m_removeFileResult = true;
    bool m_dialogGoesOnline = false;
    QString m_dialogType; // of the connection that the dialog leads to, empty for the same
    int m_backplateReady = 1;
};
