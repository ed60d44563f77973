import QtQuick 2.15

// One picture, by way of the store or straight from a file.
Item {
    id: root

    property alias source: picture.source
    property alias status: picture.status

    function load(url) {
        store.loadStoreImage(url, 64, 64, function(ready, local) { picture.source = local; });
    }

    width: 128
    height: 128

    Image {
        id: picture
        anchors.fill: parent
        asynchronous: true
        cache: false
    }
}
