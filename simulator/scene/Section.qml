import QtQuick 2.15
import "."

Text {
    leftPadding: Theme.margin
    topPadding: Theme.margin
    bottomPadding: Theme.gap
    color: Theme.highlight
    font.pixelSize: Theme.fontMedium
    font.capitalization: Font.AllUppercase
}
