#pragma once

#include <QStringList>

/**
 * The package manager's record of which package brought which desktop file. Synchronous,
 * needs no daemon; without a readable database every answer is empty.
 */
namespace DesktopFileCache {

/** Paths of the desktop files that @p package installed. */
[[nodiscard]] QStringList packageDesktopFiles(const QString &package);

/** The package that installed @p desktopFile, empty if none is known. */
[[nodiscard]] QString packageNameByDesktopFile(const QString &desktopFile);

} // namespace DesktopFileCache
