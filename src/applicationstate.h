#pragma once

#include <QObject>

/** Carries to QML what can be the matter with an application on this device. */
class ApplicationState : public QObject
{
    Q_OBJECT

public:
    enum State {
        Unknown = 0,
        Updatable = 1,
        Updating = 2,
        Installing = 4,
        Uninstalling = 8,
        Installed = 16,
        Normal = 32,
        All = 63
    };
    Q_ENUM(State)
    Q_DECLARE_FLAGS(States, State)
    Q_FLAG(States)
};

Q_DECLARE_OPERATORS_FOR_FLAGS(ApplicationState::States)
