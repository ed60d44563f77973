pragma Singleton
import QtQuick 2.15

// Measures and colours of the scene, in one place.
QtObject {
    readonly property int margin: 20
    readonly property int gap: 12
    readonly property int rowHeight: 108
    readonly property int iconSize: 86
    readonly property int headerHeight: 76
    readonly property int radius: 10

    readonly property int fontHuge: 34
    readonly property int fontLarge: 26
    readonly property int fontMedium: 21
    readonly property int fontSmall: 17

    readonly property color background: "#10202a"
    readonly property color surface: "#1a303c"
    readonly property color surfaceHigh: "#25414f"
    readonly property color primary: "#f4f8f9"
    readonly property color secondary: "#9fb6c0"
    readonly property color highlight: "#53d0b8"
    readonly property color inkOnHighlight: "#06231f"
    readonly property color warning: "#ffb35c"

    // Values of ApplicationState::State that the scene tells apart by more than their name.
    readonly property int stateUpdatable: 1
    readonly property int stateUpdating: 2
    readonly property int stateInstalling: 4
    readonly property int stateUninstalling: 8
    readonly property int stateInstalled: 16

    function isWorking(state) {
        return state === stateUpdating || state === stateInstalling
            || state === stateUninstalling;
    }
}
