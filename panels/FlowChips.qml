import QtQuick
import Wingbell.Panels

// One item a channel, in wrapping rows.
FlowLayout {
    id: flow

    required property ChannelChips chips
    required property Component itemView

    // A chip calls this when it is pressed.
    signal chosen(string name)

    spacing: 8

    Repeater {
        delegate: flow.itemView
        model: flow.chips
    }
}
