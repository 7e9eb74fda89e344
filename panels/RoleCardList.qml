import QtQuick
import Wingbell.Panels

// The roles' cards, one below the other.
Item {
    id: list

    property real cardHeight: 0
    required property ShowConfig config
    property band sight

    // The card that had the keyboard's focus has gone, and there is none below it.
    signal focusLost

    implicitHeight: Math.max(0, slots.count * (cardHeight + 12) - 12)

    Repeater {
        id: slots

        objectName: "roleCards"

        delegate: RoleCardSlot {
            property band everything
            readonly property RoleCardList list: parent as RoleCardList

            // All cards of a show are of one height.
            cardHeight: list?.cardHeight ?? 0
            sight: list?.sight ?? everything
            width: list?.width ?? 0

            onMeasured: height => list.cardHeight = height
        }
        model: RoleCards {
            config: list.config
        }

        onItemRemoved: (index, item) => {
            if (!item.activeFocus)
                return;
            const heir = slots.itemAt(index) as RoleCardSlot;
            if (heir)
                heir.takeFocus();
            else
                list.focusLost();
        }
    }
}
