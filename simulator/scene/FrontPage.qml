import QtQuick 2.15
import org.tarnwell.orvikstore 1.0
import "."

// The store's front page: the head of the feed, ways into the store, and the feed itself.
Page {
    id: page

    signal appChosen(string uuid)
    signal categoryChosen(string uuid, string title)
    signal topListChosen(int type, string title)
    signal searchChosen()
    signal myAppsChosen()

    readonly property bool ready: orvikStore.connectionState === OrvikStore.Ready
    property bool filled: false

    function fill() {
        if (!ready || filled)
            return;
        filled = true;
        recommended.refresh();
        categories.model = orvikStore.categories("0");
        feed.fetchContent(12);
    }

    onReadyChanged: fill()
    Component.onCompleted: fill()
    canGoBack: false
    title: qsTrId("orvik-store-ap-name")
    headerContent: [
        Pressable {
            implicitHeight: 48
            text: qsTrId("orvik-store-la-search")
            onClicked: page.searchChosen()
        },
        Pressable {
            implicitHeight: 48
            text: installedModel.updateCount > 0
                  ? qsTrId("orvik-store-la-my_apps_updates").arg(installedModel.updateCount)
                  : qsTrId("orvik-store-la-my_apps")
            onClicked: page.myAppsChosen()
        }
    ]

    FeedModel {
        id: feed
        store: orvikStore
        packager: packageHandler
        columns: 2
    }
    FeedHeadModel {
        id: head
        length: 3
        sourceModel: feed
    }
    ContentModel {
        id: recommended
        store: orvikStore
        packager: packageHandler
        scope: "store"
        sortMode: ContentModel.SortByTop
        limit: 8
    }

    Text {
        anchors.centerIn: parent
        visible: !page.filled
        text: orvikStore.connectionState === OrvikStore.Unauthorized
              ? qsTrId("orvik-store-la-sign_up") : orvikStore.connectionState === OrvikStore.ServerError
              ? qsTrId("orvik-store-la-no_server") : qsTrId("orvik-store-la-connecting")
        color: Theme.secondary
        font.pixelSize: Theme.fontMedium
    }
    Flickable {
        anchors.fill: parent
        visible: page.filled
        contentHeight: column.height + Theme.margin
        onAtYEndChanged: {
            if (atYEnd && page.filled && !feed.loading && feed.count < 60)
                feed.fetchContent(6);
        }

        Column {
            id: column
            width: parent.width

            ListView {
                width: parent.width
                height: 200
                orientation: ListView.Horizontal
                snapMode: ListView.SnapOneItem
                spacing: Theme.gap
                model: head
                delegate: StoreImage {
                    width: 400
                    height: 200
                    fillMode: Image.PreserveAspectCrop
                    source: model.cover
                    title: model.appTitle

                    Rectangle {
                        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
                        height: 54
                        color: "#c0101820"

                        Text {
                            anchors { fill: parent; leftMargin: Theme.gap; rightMargin: Theme.gap }
                            verticalAlignment: Text.AlignVCenter
                            elide: Text.ElideRight
                            text: model.appTitle
                            color: Theme.primary
                            font.pixelSize: Theme.fontMedium
                        }
                    }
                    MouseArea {
                        anchors.fill: parent
                        onClicked: page.open(model.uuid, model.collection, model.appTitle)
                    }
                }
            }
            Section {
                text: qsTrId("orvik-store-la-recommended")
            }
            ListView {
                width: parent.width
                height: 150
                orientation: ListView.Horizontal
                leftMargin: Theme.margin
                spacing: Theme.margin
                model: recommended
                delegate: Item {
                    width: 104
                    height: 150

                    StoreImage {
                        id: icon
                        anchors.horizontalCenter: parent.horizontalCenter
                        width: Theme.iconSize
                        height: Theme.iconSize
                        source: model.icon
                        title: model.title
                    }
                    Text {
                        anchors { top: icon.bottom; topMargin: 6 }
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
            Section {
                text: qsTrId("orvik-store-la-browse")
            }
            ListView {
                width: parent.width
                height: 48
                orientation: ListView.Horizontal
                leftMargin: Theme.margin
                rightMargin: Theme.margin
                spacing: Theme.gap
                model: [
                    { "type": ContentModel.TopLiked, "text": qsTrId("orvik-store-la-top_liked") },
                    { "type": ContentModel.TopDownloaded, "text": qsTrId("orvik-store-la-top_downloaded") },
                    { "type": ContentModel.TopNew, "text": qsTrId("orvik-store-la-top_new") }
                ]
                delegate: Pressable {
                    implicitHeight: 48
                    text: modelData.text
                    onClicked: page.topListChosen(modelData.type, text)
                }
            }
            Item {
                width: 1
                height: Theme.gap
            }
            ListView {
                id: categories
                width: parent.width
                height: 48
                orientation: ListView.Horizontal
                leftMargin: Theme.margin
                rightMargin: Theme.margin
                spacing: Theme.gap
                delegate: Pressable {
                    implicitHeight: 48
                    text: orvikStore.categoryName(modelData)
                    onClicked: page.categoryChosen(modelData, text)
                }
            }
            Section {
                text: qsTrId("orvik-store-la-feed")
            }
            Row {
                x: Theme.margin
                spacing: Theme.gap

                Repeater {
                    model: feed.columnModels
                    delegate: Column {
                        width: (page.width - 2 * Theme.margin - Theme.gap) / 2
                        spacing: Theme.gap

                        Repeater {
                            model: modelData
                            delegate: FeedCard {
                                feed: model
                                onClicked: page.open(model.uuid, model.collection, model.appTitle)
                            }
                        }
                    }
                }
            }
        }
    }

    function open(uuid, collection, appTitle) {
        if (uuid !== "")
            appChosen(uuid);
        else if (collection !== "")
            categoryChosen(collection, appTitle);
    }
}
