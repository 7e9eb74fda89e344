import QtQuick
import Wingbell.Look

// A bordered button of the desk; `prominent` fills it with gold.
Pressable {
    id: button

    property alias font: label.font
    property bool prominent: false
    property alias text: label.text

    Accessible.name: text
    implicitHeight: 28 // whatever the family of its letters
    implicitWidth: Math.ceil(label.implicitWidth) + 24
    opacity: enabled ? 1 : 0.4

    InsetPlate {
        anchors.fill: parent
        cornerRadius: 6
        fill: button.prominent ? Qt.darker(Theme.gold, button.pressed ? 1.25 : 1) : Theme.faded(Theme.steelMid, button.pressed ? 0.65 : 0.4)
        outline: button.prominent ? Qt.lighter(Theme.gold, 1.15) : Theme.faded(Theme.steelLight, 0.35)
        outlineWidth: 1
    }
    Text {
        id: label

        anchors.centerIn: parent
        color: button.prominent ? "black" : "white"
        font.pixelSize: 13
        textFormat: Text.PlainText
    }
    FocusRing {
        visible: button.activeFocus
    }
}
