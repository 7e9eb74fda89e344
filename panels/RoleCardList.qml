import QtQuick
import Wingbell.Panels

// The roles' cards, one below the other. While places change, which they do one after the other, no
// card comes or goes: where they have all come to stand is looked at before the next frame.
Item {
    id: list

    property real cardHeight: 0
    required property ShowConfig config
    // Where the card stood that had the keyboard's focus and has gone; -1 for none.
    property int focusGap: -1
    property bool isMoving: false
    // What is near, in the coordinates that `start` is in.
    property band near
    readonly property real pitch: cardHeight + 12
    // What is near of the cards.
    property band sight
    // Where the first card stands.
    property real start: 0

    // The card that had the keyboard's focus has gone, and there is no other.
    signal focusLost
    // The cards have another place or height, and none of them has come or gone for that yet.
    signal moved

    function look() {
        if (!isMoving)
            sight = near.seenFrom(start);
    }
    function move() {
        isMoving = true;
        frame.ask();
    }
    // The focus of a card that has gone is the next one's, or else that of the one before.
    function passFocus() {
        if (focusGap < 0)
            return;
        const heir = (slots.itemAt(focusGap) ?? slots.itemAt(focusGap - 1)) as RoleCardSlot;
        focusGap = -1;
        if (heir)
            heir.takeFocus();
        else
            focusLost();
    }
    function resize(height) {
        if (height === cardHeight)
            return;
        move();
        cardHeight = height;
    }
    // What the next frame would show is there at once.
    function settle() {
        if (!isMoving)
            return;
        moved();
        sight = near.seenFrom(start);
        isMoving = false;
    }

    //: The list of the roles and how many there are, spoken only.
    Accessible.name: qsTr("Roles, %1").arg(slots.count)
    Accessible.role: Accessible.List
    implicitHeight: Math.max(0, slots.count * pitch - 12)

    onNearChanged: look()
    onStartChanged: move()

    BeforeFrame {
        id: frame

        onDue: list.settle()
    }

    Repeater {
        id: slots

        objectName: "roleCards"

        delegate: RoleCardSlot {
            property band everything
            readonly property RoleCardList list: parent as RoleCardList

            // All cards of a show are of one height.
            cardHeight: list?.cardHeight ?? 0
            isMoving: list?.isMoving ?? false
            sight: list?.sight ?? everything
            width: list?.width ?? 0

            onMeasured: height => list.resize(height)
        }
        model: RoleCards {
            config: list.config

            onSynchronized: list.passFocus()
        }

        onItemRemoved: (index, item) => {
            if (item?.activeFocus)
                list.focusGap = index;
        }
    }
}
