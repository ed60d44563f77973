import QtQuick 2.15
import "."

// An image of the store. Its bytes come through the facade into the disk cache, then
// from there by a local URL; until then, or without one, the first letter stands in.
Item {
    id: storeImage

    property string source
    property string title
    property int fillMode: Image.PreserveAspectFit
    property var callback: null

    function load() {
        forget();
        picture.source = "";
        if (source === "" || source.indexOf("image://theme/") === 0)
            return;
        callback = function (ready, url) {
            storeImage.callback = null;
            if (ready)
                picture.source = url;
        };
        orvikStore.loadStoreImage(source, width, height, callback);
    }

    function forget() {
        if (callback !== null)
            orvikStore.cancelStoreImageCallback(callback);
        callback = null;
    }

    onSourceChanged: load()
    Component.onCompleted: load()
    Component.onDestruction: forget()

    Rectangle {
        anchors.fill: parent
        radius: Theme.radius
        color: Theme.surfaceHigh
        visible: picture.status !== Image.Ready

        Text {
            anchors.centerIn: parent
            text: storeImage.title.charAt(0).toUpperCase()
            color: Theme.highlight
            font.pixelSize: Math.max(12, parent.height * 0.45)
        }
    }

    Image {
        id: picture
        anchors.fill: parent
        asynchronous: true
        fillMode: storeImage.fillMode
    }
}
