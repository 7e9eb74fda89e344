import QtQuick
import Wingbell.Panels

// One item a channel, in wrapping rows.
Item {
    id: flow

    required property ChannelListModel chips
    required property Component itemView

    // A chip calls this when it is pressed.
    signal chosen(string name)
    // The chip that had the keyboard's focus has gone, and there is no other.
    signal focusLost

    // What had the focus has gone: the next chip gets it, or else the one before.
    function passFocus(index) {
        const heir = chipViews.itemAt(index) ?? chipViews.itemAt(index - 1);
        ring.anchors.fill = null;
        if (heir)
            heir.forceActiveFocus(Qt.TabFocusReason);
        else
            focusLost();
    }

    // One ring for all chips, around the one that has the focus.
    function showRing(chip) {
        if (chip.activeFocus)
            ring.anchors.fill = chip;
        else if (ring.anchors.fill === chip)
            ring.anchors.fill = null;
    }

    implicitHeight: chips.height

    Repeater {
        id: chipViews

        delegate: flow.itemView
        model: flow.chips

        onItemRemoved: (index, item) => {
            if (item?.activeFocus)
                flow.passFocus(index);
        }
    }
    FocusRing {
        id: ring

        anchors.fill: null
        cornerRadius: height / 2
        visible: anchors.fill !== null
    }
}
