#pragma once

#include <QStringList>

/**
 * Runs the test's own program once more, as another program of the device; its main() looks
 * at the arguments. The variable of the environment, if any, holds for that process alone.
 * @return its exit code, -1 if it crashed or never ended.
 */
int runSelf(const QStringList &arguments, const QString &variable = QString(),
            const QString &value = QString());

/** The same without a session bus. */
int runSelfWithoutBus(const QStringList &arguments);
