import QtQuick
import Wingbell.Look
import Wingbell.Panels

// The show's channels as chips, each removed by a press, and the field that adds one.
Column {
    id: editor

    required property ShowConfig config
    property string newChannelName

    // The next name can be typed at once.
    function add() {
        newName.forceActiveFocus(Qt.OtherFocusReason);
        config.addChannel(newChannelName);
        newChannelName = "";
    }

    spacing: 10

    FlowChips {
        id: flow

        // Far chips are not made: the list says their names.
        Accessible.description: Array.from(editor.config.channels).join()
        //: The list of the channels and how many there are, spoken only.
        Accessible.name: qsTr("Channels, %1").arg(editor.config.channels.length)
        Accessible.role: Accessible.List
        width: parent.width

        chips: ChannelListModel {
            channels: editor.config.channels
            width: flow.width
        }
        itemView: Chip {
            //: What a press on a channel does, spoken only.
            Accessible.description: qsTr("Removes the channel")
            textColor: "white"
            tint: Theme.steelMid
        }

        onChosen: name => editor.config.removeChannel(name)
        onFocusLost: newName.forceActiveFocus(Qt.TabFocusReason)
    }
    Row {
        spacing: 8

        DeskField {
            id: newName

            //: The field for a new channel, spoken only.
            Accessible.name: qsTr("New channel name")
            font.pixelSize: 13
            //: Stands in the empty field, which is 220 wide.
            placeholderText: qsTr("New channel name")
            text: editor.newChannelName
            width: Math.min(220, editor.width)

            onAccepted: editor.add()
            onTextChanged: editor.newChannelName = text
        }
        DeskButton {
            anchors.verticalCenter: parent.verticalCenter
            enabled: !editor.config.isBlankName(editor.newChannelName)
            //: A button: adds the channel whose name is in the field.
            text: qsTr("Add")

            onClicked: editor.add()
        }
    }
}
