import QtQuick
import Wingbell.Look

// The outline around what has the keyboard's focus: gold, and within the gold dark. One of the two
// shows on every ground, on gold too.
InsetPlate {
    id: ring

    property real distance: 4

    anchors.fill: parent
    anchors.margins: -distance
    cornerRadius: 6 + distance
    fill: "transparent"
    outline: Theme.steelDeep
    outlineWidth: 4

    InsetPlate {
        anchors.fill: parent
        cornerRadius: ring.cornerRadius
        fill: "transparent"
        outline: Theme.gold
        outlineWidth: 2
    }
}
