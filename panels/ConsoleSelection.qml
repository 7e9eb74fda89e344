import QtQuick
import Wingbell.Look

// The text of a console's row while it can be selected and copied.
TextEdit {
    id: selection

    readonly property bool hasSelection: selectedText.length > 0 || menu.isOpen || activeFocus
    property color ink

    Accessible.ignored: true
    color: ink
    readOnly: true
    selectByMouse: true
    selectedTextColor: "black"
    selectionColor: Theme.gold
    textFormat: TextEdit.PlainText

    onActiveFocusChanged: if (!activeFocus && !menu.isOpen)
        deselect()

    TapHandler {
        acceptedButtons: Qt.RightButton

        onTapped: point => menu.popup(selection, point.position.x, point.position.y)
    }
    HoverHandler {
        cursorShape: Qt.IBeamCursor
    }
    EditMenuLoader {
        id: menu

        canEdit: false
        hasSelection: selection.selectedText.length > 0

        onCopy: selection.copy()
        onSelectAll: {
            selection.forceActiveFocus();
            selection.selectAll();
        }
    }
}
