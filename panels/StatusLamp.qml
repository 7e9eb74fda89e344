import QtQuick
import Wingbell.Look

// The lamp that says at a glance whether the show is on air. Running wins over starting.
Column {
    id: lamp

    required property bool isRunning
    required property bool isStarting

    readonly property string caption: isRunning ? qsTr("ON AIR") : isStarting ? qsTr("STARTING") : qsTr("STOPPED")
    readonly property color tint: isRunning ? Theme.live : isStarting ? Theme.gold : Theme.ready

    Accessible.name: caption
    Accessible.role: Accessible.Indicator
    spacing: 8

    Rectangle {
        anchors.horizontalCenter: parent.horizontalCenter
        border.color: Theme.steelDark
        border.width: 2
        color: lamp.tint
        height: 34
        radius: 17
        width: 34
    }
    Text {
        Accessible.ignored: true
        anchors.horizontalCenter: parent.horizontalCenter
        color: Theme.faded("white", 0.9)
        font.bold: true
        font.letterSpacing: 1.2
        font.pixelSize: 12
        text: lamp.caption
        textFormat: Text.PlainText
    }
}
