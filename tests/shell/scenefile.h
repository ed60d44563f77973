#pragma once

#include <QString>

/**
 * Scenes in the place of the phone's own, for tests that run in a phone of their own. They
 * declare all that the program asks of a scene and print a line "scene NAME ARGUMENTS" for
 * each signal that they get.
 */
namespace SceneFile {

/** Writes main.qml. @param body further QML inside of the root object. */
[[nodiscard]] bool writeMain(const QString &body = QString());
/** Writes upgrade.qml. */
[[nodiscard]] bool writeUpgrade(const QString &body = QString());
/** Writes any text as "main.qml" or "upgrade.qml". */
[[nodiscard]] bool write(const QString &name, const QString &text);

} // namespace SceneFile
