import QtQuick
import Wingbell.Look

// Says that the running server has not got all edits.
InsetPlate {
    Accessible.name: warning.text
    Accessible.role: Accessible.AlertMessage
    cornerRadius: 8
    fill: Theme.steelDeep
    implicitHeight: Math.max(sign.height, warning.height) + 20

    Symbol {
        id: sign

        anchors.verticalCenter: parent.verticalCenter
        color: Theme.gold
        fontSize: 12
        name: "exclamationmark.triangle.fill"
        x: 10
    }
    Text {
        id: warning

        anchors.left: sign.right
        anchors.leftMargin: 6
        anchors.right: parent.right
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.gold
        font.pixelSize: 12
        //: The server runs with the show as it was saved before it was started.
        text: qsTr("Changes won't reach the show until you stop and restart the server.")
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
    }
}
