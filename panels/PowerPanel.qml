import QtQuick
import Wingbell.Look
import Wingbell.Panels

// The column beside the console: on air or not, the switch, and the file that the server reads.
Rectangle {
    id: panel

    required property ServerController server
    required property string showFile

    color: Theme.steelDark
    implicitWidth: 230
    radius: 14

    Column {
        anchors.left: parent.left
        anchors.margins: 16
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        spacing: 18

        StatusLamp {
            anchors.horizontalCenter: parent.horizontalCenter
            isRunning: panel.server.isRunning
            isStarting: panel.server.isStarting
        }
        RockerSwitch {
            anchors.horizontalCenter: parent.horizontalCenter
            isBusy: panel.server.isStarting
            isOn: panel.server.isRunning

            onClicked: {
                if (panel.server.isRunning)
                    panel.server.stop();
                else
                    panel.server.start();
            }
        }
        Column {
            spacing: 4
            width: parent.width

            Text {
                color: Theme.faded(Theme.gold, 0.85)
                font.bold: true
                font.pixelSize: 10
                text: qsTr("SHOW FILE")
                textFormat: Text.PlainText
            }
            Text {
                color: Theme.faded("white", 0.65)
                font.family: "monospace"
                font.pixelSize: 10
                text: panel.showFile
                textFormat: Text.PlainText
                width: parent.width
                wrapMode: Text.WrapAnywhere
            }
        }
    }
}
