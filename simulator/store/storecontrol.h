#pragma once

#include "fault.h"
#include "storestate.h"

#include <simulatorcontrol.h>

/**
 * The verbs by which people and tests script the store, over SimulatorControl; README.md
 * beside this file lists them. An answer has the key "error" if the arguments make no sense.
 */
class StoreControl
{
public:
    /** All arguments must outlive this object. */
    StoreControl(SimulatorControl *control, StoreState *state, FaultList *faults);

private:
    void handleFaults();
    void handleToken();
    void handleLists();
    void handleInstalled();
    void handleApplications();

    /** Registers a verb that runs with the state locked. */
    void handle(const char *verb, SimulatorControl::Handler handler);
    [[nodiscard]] QString applicationUuid(const QString &uuidOrPackage) const;
    [[nodiscard]] StoreFeedItem feedItem(QJsonObject object) const;

    SimulatorControl *m_control;
    StoreState *m_state;
    FaultList *m_faults;
    int m_nextFeedItem = 0;
};
