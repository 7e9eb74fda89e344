import QtQuick
import Wingbell.Look
import Wingbell.Panels

// The editor of the show. Holds no show data: every edit is in the store at once and reaches disk
// by "Save Show" alone.
Item {
    id: panel

    required property ShowConfig config
    // What has the keyboard's focus stays in the view when it changes its place, until the user scrolls.
    property bool followsFocus: false
    required property bool serverIsRunning

    // Stores a port that is being typed.
    function commit() {
        port.showStored();
    }
    // Lays everything out at once that would be before the next frame.
    function layOut() {
        for (const positioner of [editor, channels, cards, roles, column])
            positioner.forceLayout();
    }
    function holds(item) {
        for (let ancestor = item; ancestor; ancestor = ancestor.parent) {
            if (ancestor === column)
                return true;
        }
        return false;
    }
    // Brings what stands there in the column into the view; of what is higher than the view, a part.
    function show(y, height) {
        const top = y + column.y - 12;
        const bottom = top + height + 24;
        const isHigh = height + 24 > view.height;
        if (isHigh && top < view.contentY + view.height && bottom > view.contentY)
            return;
        if (isHigh || top < view.contentY)
            scroll.to(top);
        else if (bottom > view.contentY + view.height)
            scroll.to(bottom - view.height);
    }
    // Brings the item that has the keyboard's focus into the view.
    function showFocus() {
        const item = Window.activeFocusItem;
        if (!holds(item))
            return;
        show(item.mapToItem(column, 0, 0).y, item.height);
        followsFocus = true;
    }

    Keys.onPressed: event => {
        const isPage = event.key === Qt.Key_PageUp || event.key === Qt.Key_PageDown;
        event.accepted = isPage && scroll.key(event.key);
    }
    Window.onActiveFocusItemChanged: {
        setup.history.endTyping();
        showFocus();
    }

    // Holds what is at the upper edge of the view when something above it or around it changes its
    // height: a place among the cards or in the channels' section. What is above these holds
    // nothing, so that the very top is not left.
    QtObject {
        id: anchor

        property Item held: null
        // How far below the top of what is held: cards, or points.
        property real offset: 0

        function isPast(item) {
            return view.contentY >= topOf(item);
        }
        function position() {
            return held ? Math.round(topOf(held) + offset * unit()) : view.contentY;
        }
        function take() {
            held = isPast(roleCards) ? roleCards : isPast(channels) ? channels : null;
            offset = held ? (view.contentY - topOf(held)) / unit() : 0;
        }
        function topOf(item) {
            return item.mapToItem(view.contentItem, 0, 0).y;
        }
        function unit() {
            return held === roleCards ? roleCards.pitch : 1;
        }
    }
    ShowSetup {
        id: setup

        config: panel.config
        serverIsRunning: panel.serverIsRunning
    }
    UndoKeyFilter {
        window: panel.Window.window

        onRedoPressed: setup.history.redo()
        onUndoPressed: setup.history.undo()
    }
    Connections {
        function onStepped() {
            (panel.Window.activeFocusItem as DeskField)?.forgetUndo();
        }
        // An edit that is taken back is seen to be.
        function onChangedAt(place, role) {
            panel.layOut();
            switch (place) {
            case ShowHistory.ShowName:
                return panel.show(showName.y, showName.height);
            case ShowHistory.Port:
                return panel.show(osc.y, osc.height);
            case ShowHistory.Channels:
                return panel.show(channels.y, channels.height);
            case ShowHistory.Roles:
                return panel.show(roleCards.mapToItem(column, 0, 0).y + role * roleCards.pitch, roleCards.cardHeight);
            }
        }

        target: setup.history
    }
    Flickable {
        id: view

        property bool isFollowing: false

        // Scrolls to where what is held has gone.
        function follow() {
            isFollowing = true;
            contentHeight = column.implicitHeight + 40;
            contentY = Math.max(0, Math.min(scroll.lowest, anchor.position()));
            isFollowing = false;
            showCards();
        }
        function showCards() {
            roleCards.showCards(contentY - anchor.topOf(roleCards), height);
        }

        anchors.fill: parent
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        contentWidth: width
        interactive: false
        objectName: "setupView"

        onContentYChanged: {
            if (isFollowing)
                return;
            anchor.take();
            showCards();
        }
        onHeightChanged: showCards()

        Column {
            id: column

            spacing: 20
            width: parent.width - 40
            x: 20
            y: 20

            onPositioningComplete: {
                view.follow();
                if (panel.followsFocus)
                    panel.showFocus();
            }

            // Created each time: only what comes into being is told to a screen reader.
            Loader {
                active: setup.needsRestart
                objectName: "restartWarning"
                visible: active
                width: parent.width

                sourceComponent: RestartWarning {
                }
            }
            SetupSection {
                id: showName

                //: A section's title.
                title: qsTr("SHOW NAME")

                DeskField {
                    //: The field with the show's name, spoken only.
                    Accessible.name: qsTr("Show name")
                    font.family: Typeface.rounded
                    font.pixelSize: 15
                    font.weight: Font.DemiBold
                    objectName: "showName"
                    padding: 10
                    //: An example of a show's name, in the empty field.
                    placeholderText: qsTr("e.g. Fall Recital")
                    radius: 8
                    text: panel.config.show
                    width: parent.width

                    onTextEdited: panel.config.show = text
                }
            }
            SetupSection {
                id: osc

                //: A section's title: Open Sound Control, and the cue player that speaks it.
                title: qsTr("OSC (QLab)")

                Column {
                    spacing: 6
                    width: parent.width

                    Row {
                        spacing: 10

                        Text {
                            anchors.verticalCenter: parent.verticalCenter
                            color: Theme.faded("white", 0.8)
                            font.family: Typeface.rounded
                            font.pixelSize: 13
                            font.weight: Font.DemiBold
                            //: The number of a network port, before its field.
                            text: qsTr("Port")
                            textFormat: Text.PlainText
                        }
                        DeskField {
                            id: port

                            // Since the text was last delivered or set.
                            property bool isEdited: false

                            // Delivers the text, unless its own undo has made it what it was.
                            function commit() {
                                const isTyped = isEdited && (canUndo || text !== setup.oscPortBinding);
                                isEdited = false;
                                if (isTyped)
                                    setup.oscPortBinding = text;
                            }
                            // Text that is no port stays until then.
                            function showStored() {
                                commit();
                                text = setup.oscPortBinding;
                            }

                            //: The number of a network port, spoken before its field.
                            Accessible.name: qsTr("Port")
                            font.family: Typeface.monospaced
                            font.pixelSize: 13
                            objectName: "port"
                            placeholderText: "47000"
                            width: 100

                            Component.onCompleted: showStored()
                            onAccepted: commit()
                            onFocusLeft: showStored()
                            onTextEdited: isEdited = true

                            Connections {
                                function onRebuilt() {
                                    port.showStored();
                                }

                                target: setup
                            }
                        }
                    }
                    Text {
                        Accessible.name: text
                        Accessible.role: Accessible.StaticText
                        color: Theme.faded("white", 0.55)
                        font.pixelSize: 10
                        //: The addresses /wingbell/say are for the machine and stay as they are; ChannelName stands for any channel's name.
                        text: qsTr("Point a QLab Network (OSC) cue at this Mac's IP and this port. Address /wingbell/say (or /wingbell/say/ChannelName) with a string argument speaks it into the intercom.")
                        textFormat: Text.PlainText
                        width: parent.width
                        wrapMode: Text.Wrap
                    }
                }
            }
            SetupSection {
                id: channels

                //: A section's title: the voice channels of the intercom.
                title: qsTr("CHANNELS")

                ChannelsEditor {
                    id: editor

                    config: panel.config
                    objectName: "channelsEditor"
                    width: parent.width
                }
            }
            SetupSection {
                id: roles

                //: A section's title: who works at the show, e.g. Stage Manager.
                title: qsTr("ROLES")

                Column {
                    id: cards

                    spacing: 12
                    width: parent.width

                    RoleCardList {
                        id: roleCards

                        config: panel.config
                        isFocusBelow: addRole.activeFocus
                        width: parent.width

                        onFocusLost: addRole.forceActiveFocus(Qt.TabFocusReason)
                    }
                    Item {
                        id: addPlace

                        readonly property real drawn: Math.max(addSign.height, addLabel.height)

                        anchors.horizontalCenter: parent.horizontalCenter
                        implicitHeight: drawn + 4
                        implicitWidth: addRole.width

                        Pressable {
                            id: addRole

                            Accessible.name: addLabel.text
                            height: 24
                            objectName: "addRole"
                            opacity: pressed ? 0.6 : 1
                            width: addLabel.x + addLabel.width
                            y: 4 + (addPlace.drawn - height) / 2

                            onClicked: panel.config.addRole()

                            Symbol {
                                id: addSign

                                anchors.verticalCenter: parent.verticalCenter
                                color: Theme.gold
                                name: "plus.circle.fill"
                            }
                            Text {
                                id: addLabel

                                anchors.verticalCenter: parent.verticalCenter
                                color: Theme.gold
                                font.pixelSize: 13
                                //: A button: adds a role to the show.
                                text: qsTr("Add Role")
                                textFormat: Text.PlainText
                                x: addSign.width + 6
                            }
                            FocusRing {
                                visible: addRole.activeFocus
                            }
                        }
                    }
                }
            }
            Row {
                spacing: 8

                DeskButton {
                    font.family: Typeface.rounded
                    font.weight: Font.Bold
                    objectName: "save"
                    prominent: true
                    text: {
                        if (setup.justSaved)
                            //: The button that saves, right after it has.
                            return qsTr("Saved \u2713");
                        //: A button: writes the show to its file.
                        return qsTr("Save Show");
                    }
                    width: Math.max(120 + 24, implicitWidth)

                    onClicked: {
                        port.showStored();
                        panel.config.save();
                        setup.savePressed();
                    }
                }
                DeskButton {
                    objectName: "reload"
                    //: A button: reads the show from its file again; edits since the last save are lost.
                    text: qsTr("Reload from File")

                    onClicked: {
                        port.isEdited = false;
                        panel.config.load();
                        port.showStored();
                    }
                }
            }
        }
    }
    DeskScroll {
        id: scroll

        anchors.fill: parent
        barMargin: 5 // the window's edge
        flickable: view

        onScrolled: {
            panel.followsFocus = false;
            panel.layOut();
        }
    }
}
