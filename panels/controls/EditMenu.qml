import QtQuick
import QtQuick.Templates as T
import Wingbell.Look

// The context menu of text: cut, copy, paste, select all; without `canEdit` copy and select all. With
// an `address`, opening that too: the entry shows it whole, because it may come from anywhere.
T.Menu {
    id: menu

    property string address
    property bool canCut: false
    property bool canEdit: true
    property bool canPaste: false
    readonly property real widest: Math.max(152, cutEntry.implicitWidth, copyEntry.implicitWidth, pasteEntry.implicitWidth, allEntry.implicitWidth, Math.min(420, openEntry.implicitWidth))

    signal copy
    signal cut
    signal openAddress
    signal paste
    signal selectAll

    implicitHeight: contentItem.implicitHeight + 8
    implicitWidth: widest + 8
    margins: 4 // it stays within the window
    padding: 4

    background: InsetPlate {
        cornerRadius: 6
        fill: Theme.steelDark
        outline: Theme.faded(Theme.steelMid, 0.6)
        outlineWidth: 1
    }
    // No list: with that of Qt 6.8, screen readers read the entries that are not shown, too.
    contentItem: FocusScope {
        implicitHeight: childrenRect.height

        Column {
            Repeater {
                model: menu.contentModel
            }
        }
    }

    Component.onCompleted: {
        // A menu cannot be named itself, only the item that it is drawn by.
        //: The context menu of a text, spoken only.
        contentItem.parent.Accessible.name = qsTr("Edit");
    }
    onAboutToShow: menu.currentIndex = -1
    // A plain window leaves no item with the focus when a menu goes.
    onClosed: parent?.forceActiveFocus(Qt.PopupFocusReason)

    Entry {
        id: cutEntry

        enabled: menu.canEdit && menu.canCut
        //: Menu of a text field, as everywhere on the desktop.
        text: qsTr("Cut")
        visible: menu.canEdit

        onTriggered: menu.cut()
    }
    Entry {
        id: copyEntry

        enabled: menu.canCut
        //: Menu of a text field, as everywhere on the desktop.
        text: qsTr("Copy")

        onTriggered: menu.copy()
    }
    Entry {
        id: pasteEntry

        enabled: menu.canEdit && menu.canPaste
        //: Menu of a text field, as everywhere on the desktop.
        text: qsTr("Paste")
        visible: menu.canEdit

        onTriggered: menu.paste()
    }
    Entry {
        id: allEntry

        //: Menu of a text field, as everywhere on the desktop.
        text: qsTr("Select All")

        onTriggered: menu.selectAll()
    }
    Entry {
        id: openEntry

        Accessible.ignored: menu.address === ""
        enabled: visible
        //: Menu of a line of the console: opens that web address in the browser.
        text: qsTr("Open %1").arg(menu.address)
        visible: menu.address !== ""

        onTriggered: menu.openAddress()
    }

    component Entry: T.MenuItem {
        id: entry

        Accessible.name: text
        activeFocusOnTab: enabled // the arrow keys pass over what cannot be chosen
        implicitHeight: Math.max(26, contentItem.implicitHeight + 8)
        implicitWidth: contentItem.implicitWidth + 8

        background: InsetPlate {
            cornerRadius: 4
            fill: entry.highlighted ? Theme.gold : "transparent"
        }
        contentItem: Text {
            color: entry.highlighted ? "black" : "white"
            font.pixelSize: 13
            leftPadding: 8
            opacity: entry.enabled ? 1 : 0.4
            text: entry.text
            textFormat: Text.PlainText
            verticalAlignment: Text.AlignVCenter
            wrapMode: Text.Wrap
        }
    }
}
