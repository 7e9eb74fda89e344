import QtQuick
import QtQuick.Templates as T
import Wingbell.Look

// The two-sided switch: exactly one half is lit at any time. Cannot be pressed while busy.
T.AbstractButton {
    id: rocker

    required property bool isBusy
    required property bool isOn

    Accessible.checkable: true
    Accessible.checked: isOn
    Accessible.name: qsTr("Intercom server")
    Accessible.onPressAction: rocker.clicked()
    Accessible.onToggleAction: rocker.clicked()
    Accessible.role: Accessible.CheckBox
    enabled: !isBusy
    focusPolicy: Qt.StrongFocus
    implicitHeight: 58
    implicitWidth: 150
    opacity: isBusy ? 0.6 : 1

    background: Rectangle {
        border.color: rocker.visualFocus ? Theme.gold : Theme.steelDeep
        border.width: 2
        color: Theme.steelMid
        radius: 10
    }
    contentItem: Item {
        Row {
            anchors.centerIn: parent

            Half {
                active: !rocker.isOn
                label: qsTr("STOP")
                tint: Theme.ready
            }
            Half {
                active: rocker.isOn
                label: qsTr("START")
                tint: Theme.live
            }
        }
    }

    Keys.onEnterPressed: rocker.clicked()
    Keys.onReturnPressed: rocker.clicked()

    component Half: Rectangle {
        id: half

        required property bool active
        required property string label
        required property color tint

        color: Theme.faded(active ? tint : Theme.steelDeep, 0.9)
        height: 50
        width: 71

        Text {
            anchors.centerIn: parent
            color: half.active ? Theme.faded("black", 0.85) : Theme.faded("white", 0.4)
            font.letterSpacing: 1
            font.pixelSize: 11
            font.weight: Font.Black
            text: half.label
            textFormat: Text.PlainText
        }
    }
}
