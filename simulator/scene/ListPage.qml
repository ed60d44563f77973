import QtQuick 2.15
import org.tarnwell.orvikstore 1.0
import "."

// A list of applications; what is listed is up to the model's properties.
Page {
    id: page

    readonly property alias model: content
    signal appChosen(string uuid)

    function refresh() {
        if (orvikStore.connectionState === OrvikStore.Ready)
            content.refresh();
    }

    Component.onCompleted: refresh()

    Connections {
        target: orvikStore
        function onConnectionStateChanged() {
            if (content.count === 0)
                page.refresh();
        }
    }

    ContentModel {
        id: content
        store: orvikStore
        packager: packageHandler
    }

    ListView {
        id: view
        anchors.fill: parent
        model: content
        delegate: AppRow {
            app: model
            onClicked: page.appChosen(model.uuid)
        }
        onAtYEndChanged: {
            if (atYEnd && content.hasMore)
                content.fetchMoreContent();
        }
    }
    Text {
        anchors.centerIn: parent
        visible: content.count === 0
        text: content.loading || orvikStore.connectionState !== OrvikStore.Ready
              ? qsTrId("orvik-store-la-loading") : qsTrId("orvik-store-la-nothing_found")
        color: Theme.secondary
        font.pixelSize: Theme.fontMedium
    }
}
