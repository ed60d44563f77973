import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Window 2.15
import org.tarnwell.orvikstore 1.0
import "."

// The store. The root's signals are its contract with the program.
Rectangle {
    id: root

    // From the scene to the program.
    signal dismissUi()
    signal systemDialogCreated()
    signal systemDialogDestroyed()
    signal backplateInstallationFailed(string reason)

    // From the program to the scene.
    signal uiOpened()
    signal uiClosed()
    signal showApp(string packageName)
    signal showAppsStartingWith(string startsWith, string title)
    signal install(string packageName)
    signal backplateConnected(string id)
    signal backplateDisconnected()
    signal enterStore()
    signal update()

    property string wantedPackage: "" // to be shown once it is resolved
    property string wantedBackplate: "" // to be activated once the store is reached

    function showWindow() {
        if (!Window.window.visible)
            Window.window.showFullScreen();
    }

    function openApp(uuid) {
        pages.push(appPage, { "uuid": uuid });
    }

    function openSearch() {
        pages.pop(null);
        pages.push(searchPage).begin();
    }

    function openList(title, properties) {
        var page = pages.push(listPage, { "title": title });
        for (var name in properties)
            page.model[name] = properties[name];
        page.refresh();
    }

    function resolveWanted() {
        if (orvikStore.connectionState !== OrvikStore.Ready)
            return;
        if (wantedPackage !== "")
            orvikStore.resolvePackage(wantedPackage);
        if (wantedBackplate !== "")
            orvikStore.activateBackplate(wantedBackplate);
        wantedBackplate = "";
    }

    width: 540
    height: 960
    color: Theme.background
    focus: true
    Keys.onPressed: {
        if (event.key === Qt.Key_Escape || event.key === Qt.Key_Back) {
            event.accepted = true;
            if (dialog.visible)
                dialog.close();
            else if (pages.depth > 1)
                pages.pop();
            else
                root.dismissUi();
        } else if (event.key === Qt.Key_Q && (event.modifiers & Qt.ControlModifier)) {
            event.accepted = true;
            Qt.quit();
        }
    }
    Component.onCompleted: orvikStore.tryConnect()

    Shortcut {
        sequence: StandardKey.Find
        onActivated: root.openSearch()
    }

    // The program only raises a window that exists: one that was closed, or made for a request
    // that shows nothing yet, comes up by the scene's own doing.
    onUiOpened: {
        showWindow();
        orvikStore.tryConnect();
    }
    onEnterStore: pages.pop(null)
    onUpdate: {
        pages.pop(null);
        pages.push(myAppsPage);
    }
    onShowApp: {
        wantedPackage = packageName;
        resolveWanted();
    }
    onShowAppsStartingWith: {
        pages.pop(null);
        openList(title, { "scope": "store", "startsWith": startsWith });
    }
    onInstall: packageHandler.packageInfo(packageName)
    onBackplateConnected: {
        wantedBackplate = id;
        resolveWanted();
    }
    onBackplateDisconnected: wantedBackplate = ""

    Connections {
        target: orvikStore
        function onConnectionStateChanged() {
            root.resolveWanted();
        }
        function onPackageResolved(packageName, uuid) {
            if (packageName !== root.wantedPackage)
                return;
            root.wantedPackage = "";
            if (uuid !== "")
                root.openApp(uuid);
            else
                message.show(qsTrId("orvik-store-la-not_in_store").arg(packageName));
        }
        function onError(details) {
            message.show(details);
        }
        function onBackplateActivationReceived(data) {
            root.showWindow();
            message.show(qsTrId("orvik-store-la-backplate").arg(data.title || data.bkpid));
        }
    }
    Connections {
        target: packageHandler
        function onError(details) {
            message.show(details);
        }
        function onPackageError(details, packageName) {
            message.show(details.arg(packageName));
        }
        function onPackageInfoReceived(info) {
            root.showWindow();
            dialog.ask(info);
        }
    }

    StackView {
        id: pages
        anchors.fill: parent
        initialItem: FrontPage {
            onAppChosen: root.openApp(uuid)
            onCategoryChosen: root.openList(title, { "scope": "store", "category": uuid })
            onTopListChosen: root.openList(title, { "scope": "store", "topListType": type })
            onSearchChosen: root.openSearch()
            onMyAppsChosen: pages.push(myAppsPage)
        }
        pushEnter: null
        pushExit: null
        popEnter: null
        popExit: null
    }
    Component {
        id: appPage
        AppPage {
            onBack: pages.pop()
        }
    }
    Component {
        id: listPage
        ListPage {
            onBack: pages.pop()
            onAppChosen: root.openApp(uuid)
        }
    }
    Component {
        id: searchPage
        SearchPage {
            onBack: pages.pop()
            onAppChosen: root.openApp(uuid)
        }
    }
    Component {
        id: myAppsPage
        MyAppsPage {
            onBack: pages.pop()
            onAppChosen: root.openApp(uuid)
        }
    }

    InstallDialog {
        id: dialog
        anchors.fill: parent
        onOpened: root.systemDialogCreated()
        onClosed: root.systemDialogDestroyed()
    }

    Rectangle {
        id: message

        function show(text) {
            words.text = text;
            visible = true;
            hiding.restart();
        }

        anchors { left: parent.left; right: parent.right; bottom: parent.bottom; margins: Theme.margin }
        height: words.height + 2 * Theme.margin
        radius: Theme.radius
        color: Theme.warning
        visible: false

        Text {
            id: words
            anchors { left: parent.left; right: parent.right; margins: Theme.margin; verticalCenter: parent.verticalCenter }
            wrapMode: Text.Wrap
            color: Theme.inkOnHighlight
            font.pixelSize: Theme.fontSmall
        }
        MouseArea {
            anchors.fill: parent
            onClicked: message.visible = false
        }
        Timer {
            id: hiding
            interval: 6000
            onTriggered: message.visible = false
        }
    }
}
