import QtQuick
import Wingbell.Look
import Wingbell.Panels

// The channels of the show as chips, those of one list lit.
Column {
    id: row

    property alias channels: channelChips.channels
    required property string icon
    property alias selected: channelChips.selected
    required property string title

    signal toggled(string channel)

    Accessible.name: title
    Accessible.role: Accessible.Grouping
    spacing: 4

    Row {
        spacing: 4

        Symbol {
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.faded("white", 0.6)
            fontSize: 10
            name: row.icon
        }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.faded("white", 0.6)
            font.bold: true
            font.pixelSize: 10
            text: row.title
            textFormat: Text.PlainText
        }
    }
    FlowChips {
        width: parent.width

        chips: ChannelChips {
            id: channelChips
        }
        itemView: Chip {
            required property string name
            required property bool selected

            Accessible.checkable: true
            Accessible.checked: selected
            Accessible.role: Accessible.CheckBox
            text: name
            textColor: selected ? "black" : Theme.faded("white", 0.6)
            tint: selected ? Theme.gold : Theme.steelDeep

            Accessible.onToggleAction: press()
            onClicked: (parent as FlowChips)?.chosen(name)
        }

        onChosen: name => row.toggled(name)
    }
}
