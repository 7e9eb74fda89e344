import QtQuick
import Wingbell.Look

// The gold outline around what has the keyboard's focus.
Rectangle {
    property real distance: 3

    anchors.fill: parent
    anchors.margins: -distance
    border.color: Theme.gold
    border.width: 2
    color: "transparent"
    radius: 6 + distance
}
