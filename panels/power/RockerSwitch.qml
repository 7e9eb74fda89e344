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
        //: The left half of the switch, 71 wide; lit while the server is stopped.
        stopLabel: qsTr("STOP")
        //: The right half of the switch, 71 wide; lit while the server runs.
        startLabel: qsTr("START")
    }
    FocusRing {
        cornerRadius: 14
        visible: rocker.activeFocus
    }
}
