import QtQuick 2.15
import "."

// One event of the feed.
Rectangle {
    id: card

    property var feed
    signal clicked()

    width: parent ? parent.width : 0
    height: body.height + 2 * Theme.gap
    radius: Theme.radius
    color: Theme.surface

    Column {
        id: body
        x: Theme.gap
        y: Theme.gap
        width: parent.width - 2 * Theme.gap
        spacing: 6

        StoreImage {
            width: parent.width
            height: width / 2
            fillMode: Image.PreserveAspectCrop
            source: card.feed.cover
            title: card.feed.appTitle
        }
        Text {
            width: parent.width
            wrapMode: Text.Wrap
            text: card.feed.title
            color: Theme.highlight
            font.pixelSize: Theme.fontSmall
        }
        Text {
            width: parent.width
            elide: Text.ElideRight
            visible: card.feed.title !== card.feed.appTitle
            text: card.feed.appTitle
            color: Theme.primary
            font.pixelSize: Theme.fontMedium
        }
        Text {
            width: parent.width
            wrapMode: Text.Wrap
            maximumLineCount: 4
            elide: Text.ElideRight
            visible: text !== ""
            text: card.feed.text
            color: Theme.secondary
            font.pixelSize: Theme.fontSmall
        }
    }
    MouseArea {
        anchors.fill: parent
        onClicked: card.clicked()
    }
}
