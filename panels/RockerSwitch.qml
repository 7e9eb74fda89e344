import QtQuick
import Wingbell.Look

// The two-sided switch: exactly one half is lit at any time. Cannot be pressed while busy.
Pressable {
    id: rocker

    required property bool isBusy
    required property bool isOn

    Accessible.checkable: true
    Accessible.checked: isOn
    Accessible.name: qsTr("Intercom server")
    Accessible.role: Accessible.CheckBox
    enabled: !isBusy
    implicitHeight: plate.implicitHeight
    implicitWidth: plate.implicitWidth
    opacity: isBusy ? 0.6 : 1

    Accessible.onToggleAction: press()

    RockerPlate {
        id: plate

        anchors.fill: parent
        isOn: rocker.isOn
    }
    HalfLabel {
        active: !rocker.isOn
        anchors.horizontalCenterOffset: -35.5
        text: qsTr("STOP")
    }
    HalfLabel {
        active: rocker.isOn
        anchors.horizontalCenterOffset: 35.5
        text: qsTr("START")
    }
    FocusRing {
        cornerRadius: 13
        visible: rocker.showsFocus
    }

    component HalfLabel: Text {
        required property bool active

        anchors.centerIn: parent
        color: active ? Theme.faded("black", 0.85) : Theme.faded("white", 0.4)
        font.family: Typeface.rounded
        font.letterSpacing: 1
        font.pixelSize: 11
        font.weight: Font.ExtraBold
        textFormat: Text.PlainText
    }
}
