import QtQuick
import Wingbell.Look
import Wingbell.Panels

// The editor of one role. Every edit goes to the store at once, to the role of that id; a card whose
// role has gone changes nothing.
Item {
    id: card

    required property ShowConfig config
    required property role role

    function focusBin() {
        remove.forceActiveFocus(Qt.TabFocusReason);
    }

    // The place of the card is told as this where there is no card.
    Accessible.description: parent?.Accessible.description ?? ""
    Accessible.name: parent?.Accessible.name ?? ""
    Accessible.role: Accessible.Grouping
    implicitHeight: rows.implicitHeight + 28

    // Between the name's field and the store.
    QtObject {
        id: nameBinding

        readonly property string text: card.role.name

        function write(name) {
            card.config.renameRole(card.role, name);
        }
    }
    SteelPanelBackground {
        anchors.fill: parent
        cornerRadius: 10
    }
    // Whatever script the name is in, the line is as high.
    FontMetrics {
        id: letters

        font: name.font
    }
    Item {
        id: rows

        readonly property real spacing: 10

        implicitHeight: listens.y + listens.implicitHeight
        width: parent.width - 28
        x: 14
        y: 14

        Item {
            id: title

            height: Math.max(Math.ceil(letters.height), bin.height)
            width: parent.width

            DeskField {
                id: name

                //: The field with the name of a role, e.g. Stage Manager; spoken only.
                Accessible.name: qsTr("Role name")
                anchors.left: parent.left
                anchors.right: remove.left
                anchors.rightMargin: 8 - remove.margin
                anchors.verticalCenter: parent.verticalCenter
                // As high as can be hit of it.
                containmentMask: Item {
                    height: 24
                    width: name.width
                    y: (name.height - height) / 2
                }
                font.family: Typeface.rounded
                font.pixelSize: 13
                font.weight: Font.Bold
                padding: 0
                //: Stands in the field while the role has no name.
                placeholderText: qsTr("Role name")
                plateColor: "transparent"
                text: nameBinding.text

                onTextEdited: nameBinding.write(text)
            }
            FocusRing {
                anchors.fill: name
                visible: name.activeFocus
            }
            Pressable {
                id: remove

                // Around the bin, to be hit more easily.
                readonly property real margin: (width - bin.width) / 2

                //: The button with the dustbin, spoken only.
                Accessible.name: qsTr("Delete role")
                anchors.right: parent.right
                anchors.rightMargin: -margin
                height: 24
                opacity: pressed ? 0.6 : 1
                width: 24
                y: (parent.height - height) / 2

                onClicked: card.config.removeRole(card.role)

                Symbol {
                    id: bin

                    color: Theme.live
                    fontSize: 13
                    name: "trash.fill"
                    x: remove.margin
                    y: (parent.height - height) / 2
                }
                FocusRing {
                    visible: remove.activeFocus
                }
            }
        }
        PatchRow {
            id: talks

            channels: card.config.channels
            icon: "mic.fill"
            selected: card.role.talk
            title: "TALKS ON"
            width: parent.width
            y: title.height + rows.spacing

            onFocusLost: card.focusBin()
            onToggled: channel => card.config.toggleTalk(card.role, channel)
        }
        PatchRow {
            id: listens

            channels: card.config.channels
            icon: "headphones"
            selected: card.role.listen
            title: "LISTENS ON"
            width: parent.width
            y: talks.y + talks.implicitHeight + rows.spacing

            onFocusLost: card.focusBin()
            onToggled: channel => card.config.toggleListen(card.role, channel)
        }
    }
    HexBolt {
        anchors.verticalCenter: parent.verticalCenter
        diameter: 10
        x: 6
    }
    HexBolt {
        anchors.right: parent.right
        anchors.rightMargin: 6
        anchors.verticalCenter: parent.verticalCenter
        diameter: 10
    }
}
