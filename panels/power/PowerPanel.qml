import QtQuick
import Wingbell.Look
import Wingbell.Panels

// The column beside the console: on air or not, the switch, and the file that the server reads.
Item {
    id: panel

    required property ServerController server
    required property string showFile

    // What is to reach the store before the show starts, is to reach it now.
    signal aboutToStart

    implicitWidth: 230

    SteelPanelBackground {
        anchors.fill: parent
        cornerRadius: 14
    }
    Column {
        id: column

        readonly property real room: panel.height - 32

        objectName: "column"
        spacing: 18
        width: parent.width - 32
        x: 16
        // At the top while there is room below; what is too tall takes from both sides alike.
        y: 16 + Math.min(0, (room - height) / 2)

        StatusLamp {
            anchors.horizontalCenter: parent.horizontalCenter
            isRunning: panel.server.isRunning
            isStarting: panel.server.isStarting
        }
        RockerSwitch {
            anchors.horizontalCenter: parent.horizontalCenter
            isBusy: panel.server.isStarting
            isOn: panel.server.isRunning
            objectName: "rocker"

            onClicked: {
                if (panel.server.isRunning)
                    panel.server.stop();
                else {
                    panel.aboutToStart();
                    panel.server.start();
                }
            }
        }
        Column {
            spacing: 4
            width: parent.width

            Text {
                Accessible.name: text
                Accessible.role: Accessible.StaticText
                color: Theme.faded(Theme.gold, 0.85)
                font.pixelSize: 10
                font.weight: Font.Bold
                //: The title over the path of the file that the show is saved in.
                text: qsTr("SHOW FILE")
                textFormat: Text.PlainText
            }
            Text {
                Accessible.name: panel.showFile
                Accessible.role: Accessible.StaticText
                color: Theme.faded("white", 0.65)
                font.family: Typeface.monospaced
                font.pixelSize: 10
                maximumLineCount: 2
                objectName: "path"
                text: DisplayText.elidedAtHead(panel.showFile, font, width, 2)
                textFormat: Text.PlainText
                width: parent.width
                wrapMode: Text.WrapAnywhere
            }
            Item {
                implicitHeight: link.height + 2
                implicitWidth: link.width

                Pressable {
                    id: reveal

                    Accessible.name: link.text
                    height: 24
                    width: link.width
                    y: 2 + (link.height - height) / 2

                    onClicked: FileRevealer.reveal(panel.showFile)

                    Text {
                        id: link

                        color: reveal.pressed ? Qt.darker(Theme.gold, 1.3) : Theme.gold
                        font.pixelSize: 11
                        font.underline: hover.hovered
                        //: A link: opens the file manager with the show's file selected. Say it as the desktop does.
                        text: qsTr("Reveal in Finder")
                        textFormat: Text.PlainText
                        y: (parent.height - height) / 2
                    }
                    HoverHandler {
                        id: hover
                    }
                    FocusRing {
                        anchors.fill: link
                        visible: reveal.activeFocus
                    }
                }
            }
        }
    }
    CornerBolts {
        anchors.fill: parent
    }
}
