import QtQuick
import Wingbell.Panels

// The roles' cards, one below the other, all of one height. A card is built while it is in the view
// or near it, and while the keyboard's focus is in it or one Tab away. A screen reader is told of
// the others too.
Item {
    id: list

    // As the first card shows it, which is always built.
    property real cardHeight: 0
    required property ShowConfig config
    // The card that has the keyboard's focus.
    property int focusedIndex: -2
    // Where the card stood that had the keyboard's focus and has gone; -1 for none.
    property int focusGap: -1
    // Whether the last card is one Shift+Tab away.
    property bool isFocusBelow: false
    readonly property real pitch: cardHeight + 12
    // The first and the last card in the view: in one property, because they change together.
    property point visibleCards: Qt.point(0, -1)

    // The card that had the keyboard's focus has gone, and there is no other.
    signal focusLost

    function channelsOr(channels) {
        //: Stands for the list of a role's channels while it has none, spoken only.
        return channels || qsTr("no channel");
    }
    // The focus of a card that has gone is the next one's, or else that of the one before: on the
    // button that deletes the role, where what is typed does nothing.
    function passFocus() {
        if (focusGap < 0)
            return;
        const heir = (slots.itemAt(focusGap) ?? slots.itemAt(focusGap - 1)) as Loader;
        focusGap = -1;
        if (!heir) {
            focusLost();
            return;
        }
        heir.forceActiveFocus(Qt.TabFocusReason);
        (heir.item as RoleCard)?.focusBin();
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

        // The place of a card, which may not be built.
        delegate: Loader {
            id: slot

            required property int index
            // Cards near the view are built beforehand, in the time that frames leave.
            readonly property bool isCached: index >= list.visibleCards.x - 2 && index <= list.visibleCards.y + 2
            readonly property bool isNeeded: index === 0 || isVisible || isTabStop
            readonly property bool isTabStop: focus || Math.abs(index - list.focusedIndex) <= 1 || list.isFocusBelow && index === slots.count - 1
            readonly property bool isVisible: index >= list.visibleCards.x && index <= list.visibleCards.y
            required property string listenChannels
            required property role role
            required property string talkChannels

            function measure() {
                if (index === 0 && item)
                    list.cardHeight = implicitHeight;
            }
            function noteFocus() {
                if (focus)
                    list.focusedIndex = index;
                else if (list.focusedIndex === index)
                    list.focusedIndex = -2;
            }

            Accessible.description: {
                //: What a role talks on, spoken only; %1 is a list of channels.
                const talks = qsTr("Talks on: %1.").arg(list.channelsOr(talkChannels));
                //: What a role listens on, spoken only; %1 is a list of channels.
                const listens = qsTr("Listens on: %1.").arg(list.channelsOr(listenChannels));
                return `${talks} ${listens}`;
            }
            Accessible.ignored: item !== null // it would be told as having the focus of what is in the card
            //: A role, spoken only.
            Accessible.name: role.name.trim() === "" ? qsTr("Role without a name") : role.name
            Accessible.role: Accessible.Grouping
            // A row that is being removed has no index any more: its card stays as it is.
            active: index < 0 ? item !== null : isNeeded || isCached
            asynchronous: !isNeeded
            height: list.cardHeight
            width: list.width
            y: index * list.pitch

            sourceComponent: RoleCard {
                config: list.config
                role: slot.role
            }

            onFocusChanged: noteFocus()
            onImplicitHeightChanged: measure()
            onIndexChanged: {
                noteFocus();
                measure();
            }
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
