import QtQuick
import Wingbell.Look
import Wingbell.Panels

// The channels of the show as chips, those of one list lit.
Item {
    id: patchRow

    property alias channels: channelChips.channels
    required property string icon
    property alias selected: channelChips.selected
    readonly property real spacing: 4
    required property string title

    // The chip that had the keyboard's focus has gone, and there is no other.
    signal focusLost
    signal toggled(string channel)

    Accessible.name: title
    Accessible.role: Accessible.Grouping
    implicitHeight: flow.implicitHeight > 0 ? flow.y + flow.implicitHeight : label.height

    Row {
        id: label

        spacing: 4

        Symbol {
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.faded("white", 0.6)
            fontSize: 10
            name: patchRow.icon
        }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.faded("white", 0.6)
            font.bold: true
            font.pixelSize: 10
            text: patchRow.title
            textFormat: Text.PlainText
        }
    }
    FlowChips {
        id: flow

        width: parent.width
        y: label.height + patchRow.spacing

        chips: ChannelListModel {
            id: channelChips

            width: flow.width
        }
        itemView: Chip {
            required property bool selected

            Accessible.checkable: true
            Accessible.checked: selected
            Accessible.role: Accessible.CheckBox
            textColor: selected ? "black" : Theme.faded("white", 0.6)
            tint: selected ? Theme.gold : Theme.steelDeep

            Accessible.onToggleAction: press()
            onSelectedChanged: cancel()
        }

        onChosen: name => patchRow.toggled(name)
        onFocusLost: patchRow.focusLost()
    }
}
