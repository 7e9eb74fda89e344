import QtQuick
import Wingbell.Look

// The title plate across the top of the window, and the steel trim under it.
Item {
    id: header

    implicitHeight: plate.height + trim.height

    BrushedStreaks {
        id: plate

        height: lettering.implicitHeight + 28
        streakOpacity: 0.45
        width: parent.width

        Column {
            id: lettering

            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 2
            y: 14

            LitText {
                Accessible.name: text
                Accessible.role: Accessible.Heading
                anchors.horizontalCenter: parent.horizontalCenter
                font.family: Typeface.rounded
                font.letterSpacing: 0.5
                font.pixelSize: 17
                font.weight: Font.Bold
                text: "Wingbell Control" // a name
            }
            Text {
                Accessible.name: text
                Accessible.role: Accessible.StaticText
                anchors.horizontalCenter: parent.horizontalCenter
                color: Theme.faded("white", 0.75)
                font.pixelSize: 10
                //: Under the title of the window; the relay is what carries the voices of the intercom.
                text: qsTr("Set up and run the show relay")
                textFormat: Text.PlainText
            }
        }
        HexBolt {
            diameter: 14
            x: 10
            y: 10
        }
        HexBolt {
            anchors.right: parent.right
            anchors.rightMargin: 10
            diameter: 14
            y: 10
        }
    }
    SteelTrim {
        id: trim

        anchors.top: plate.bottom
        height: 12
        width: parent.width
    }
}
