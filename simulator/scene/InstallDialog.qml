import QtQuick 2.15
import "."

// Asks before a package file is installed.
Rectangle {
    id: dialog

    property var info: ({})
    signal opened()
    signal closed()

    function ask(packageInfo) {
        info = packageInfo;
        if (!visible) {
            visible = true;
            opened();
        }
    }

    function close() {
        visible = false;
        closed();
    }

    visible: false
    color: "#c0000000"

    MouseArea {
        anchors.fill: parent
    }
    Rectangle {
        anchors.centerIn: parent
        width: parent.width - 4 * Theme.margin
        height: column.height + 2 * Theme.margin
        radius: Theme.radius
        color: Theme.surface

        Column {
            id: column
            x: Theme.margin
            y: Theme.margin
            width: parent.width - 2 * Theme.margin
            spacing: Theme.gap

            Text {
                width: parent.width
                wrapMode: Text.Wrap
                text: qsTrId("orvik-store-la-install_file").arg(dialog.info.name || "")
                color: Theme.primary
                font.pixelSize: Theme.fontLarge
            }
            Text {
                width: parent.width
                wrapMode: Text.Wrap
                text: (dialog.info.summary || "") + "\n" + (dialog.info.version || "")
                color: Theme.secondary
                font.pixelSize: Theme.fontSmall
            }
            Row {
                spacing: Theme.gap

                Pressable {
                    prominent: true
                    enabled: (dialog.info.file || "") !== ""
                    text: qsTrId("orvik-store-la-install")
                    onClicked: {
                        packageHandler.install(dialog.info.file);
                        dialog.close();
                    }
                }
                Pressable {
                    text: qsTrId("orvik-store-la-cancel")
                    onClicked: dialog.close()
                }
            }
        }
    }
}
