import QtQuick
import QtQuick.Templates as T
import Wingbell.Look

// A bordered button of the desk; `tinted` fills it with gold.
T.Button {
    id: button

    property bool tinted: false

    Accessible.name: text
    Accessible.onPressAction: button.clicked()
    Accessible.role: Accessible.Button
    focusPolicy: Qt.StrongFocus
    horizontalPadding: 12
    implicitHeight: implicitContentHeight + topPadding + bottomPadding
    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    opacity: enabled ? 1 : 0.4
    verticalPadding: 6

    background: Rectangle {
        border.color: button.visualFocus ? Theme.gold : Theme.faded(Theme.steelLight, 0.35)
        border.width: button.visualFocus ? 2 : 1
        color: button.tinted ? (button.down ? Qt.darker(Theme.gold, 1.2) : Theme.gold) : Theme.faded(Theme.steelMid, button.down ? 0.6 : 0.35)
        radius: 6
    }
    contentItem: Text {
        color: button.tinted ? "black" : "white"
        font: button.font
        horizontalAlignment: Text.AlignHCenter
        text: button.text
        textFormat: Text.PlainText
        verticalAlignment: Text.AlignVCenter
    }

    Keys.onEnterPressed: button.clicked()
    Keys.onReturnPressed: button.clicked()
}
