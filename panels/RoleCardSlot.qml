import QtQuick
import Wingbell.Panels

// The place of one role's card. The card itself is there while it is near what is seen, and as long
// as it has the keyboard's focus; a screen reader is told the role's name
// and channels all the same.
Loader {
    id: slot

    property real cardHeight: 0
    required property ShowConfig config
    required property int index
    required property string listenChannels
    property bool isComplete: false
    // Places are changing, and nothing is known yet of what is near.
    property bool isMoving: false
    // The first is always there, because it shows how high they all are.
    readonly property bool isKept: focus || index === 0
    readonly property bool isNear: cardHeight > 0 && sight.meets(place(), place() + cardHeight)
    required property role role
    // What is near of all the cards.
    property band sight
    required property string talkChannels

    // Cards of this show are that high.
    signal measured(real height)

    function look() {
        const isGoing = index < 0;
        if (!isComplete || isGoing || isMoving && !isKept)
            return;
        const isNeeded = isNear || isKept;
        if (isNeeded && !item)
            setSource("RoleCard.qml", {
                    "config": config,
                    "isMoving": isMoving,
                    "role": role,
                    "sight": sight.seenFrom(y)
                });
        else if (!isNeeded && item)
            source = "";
    }
    function measure() {
        if (index === 0 && item)
            measured((item as RoleCard)?.implicitHeight ?? 0);
    }
    function tell() {
        (item as RoleCard)?.stand(isMoving, sight.seenFrom(y));
    }
    // From the top of the first card.
    function place() {
        return index * (cardHeight + 12);
    }
    function channelsOr(channels) {
        //: Stands for the list of a role's channels while it has none, spoken only.
        return channels || qsTr("no channel");
    }
    // Gives the keyboard's focus to the button that deletes the role: what is typed does nothing there.
    function takeFocus() {
        forceActiveFocus(Qt.TabFocusReason);
        look();
        (item as RoleCard)?.focusBin();
    }

    Accessible.description: {
        //: What a role talks on, spoken only; %1 is a list of channels.
        const talks = qsTr("Talks on: %1.").arg(channelsOr(talkChannels));
        //: What a role listens on, spoken only; %1 is a list of channels.
        const listens = qsTr("Listens on: %1.").arg(channelsOr(listenChannels));
        return `${talks} ${listens}`;
    }
    Accessible.ignored: item !== null // it would be told as having the focus of what is in the card
    //: A role, spoken only.
    Accessible.name: role.name.trim() === "" ? qsTr("Role without a name") : role.name
    Accessible.role: Accessible.Grouping
    height: cardHeight
    y: place()

    Component.onCompleted: {
        isComplete = true;
        look();
    }
    onFocusChanged: look()
    onIndexChanged: {
        look();
        measure();
    }
    onIsMovingChanged: {
        tell();
        look();
    }
    onIsNearChanged: look()
    onLoaded: measure()
    onSightChanged: tell()
    onYChanged: tell()

    Binding {
        property: "role"
        target: slot.item
        value: slot.role
    }
    Connections {
        function onImplicitHeightChanged() {
            slot.measure();
        }

        target: slot.item
    }
}
