import QtQuick 2.15
import "."

// A push button.
Rectangle {
    id: button

    property alias text: label.text
    property bool prominent: false
    signal clicked()

    implicitWidth: Math.max(150, label.implicitWidth + 2 * Theme.margin)
    implicitHeight: 58
    radius: height / 2
    opacity: enabled ? 1 : 0.45
    color: prominent ? Theme.highlight : Theme.surfaceHigh
    border.width: area.pressed ? 2 : 0
    border.color: Theme.primary

    Text {
        id: label
        anchors.centerIn: parent
        color: button.prominent ? Theme.inkOnHighlight : Theme.primary
        font.pixelSize: Theme.fontMedium
        font.bold: button.prominent
    }
    MouseArea {
        id: area
        anchors.fill: parent
        onClicked: button.clicked()
    }
}
