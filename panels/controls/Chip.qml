import QtQuick
import Wingbell.Look
import Wingbell.Panels

// One pill-shaped button, as wide as its text and 20 more.
Pressable {
    id: chip

    required property string text
    required property color textColor
    required property color tint

    //: A channel whose name is empty or blank, spoken only.
    Accessible.name: text.trim() === "" ? qsTr("Channel without a name") : text
    implicitHeight: label.implicitHeight + 10
    implicitWidth: label.implicitWidth + 20

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
        text: LineBreaks.asSigns(chip.text)
        textFormat: Text.PlainText
    }
}
