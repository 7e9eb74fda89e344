import QtQuick
import Wingbell.Look
import Wingbell.Panels

// The place of one role's card, which may not be built: an outline stands for it then. A screen
// reader is told the role's name and channels all the same.
Loader {
    id: slot

    required property ShowConfig config
    required property int index
    // Whether the card is built beforehand, in the time that frames leave.
    property bool isCached: false
    // Whether the card is built at once.
    property bool isNeeded: false
    readonly property bool isWanted: isNeeded || isCached
    required property string listenChannels
    required property role role
    required property string talkChannels

    function channelsOr(channels) {
        //: Stands for the list of a role's channels while it has none, spoken only.
        return channels || qsTr("no channel");
    }
    function load() {
        // A row that is being removed has no index any more: its card stays as it is.
        if (index < 0)
            return;
        if (isWanted && status === Loader.Null)
            setSource("RoleCard.qml", {
                    "config": config,
                    "role": Qt.binding(() => slot.role)
                });
        else if (!isWanted && status !== Loader.Null)
            source = "";
    }
    // Gives the keyboard's focus to the button that deletes the role: what is typed does nothing there.
    function takeFocus() {
        forceActiveFocus(Qt.TabFocusReason);
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
    asynchronous: !isNeeded

    Component.onCompleted: load()
    onIsWantedChanged: load()

    Rectangle {
        anchors.fill: parent
        border.color: Theme.faded(Theme.steelMid, 0.5)
        color: Theme.steelDeep
        radius: 10
        visible: slot.isCached && slot.item === null
    }
}
