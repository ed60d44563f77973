import QtQuick 2.15
import QtQuick.Controls 2.15
import org.tarnwell.orvikstore 1.0
import "."

// Search, with suggestions while the user types.
Page {
    id: page

    property bool suggesting: false // the user is typing
    signal appChosen(string uuid)

    /** Takes the keyboard; to be called once the page is shown. */
    function begin() {
        field.forceActiveFocus(Qt.OtherFocusReason);
    }

    function search(text) {
        field.text = text;
        suggesting = false;
        results.filter = text;
        results.refresh();
        field.focus = false;
    }

    title: qsTrId("orvik-store-la-search")
    SearchAssistant {
        id: assistant
        store: orvikStore
        limit: 6
    }
    ContentModel {
        id: results
        store: orvikStore
        packager: packageHandler
        scope: "search"
        sortMode: ContentModel.SortNone
    }

    TextField {
        id: field
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: Theme.margin }
        height: 60
        placeholderText: qsTrId("orvik-store-la-search_hint")
        placeholderTextColor: Theme.secondary
        color: Theme.primary
        font.pixelSize: Theme.fontMedium
        background: Rectangle {
            radius: Theme.radius
            color: Theme.surface
            border.color: field.activeFocus ? Theme.highlight : Theme.surfaceHigh
        }
        onTextEdited: {
            page.suggesting = true;
            assistant.searchTerm = text;
        }
        onAccepted: page.search(text)
    }
    ListView {
        id: list
        anchors { left: parent.left; right: parent.right; top: field.bottom; bottom: parent.bottom; topMargin: Theme.gap }
        clip: true
        model: results
        delegate: AppRow {
            app: model
            onClicked: page.appChosen(model.uuid)
        }
        onAtYEndChanged: {
            if (atYEnd && results.hasMore)
                results.fetchMoreContent();
        }
    }
    Rectangle {
        anchors { left: field.left; right: field.right; top: field.bottom; topMargin: 2 }
        height: suggestions.contentHeight
        visible: page.suggesting && suggestions.count > 0
        color: Theme.surfaceHigh
        radius: Theme.radius

        ListView {
            id: suggestions
            anchors.fill: parent
            interactive: false
            model: assistant
            delegate: Text {
                width: suggestions.width
                height: 58
                leftPadding: Theme.margin
                verticalAlignment: Text.AlignVCenter
                text: model.suggestion
                color: Theme.primary
                font.pixelSize: Theme.fontMedium

                MouseArea {
                    anchors.fill: parent
                    onClicked: page.search(model.suggestion)
                }
            }
        }
    }
}
