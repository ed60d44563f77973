#pragma once

#include <QLatin1String>

/** Names of this program's own D-Bus service and of those that the shell talks to. */
namespace DBusNames {

// Our service, on the session bus.
inline const QLatin1String Service("com.orvik.orvikstore");
inline const QLatin1String Path("/KioskClient");
inline const QLatin1String Interface("com.orvik.orvikstore");

// The back cover daemon, on the system bus.
inline const QLatin1String BackplateService("com.orvik.bkpd");
inline const QLatin1String BackplatePath("/com/orvik/bkpd");
inline const QLatin1String PropertiesInterface("org.freedesktop.DBus.Properties");
inline const QLatin1String PropertiesChanged("PropertiesChanged");

// The home screen's launcher, on the session bus.
inline const QLatin1String LauncherService("org.teskmobile.pavilion");
inline const QLatin1String LauncherPath("/LauncherModel");
inline const QLatin1String LauncherInterface("org.teskmobile.pavilion.LauncherModel");
inline const QLatin1String ShowUpdatingProgress("showUpdatingProgress");

// The settings application, on the session bus.
inline const QLatin1String SettingsService("com.orvik.settings");
inline const QLatin1String SettingsPath("/com/orvik/settings/ui");
inline const QLatin1String SettingsInterface("com.orvik.settings.ui");
inline const QLatin1String ShowOsPage("showBranwickOs");

// The release manager, on the system bus, whatever its service is called.
inline const QLatin1String RdmPath("/org/tesk/rdm");
inline const QLatin1String RdmInterface("org.tesk.rdm");
inline const QLatin1String RegistrationStatusChanged("registrationStatusChanged");

} // namespace DBusNames

/** Categories of the notifications that the shell publishes. */
namespace NotificationCategory {

inline const QLatin1String SystemUpdate("x-tesk.system-update");
inline const QLatin1String SystemUpdateDownloaded("x-tesk.system-update-downloaded");
inline const QLatin1String SoftwareUpdate("x-tesk.software-update");
inline const QLatin1String InstallFailed("x-orvik.store.install-failed");
inline const QLatin1String SideLoadingSuccess("x-orvik.store.sideloading-success");
inline const QLatin1String SideLoadingFailed("x-orvik.store.sideloading-failed");
inline const QLatin1String Error("x-orvik.store.error");

} // namespace NotificationCategory
