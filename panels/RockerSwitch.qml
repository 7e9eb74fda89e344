import QtQuick
import Wingbell.Look

// The two-sided switch: exactly one half is lit at any time. Cannot be pressed while busy. It is a
// whole show that it starts and stops: only what it showed when it was pressed is meant by a press,
// and a double click is one.
Pressable {
    id: rocker

    required property bool isBusy
    required property bool isOn

    Accessible.checkable: true
    Accessible.checked: isOn
    //: The switch that starts and stops the server, spoken only.
    Accessible.name: qsTr("Intercom server")
    Accessible.role: Accessible.CheckBox
    debounced: true
    enabled: !isBusy
    implicitHeight: plate.implicitHeight
    implicitWidth: plate.implicitWidth
    opacity: isBusy ? 0.6 : 1

    Accessible.onToggleAction: press()
    onIsBusyChanged: cancel()
    onIsOnChanged: cancel()

    RockerPlate {
        id: plate

        anchors.fill: parent
        isOn: rocker.isOn
    }
    HalfLabel {
        active: !rocker.isOn
        anchors.horizontalCenterOffset: -35.5
        //: The left half of the switch, 71 wide; lit while the server is stopped.
        text: qsTr("STOP")
    }
    HalfLabel {
        active: rocker.isOn
        anchors.horizontalCenterOffset: 35.5
        //: The right half of the switch, 71 wide; lit while the server runs.
        text: qsTr("START")
    }
    FocusRing {
        cornerRadius: 13
        visible: rocker.activeFocus
    }

    component HalfLabel: Text {
        required property bool active

        anchors.centerIn: parent
        color: active ? Theme.faded("black", 0.85) : Theme.faded("white", 0.4)
        font.family: Typeface.rounded
        font.letterSpacing: 1
        font.pixelSize: 11
        font.weight: Font.ExtraBold
        scale: Math.min(1, 65 / implicitWidth) // a longer word than the English stays in its half
        textFormat: Text.PlainText
    }
}
