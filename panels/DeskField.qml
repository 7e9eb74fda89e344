import QtQuick
import QtQuick.Templates as T
import Wingbell.Look

// A one-line text field of the desk, without a bezel.
T.TextField {
    id: field

    property color plateColor: Theme.steelDeep
    property real radius: 6

    Accessible.focusable: true
    Accessible.focused: activeFocus
    Accessible.role: Accessible.EditableText
    color: "white"
    implicitHeight: contentHeight + topPadding + bottomPadding
    padding: 8
    placeholderTextColor: Theme.faded("white", 0.3)
    selectByMouse: true
    selectedTextColor: "black"
    selectionColor: Theme.gold
    verticalAlignment: TextInput.AlignVCenter

    background: Rectangle {
        border.color: Theme.gold
        border.width: field.activeFocus ? 1 : 0
        color: field.plateColor
        radius: field.radius
    }
    cursorDelegate: Rectangle {
        color: Theme.gold
        visible: (parent as TextInput)?.cursorVisible ?? false
        width: 1
    }

    onPressed: event => {
        if (event.button === Qt.RightButton)
            menu.popup(event.x, event.y);
    }

    Text {
        anchors.fill: parent
        anchors.leftMargin: field.leftPadding
        anchors.rightMargin: field.rightPadding
        color: field.placeholderTextColor
        elide: Text.ElideRight
        font: field.font
        text: field.placeholderText
        textFormat: Text.PlainText
        verticalAlignment: Text.AlignVCenter
        visible: field.length === 0 && field.preeditText.length === 0
    }
    HoverHandler {
        cursorShape: Qt.IBeamCursor
    }
    // Asking what can be pasted loads a good deal, so the menu comes when it is first asked for.
    Loader {
        id: menu

        function popup(x, y) {
            source = "EditMenu.qml";
            const edits = item as EditMenu;
            edits.canCut = Qt.binding(() => field.selectedText.length > 0);
            edits.canPaste = Qt.binding(() => field.canPaste);
            edits.popup(field, x, y);
        }

        active: true
    }
    Connections {
        function onCopy() {
            field.copy();
        }
        function onCut() {
            field.cut();
        }
        function onPaste() {
            field.paste();
        }
        function onSelectAll() {
            field.selectAll();
        }

        target: menu.item as EditMenu
    }
}
