import QtQuick
import Wingbell.Panels

// The roles' cards, one below the other, all of one height. A card is built while it is in the view
// or near it, and while the keyboard's focus is in it or one Tab away. Where the view holds so many
// chips that building them would take more than a frame, its cards are built asynchronously.
Item {
    id: list

    // Whether the cards in the view can be built within a frame.
    readonly property bool buildsAtOnce: (Math.min(visibleCards.y, slots.count - 1) - Math.max(visibleCards.x, 0) + 1) * config.channels.length <= 40
    // As the first card shows it, which is always built.
    property real cardHeight: 0
    required property ShowConfig config
    // Where the card stood that had the keyboard's focus and has gone; -1 for none.
    property int focusGap: -1
    // The card that has the keyboard's focus; -2 for none, which is one Tab away from none.
    property int focusedIndex: -2
    // Whether the last card is one Shift+Tab away.
    property bool isFocusBelow: false
    readonly property real pitch: cardHeight + 12
    // The first and the last card in the view: in one property, because they change together.
    property point visibleCards: Qt.point(0, -1)

    // The card that had the keyboard's focus has gone, and there is no other.
    signal focusLost

    function isInView(index, cardsAround) {
        return index >= visibleCards.x - cardsAround && index <= visibleCards.y + cardsAround;
    }
    // Whether the keyboard's focus is in that card, or gets there by one Tab or Shift+Tab.
    function isTabStop(index) {
        return Math.abs(index - focusedIndex) <= 1 || isFocusBelow && index === slots.count - 1;
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
    // Has the cards built that are in the view: from `top` on, in the list's coordinates.
    function showCards(top, height) {
        if (cardHeight > 0)
            visibleCards = Qt.point(Math.floor(top / pitch), Math.floor((top + height) / pitch));
    }

    //: The list of the roles and how many there are, spoken only.
    Accessible.name: qsTr("Roles, %1").arg(slots.count)
    Accessible.role: Accessible.List
    implicitHeight: Math.max(0, slots.count * pitch - 12)

    Repeater {
        id: slots

        objectName: "roleCards"

        delegate: RoleCardSlot {
            // Not before the slot has its parent, which newer versions of the toolkit set after the first bindings.
            readonly property RoleCardList list: (parent as RoleCardList) ?? null

            function measure() {
                if (list && index === 0 && item)
                    list.cardHeight = implicitHeight;
            }
            function noteFocus() {
                if (focus)
                    list.focusedIndex = index;
                else if (list?.focusedIndex === index)
                    list.focusedIndex = -2;
            }

            height: list?.cardHeight ?? 0
            // Two, so that Tab seldom has to wait for the card after the one that it enters.
            isCached: list?.isInView(index, 2) ?? false
            isNeeded: index === 0 || focus || ((list?.buildsAtOnce ?? false) && list.isInView(index, 0)) || (list?.isTabStop(index) ?? false)
            width: list?.width ?? 0
            y: index * (list?.pitch ?? 0)

            onFocusChanged: noteFocus()
            onImplicitHeightChanged: measure()
            onIndexChanged: {
                noteFocus();
                measure();
            }
            onListChanged: measure()
        }
        model: RoleListModel {
            config: list.config

            onSynchronized: list.passFocus()
        }

        onItemRemoved: (index, item) => {
            if (item?.activeFocus)
                list.focusGap = index;
        }
    }
}
