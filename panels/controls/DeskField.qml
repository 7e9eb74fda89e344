import QtQuick
import Wingbell.Look
import Wingbell.Panels

// A one-line text field of the desk, without a bezel.
TextInput {
    id: field

    property string placeholderText
    property color plateColor: Theme.steelDeep
    property real radius: 6

    // The keyboard's focus has gone elsewhere, and not to this field's menu.
    signal focusLeft

    // What was typed so far is no longer undone here. The toolkit forgets it whenever it sets a
    // text, and it sets the same text once more for another maximum length.
    function forgetUndo() {
        if (!canUndo && !canRedo)
            return;
        const caret = cursorPosition;
        const anchor = caret === selectionStart ? selectionEnd : selectionStart;
        const length = maximumLength;
        maximumLength = length + 1;
        maximumLength = length;
        select(anchor, caret);
    }
    // A text that is too long is read from its beginning, and edited around the caret.
    function showWhatMatters() {
        ensureVisible(activeFocus ? cursorPosition : 0);
    }

    Accessible.focusable: true
    Accessible.focused: activeFocus
    Accessible.role: Accessible.EditableText
    activeFocusOnTab: true
    clip: true
    color: "white"
    height: Math.ceil(metrics.height) + topPadding + bottomPadding // whatever letters its text is of
    padding: 8
    selectByMouse: true
    selectedTextColor: "black"
    selectionColor: Theme.gold
    verticalAlignment: TextInput.AlignVCenter
    cursorDelegate: Rectangle {
        color: Theme.gold
        visible: (parent as TextInput)?.cursorVisible ?? false
        width: 1
    }

    Component.onCompleted: showWhatMatters()
    Keys.onMenuPressed: menu.popup(field, cursorRectangle.x, height)
    onActiveFocusChanged: {
        showWhatMatters();
        if (!activeFocus && !menu.isOpen) {
            focusLeft();
            forgetUndo();
        }
    }
    onCursorPositionChanged: showWhatMatters()
    // What is pasted may be of several lines.
    onTextEdited: {
        const line = DisplayText.withBlanks(text);
        if (line === text)
            return;
        const caret = DisplayText.withBlanks(text.slice(0, cursorPosition)).length;
        remove(0, length);
        insert(0, line);
        cursorPosition = caret;
    }
    onWidthChanged: showWhatMatters()

    FontMetrics {
        id: metrics

        font: field.font
    }
    InsetPlate {
        anchors.fill: parent
        cornerRadius: field.radius
        fill: field.plateColor
        objectName: "plate"
        outline: Theme.gold
        outlineWidth: field.activeFocus && field.plateColor.a > 0 ? 1 : 0
        z: -1
    }
    Text {
        anchors.fill: parent
        anchors.leftMargin: field.leftPadding
        anchors.rightMargin: field.rightPadding
        color: Theme.faded("white", 0.5)
        elide: Text.ElideRight
        font: field.font
        fontSizeMode: Text.HorizontalFit // a field's width is the same in every language
        minimumPixelSize: 9
        text: field.placeholderText
        textFormat: Text.PlainText
        verticalAlignment: Text.AlignVCenter
        visible: field.length === 0 && field.preeditText.length === 0
    }
    MouseArea {
        acceptedButtons: Qt.RightButton
        anchors.fill: parent
        cursorShape: Qt.IBeamCursor

        onPressed: event => {
            field.forceActiveFocus(Qt.MouseFocusReason);
            menu.popup(field, event.x, event.y);
        }
    }
    EditMenuLoader {
        id: menu

        canPaste: isOpen && field.canPaste
        hasSelection: field.selectedText.length > 0

        onCopy: field.copy()
        onCut: field.cut()
        onPaste: field.paste()
        onSelectAll: field.selectAll()
    }
}
