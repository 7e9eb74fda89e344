import QtQuick
import Wingbell.Look
import Wingbell.Panels

// The show's channels as chips, each removed by a press, and the field that adds one.
Column {
    id: editor

    required property ShowConfig config
    property string newChannelName

    function add() {
        config.addChannel(newChannelName);
        newChannelName = "";
    }

    spacing: 10

    FlowChips {
        id: flow

        width: parent.width

        chips: ChannelChips {
            channels: editor.config.channels
        }
        itemView: Chip {
            required property string name

            Accessible.description: qsTr("Removes the channel")
            text: name
            textColor: "white"
            tint: Theme.steelMid

            onClicked: (parent as FlowChips)?.chosen(name)
        }

        onChosen: name => editor.config.removeChannel(name)
    }
    Row {
        spacing: 8

        DeskField {
            Accessible.name: qsTr("New channel name")
            font.pixelSize: 13
            placeholderText: qsTr("New channel name")
            text: editor.newChannelName
            width: Math.min(220, editor.width)

            onAccepted: editor.add()
            onTextChanged: editor.newChannelName = text
        }
        DeskButton {
            anchors.verticalCenter: parent.verticalCenter
            enabled: !ChannelName.isBlank(editor.newChannelName)
            text: qsTr("Add")

            onClicked: editor.add()
        }
    }
}
