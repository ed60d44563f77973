import QtQuick 2.15
import "."

// What this device has installed, in a grid with a section for each state.
Page {
    id: page

    signal appChosen(string uuid)

    title: qsTrId("orvik-store-la-my_apps")
    headerContent: Pressable {
        implicitHeight: 48
        prominent: true
        visible: installedModel.updateCount > 0
        text: qsTrId("orvik-store-la-update_all")
        onClicked: installedModel.updateAll()
    }
    Component.onCompleted: installedGridModel.columns = 4

    ListView {
        id: grid
        anchors.fill: parent
        topMargin: Theme.margin
        spacing: Theme.gap
        model: installedGridModel.list
        delegate: Column {
            id: gridRow

            property var apps: modelData
            // A rebuild takes the rows away before it gives new ones.
            readonly property int section: apps ? apps.appSection : -1
            readonly property var above: index > 0 ? installedGridModel.list[index - 1] : null
            readonly property bool first: !above || above.appSection !== section

            width: grid.width

            Section {
                visible: gridRow.first
                text: packageHandler.applicationStateName(gridRow.section, 0)
            }
            Row {
                x: Theme.margin

                Repeater {
                    model: gridRow.apps
                    delegate: Item {
                        width: (grid.width - 2 * Theme.margin) / 4
                        height: 156

                        StoreImage {
                            id: icon
                            anchors.horizontalCenter: parent.horizontalCenter
                            width: Theme.iconSize
                            height: Theme.iconSize
                            source: model.icon
                            title: model.title
                            opacity: Theme.isWorking(model.appState) ? 0.5 : 1
                        }
                        ProgressLine {
                            anchors { top: icon.bottom; topMargin: 4; horizontalCenter: icon.horizontalCenter }
                            width: icon.width
                            visible: Theme.isWorking(model.appState)
                            value: model.progress
                        }
                        Text {
                            anchors { top: icon.bottom; topMargin: 14 }
                            width: parent.width
                            horizontalAlignment: Text.AlignHCenter
                            wrapMode: Text.Wrap
                            maximumLineCount: 2
                            elide: Text.ElideRight
                            text: model.title
                            color: Theme.primary
                            font.pixelSize: Theme.fontSmall
                        }
                        MouseArea {
                            anchors.fill: parent
                            onClicked: page.appChosen(model.uuid)
                        }
                    }
                }
            }
        }
    }
    Text {
        anchors.centerIn: parent
        visible: grid.count === 0
        text: qsTrId("orvik-store-la-no_apps")
        color: Theme.secondary
        font.pixelSize: Theme.fontMedium
    }
}
