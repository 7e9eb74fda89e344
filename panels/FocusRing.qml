import QtQuick
import Wingbell.Look

// The gold outline around what has the keyboard's focus.
InsetPlate {
    property real distance: 3

    anchors.fill: parent
    anchors.margins: -distance
    cornerRadius: 6 + distance
    fill: "transparent"
    outline: Theme.gold
    outlineWidth: 2
}
