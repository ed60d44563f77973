import QtQuick 2.15
import "."

// One application in a list: what it is, and what is the matter with it.
Item {
    id: row

    property var app
    signal clicked()

    readonly property bool working: Theme.isWorking(app.appState)

    width: parent ? parent.width : 0
    height: Theme.rowHeight

    Rectangle {
        anchors.fill: parent
        color: Theme.surfaceHigh
        visible: area.pressed
    }
    StoreImage {
        id: icon
        anchors { left: parent.left; leftMargin: Theme.margin; verticalCenter: parent.verticalCenter }
        width: Theme.iconSize
        height: Theme.iconSize
        source: row.app.icon
        title: row.app.title
    }
    Column {
        anchors {
            left: icon.right
            leftMargin: Theme.gap
            right: parent.right
            rightMargin: Theme.margin
            verticalCenter: parent.verticalCenter
        }
        spacing: 3

        Text {
            width: parent.width
            elide: Text.ElideRight
            text: row.app.title
            color: Theme.primary
            font.pixelSize: Theme.fontMedium
        }
        Text {
            width: parent.width
            elide: Text.ElideRight
            text: row.app.companyName || row.app.userName
            visible: text !== ""
            color: Theme.secondary
            font.pixelSize: Theme.fontSmall
        }
        Text {
            text: packageHandler.applicationStateName(row.app.appState, row.app.progress)
                  || qsTrId("orvik-store-la-likes", row.app.likes)
            color: row.app.appState === Theme.stateUpdatable ? Theme.warning : Theme.highlight
            font.pixelSize: Theme.fontSmall
        }
        ProgressLine {
            width: parent.width
            visible: row.working
            value: row.app.progress
        }
    }
    MouseArea {
        id: area
        anchors.fill: parent
        onClicked: row.clicked()
    }
}
