#include "osupdatecheckpolicy.h"

bool shouldCheckForOsUpdate(const OsUpdateCheckSituation &situation)
{
    if (situation.forced)
        return true;
    // A check disturbs who is looking at the store.
    if (situation.uiActive || !situation.connectionActive)
        return false;
    switch (situation.method) {
    case CheckOnAnyConnection:
        return true;
    case CheckOnWlanOrEthernet:
        return situation.bearer == QNetworkConfiguration::BearerWLAN
            || situation.bearer == QNetworkConfiguration::BearerEthernet;
    default:
        return false;
    }
}
