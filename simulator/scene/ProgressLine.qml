import QtQuick 2.15
import "."

// How far something has come, in percent; a negative value shows as hardly begun.
Rectangle {
    property int value

    implicitHeight: 6
    radius: 3
    color: Theme.surfaceHigh

    Rectangle {
        height: parent.height
        radius: parent.radius
        width: parent.width * Math.max(2, Math.min(100, parent.value)) / 100
        color: Theme.highlight
    }
}
