import QtQuick 2.15
import QtQuick.Controls 2.15
import org.tarnwell.orvikstore 1.0
import "."

// One application: install, update or remove it, like it, read and write reviews.
Page {
    id: page

    property string uuid
    property var app: ({})
    property int appState: 0
    property int progress: 100
    property string editing: "" // uuid of the review that is being edited

    function load() {
        app = orvikStore.applicationData(uuid);
        updateState();
        if (app.packageName === undefined || liker.application === uuid)
            return;
        liker.application = uuid;
        reviews.application = uuid;
        company.text = orvikStore.companyData(app.company).name || app.userName;
    }

    function updateState() {
        if (app.packageName === undefined)
            return;
        appState = packageHandler.applicationState(app.packageName, app.version);
        progress = packageHandler.packageProgress(app.packageName);
    }

    function writeReview() {
        flickable.contentY = Math.max(0, Math.min(reviewRow.y - Theme.margin,
                                                  flickable.contentHeight - flickable.height));
        field.forceActiveFocus();
    }

    title: app.title || ""
    // Not before the models below have their store.
    Component.onCompleted: load()

    // For a phone with a keyboard, and for desktops.
    Shortcut {
        sequence: "Ctrl+L"
        enabled: page.visible && !liker.busy
        onActivated: liker.isLiked ? liker.unlike() : liker.like()
    }
    Shortcut {
        sequence: "Ctrl+R"
        enabled: page.visible
        onActivated: page.writeReview()
    }

    Connections {
        target: orvikStore
        function onApplicationReceived(uuid) {
            if (uuid === page.uuid)
                page.load();
        }
        function onApplicationDataUpdated(uuid) {
            if (uuid === page.uuid)
                page.load();
        }
        function onCompanyReceived(uuid) {
            if (uuid === page.app.company)
                company.text = orvikStore.companyData(uuid).name;
        }
    }
    Connections {
        target: packageHandler
        function onPackageStatusChanged(packageName) {
            if (packageName === page.app.packageName)
                page.updateState();
        }
        function onProgressChanged(packageName, progress) {
            if (packageName === page.app.packageName)
                page.updateState();
        }
        function onPackagesCountChanged() {
            page.updateState();
        }
    }
    Liker {
        id: liker
        store: orvikStore
    }
    ReviewModel {
        id: reviews
        store: orvikStore
        limit: 20
    }

    Flickable {
        id: flickable
        anchors.fill: parent
        contentHeight: column.height + 2 * Theme.margin

        Column {
            id: column
            width: parent.width
            spacing: Theme.gap

            StoreImage {
                width: parent.width
                height: width / 2
                fillMode: Image.PreserveAspectCrop
                visible: (page.app.cover || "") !== ""
                source: page.app.cover || ""
                title: page.app.title || ""
            }
            Item {
                x: Theme.margin
                width: parent.width - 2 * Theme.margin
                height: Theme.iconSize + Theme.gap

                StoreImage {
                    id: icon
                    width: Theme.iconSize
                    height: Theme.iconSize
                    source: page.app.icon || ""
                    title: page.app.title || ""
                }
                Column {
                    anchors { left: icon.right; leftMargin: Theme.gap; right: parent.right }

                    Text {
                        width: parent.width
                        elide: Text.ElideRight
                        text: page.app.title || qsTrId("orvik-store-la-loading")
                        color: Theme.primary
                        font.pixelSize: Theme.fontLarge
                    }
                    Text {
                        id: company
                        width: parent.width
                        elide: Text.ElideRight
                        color: Theme.secondary
                        font.pixelSize: Theme.fontSmall
                    }
                    Text {
                        text: qsTrId("orvik-store-la-version_downloads")
                              .arg(page.app.version || "").arg(page.app.downloads || "")
                        visible: page.app.inStore === true
                        color: Theme.secondary
                        font.pixelSize: Theme.fontSmall
                    }
                }
            }
            Row {
                x: Theme.margin
                spacing: Theme.gap

                Pressable {
                    prominent: true
                    visible: !Theme.isWorking(page.appState) && page.appState !== Theme.stateInstalled
                    enabled: page.app.packageName !== undefined
                    text: page.appState === Theme.stateUpdatable ? qsTrId("orvik-store-la-update")
                                                                : qsTrId("orvik-store-la-install")
                    onClicked: installHandler.install(page.uuid, page.app.packageName)
                }
                Pressable {
                    visible: page.appState === Theme.stateInstalled
                             || page.appState === Theme.stateUpdatable
                    text: qsTrId("orvik-store-la-remove")
                    onClicked: packageHandler.uninstall(page.app.packageName, true)
                }
                Pressable {
                    visible: Theme.isWorking(page.appState)
                    text: qsTrId("orvik-store-la-cancel")
                    onClicked: packageHandler.cancelPending(page.app.packageName)
                }
                Pressable {
                    visible: page.app.inStore === true
                    enabled: !liker.busy
                    prominent: liker.isLiked
                    text: "\u2665 " + liker.likes
                    onClicked: liker.isLiked ? liker.unlike() : liker.like()
                }
            }
            Column {
                x: Theme.margin
                width: parent.width - 2 * Theme.margin
                spacing: 6
                visible: stateName.text !== ""

                Text {
                    id: stateName
                    text: packageHandler.applicationStateName(page.appState, page.progress)
                    color: Theme.highlight
                    font.pixelSize: Theme.fontSmall
                }
                ProgressLine {
                    width: parent.width
                    visible: Theme.isWorking(page.appState)
                    value: page.progress
                }
            }
            ListView {
                width: parent.width
                height: visible ? 300 : 0
                visible: count > 0
                orientation: ListView.Horizontal
                leftMargin: Theme.margin
                spacing: Theme.gap
                model: (page.app.screenshots || "").split(" ").filter(function (url) { return url !== ""; })
                delegate: StoreImage {
                    width: 169
                    height: 300
                    source: modelData
                    title: page.app.title || ""
                }
            }
            Text {
                x: Theme.margin
                width: parent.width - 2 * Theme.margin
                wrapMode: Text.Wrap
                text: page.app.description || page.app.summary || ""
                color: Theme.primary
                font.pixelSize: Theme.fontSmall
            }
            Section {
                text: qsTrId("orvik-store-la-changes")
                visible: (page.app.changes || "") !== ""
            }
            Text {
                x: Theme.margin
                width: parent.width - 2 * Theme.margin
                wrapMode: Text.Wrap
                visible: text !== ""
                text: page.app.changes || ""
                color: Theme.secondary
                font.pixelSize: Theme.fontSmall
            }
            Section {
                text: qsTrId("orvik-store-la-reviews")
                visible: page.app.inStore === true
            }
            Row {
                id: reviewRow
                x: Theme.margin
                width: parent.width - 2 * Theme.margin
                spacing: Theme.gap
                visible: page.app.inStore === true

                TextField {
                    id: field
                    width: parent.width - send.width - Theme.gap
                    height: send.height
                    placeholderText: qsTrId("orvik-store-la-write_review")
                    placeholderTextColor: Theme.secondary
                    color: Theme.primary
                    font.pixelSize: Theme.fontSmall
                    background: Rectangle {
                        radius: Theme.radius
                        color: Theme.surface
                        border.color: field.activeFocus ? Theme.highlight : Theme.surfaceHigh
                    }
                    onAccepted: send.clicked()
                }
                Pressable {
                    id: send
                    implicitWidth: 120
                    enabled: field.text.trim() !== ""
                    text: page.editing === "" ? qsTrId("orvik-store-la-send")
                                              : qsTrId("orvik-store-la-save")
                    onClicked: {
                        if (!enabled)
                            return;
                        orvikStore.sendReview(page.editing, page.uuid, field.text.trim(), page.app.version);
                        page.editing = "";
                        field.text = "";
                    }
                }
            }
            Repeater {
                model: reviews
                delegate: Rectangle {
                    id: card

                    readonly property bool own: model.author === orvikStore.user && model.uuid !== ""

                    x: Theme.margin
                    width: column.width - 2 * Theme.margin
                    height: words.height + 2 * Theme.gap
                    radius: Theme.radius
                    color: Theme.surface

                    Column {
                        id: words
                        x: Theme.gap
                        y: Theme.gap
                        width: parent.width - 2 * Theme.gap
                        spacing: 4

                        Text {
                            text: model.authorName + " \u00b7 "
                                  + Qt.formatDate(model.createdOn, Qt.DefaultLocaleShortDate)
                            color: Theme.highlight
                            font.pixelSize: Theme.fontSmall
                        }
                        Text {
                            width: parent.width
                            wrapMode: Text.Wrap
                            text: model.review
                            color: Theme.primary
                            font.pixelSize: Theme.fontSmall
                        }
                        Row {
                            visible: card.own
                            spacing: Theme.gap

                            Pressable {
                                implicitHeight: 42
                                text: qsTrId("orvik-store-la-edit")
                                onClicked: {
                                    page.editing = model.uuid;
                                    field.text = model.review;
                                    field.forceActiveFocus();
                                }
                            }
                            Pressable {
                                implicitHeight: 42
                                text: qsTrId("orvik-store-la-delete")
                                onClicked: orvikStore.sendReview(model.uuid, page.uuid, "", model.version)
                            }
                        }
                    }
                }
            }
        }
    }
}
