import QtQuick
import Wingbell.Look
import Wingbell.Panels

// A channel in FlowChips: a pill-shaped button, as wide as its name and 20 more, which the model has
// measured.
Pressable {
    id: chip

    required property string name
    required place
    required property color textColor
    required property color tint

    //: A channel whose name is empty or blank, spoken only.
    Accessible.name: name.trim() === "" ? qsTr("Channel without a name") : name

    onActiveFocusChanged: (parent as FlowChips)?.showRing(chip)
    onClicked: (parent as FlowChips)?.chosen(name)

    Capsule {
        anchors.fill: parent
        fill: chip.tint
        outline: Theme.faded("black", 0.3)
    }
    Text {
        id: label

        anchors.centerIn: parent
        color: chip.textColor
        font.pixelSize: 12
        font.weight: Font.DemiBold
        text: DisplayText.withReturnSigns(chip.name)
        textFormat: Text.PlainText
    }
}
