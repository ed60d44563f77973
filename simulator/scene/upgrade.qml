import QtQuick 2.15
import "."

// Installs the OS update that was downloaded. Nothing else runs on the device meanwhile.
Rectangle {
    id: root

    signal startUpgrade()
    signal releasePackageHandler()
    signal upgradeInstalled()

    property bool finished: false
    property bool succeeded: false

    width: 540
    height: 960
    color: Theme.background

    // A turn later, when the program listens.
    Timer {
        interval: 0
        running: true
        onTriggered: root.startUpgrade()
    }
    Connections {
        target: packageHandler
        function onUpgradeProgressChanged() {
            progress.value = packageHandler.upgradeProgress;
        }
        function onOsUpdateResult(success, diskFull) {
            if (root.finished)
                return;
            root.finished = true;
            root.succeeded = success;
            words.text = success ? qsTrId("orvik-store-la-upgrade_done")
                : diskFull ? qsTrId("orvik-store-la-upgrade_disk_full")
                           : qsTrId("orvik-store-la-upgrade_failed");
            if (success)
                root.upgradeInstalled();
            root.releasePackageHandler();
        }
    }
    Column {
        anchors.centerIn: parent
        width: parent.width - 4 * Theme.margin
        spacing: 2 * Theme.margin

        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            text: qsTrId("orvik-store-la-upgrade_title")
            color: Theme.primary
            font.pixelSize: Theme.fontHuge
        }
        ProgressLine {
            id: progress
            width: parent.width
            visible: !root.finished
        }
        Text {
            id: words
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: qsTrId("orvik-store-la-upgrade_running")
            color: root.finished && !root.succeeded ? Theme.warning : Theme.secondary
            font.pixelSize: Theme.fontMedium
        }
    }
}
