#pragma once

#include <QString>

/** Names of what an OS update is made of. */
namespace Package::OsUpdate {

/** The package whose version is the version of the OS. */
[[nodiscard]] QString versionPackage();
/** The repository that has it. */
[[nodiscard]] QString checkRepository();
/** The pattern that pulls in everything of this device; read once. */
[[nodiscard]] const QString &configurationPattern();
/** The distribution name that asks how much an update would take; the device is read anew. */
[[nodiscard]] QString sizeQuery();

} // namespace Package::OsUpdate
