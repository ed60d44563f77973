import QtQuick 2.15
import "."

// A page of the scene: a header with the way back, and room for what it shows.
Item {
    id: page

    property alias title: heading.text
    property bool canGoBack: true
    property alias headerContent: extra.data
    default property alias content: body.data
    signal back()

    Rectangle {
        anchors.fill: parent
        color: Theme.background
    }
    Item {
        id: body
        anchors { fill: parent; topMargin: Theme.headerHeight }
        clip: true
    }
    Rectangle {
        width: parent.width
        height: Theme.headerHeight
        color: Theme.surface

        Text {
            id: arrow
            visible: page.canGoBack
            width: visible ? Theme.headerHeight : 0
            height: parent.height
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
            text: "\u2039"
            color: Theme.highlight
            font.pixelSize: 48

            MouseArea {
                anchors.fill: parent
                onClicked: page.back()
            }
        }
        Text {
            id: heading
            anchors {
                left: arrow.right
                leftMargin: page.canGoBack ? 0 : Theme.margin
                right: extra.left
                verticalCenter: parent.verticalCenter
            }
            elide: Text.ElideRight
            color: Theme.primary
            font.pixelSize: Theme.fontLarge
        }
        Row {
            id: extra
            anchors { right: parent.right; rightMargin: Theme.margin; verticalCenter: parent.verticalCenter }
            spacing: Theme.gap
        }
    }
}
