#pragma once

#include <QNetworkConfiguration>

/** The user's setting of when to look for OS updates without being asked. */
enum OsUpdateCheckMethod {
    CheckOnWlanOrEthernet = 1, // the default
    CheckOnAnyConnection = 2
};

/** What decides whether a check that somebody has asked for is made. */
struct OsUpdateCheckSituation
{
    bool uiActive = false; // the window is open and the application in the foreground
    bool connectionActive = false;
    QNetworkConfiguration::BearerType bearer = QNetworkConfiguration::BearerUnknown;
    int method = CheckOnWlanOrEthernet; // other values than those above: never by itself
    bool forced = false;
};

/** Whether to look for an OS update. */
[[nodiscard]] bool shouldCheckForOsUpdate(const OsUpdateCheckSituation &situation);
