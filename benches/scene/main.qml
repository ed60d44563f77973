import QtQuick 2.15
import QtQuick.Window 2.15

// A scene without the store's types, so that a bare view can show it as well. It says when
// its first frame is on the screen.
Rectangle {
    id: root

    property bool hasTold: false

    signal dismissUi()
    signal systemDialogCreated()
    signal systemDialogDestroyed()
    signal backplateInstallationFailed(string reason)
    signal uiOpened()
    signal uiClosed()
    signal showApp(string packageName)
    signal showAppsStartingWith(string startsWith, string title)
    signal install(string packageName)
    signal backplateConnected(string id)
    signal backplateDisconnected()
    signal enterStore()
    signal update()

    width: 540
    height: 960
    color: "#10243a"

    Connections {
        target: root.Window.window
        function onFrameSwapped() {
            if (!root.hasTold) {
                root.hasTold = true;
                console.warn("first frame");
            }
        }
    }

    ListView {
        anchors.fill: parent
        model: 60
        delegate: Rectangle {
            width: ListView.view.width
            height: 72
            color: index % 2 ? "#17324f" : "transparent"

            Text {
                anchors.verticalCenter: parent.verticalCenter
                x: 24
                color: "white"
                font.pixelSize: 24
                text: "Application " + index
            }
        }
    }
}
