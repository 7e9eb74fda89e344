import QtQuick
import Wingbell.Look

// The lamp that says at a glance whether the show is on air. Running wins over starting.
Column {
    id: lamp

    readonly property string caption: {
        if (isRunning)
            //: The lamp: the server runs. As over the door of a studio.
            return qsTr("ON AIR");
        if (isStarting)
            //: The lamp: the server has been started and has not spoken yet.
            return qsTr("STARTING");
        //: The lamp: the server does not run.
        return qsTr("STOPPED");
    }
    required property bool isRunning
    required property bool isStarting

    Accessible.name: caption
    Accessible.role: Accessible.StaticText
    spacing: 8

    LampLight {
        anchors.horizontalCenter: parent.horizontalCenter
        color: lamp.isRunning ? Theme.live : lamp.isStarting ? Theme.gold : Theme.ready
        glowRadius: lamp.isRunning ? 12 : 4
        objectName: "light"
    }
    Text {
        anchors.horizontalCenter: parent.horizontalCenter
        color: Theme.faded("white", 0.9)
        font.family: Typeface.rounded
        font.letterSpacing: 1.2
        font.pixelSize: 12
        font.weight: Font.Bold
        objectName: "caption"
        text: lamp.caption
        textFormat: Text.PlainText
    }
}
