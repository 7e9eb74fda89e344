import QtQuick
import Wingbell.Look
import Wingbell.Panels

// One line of the console, verbatim, and what is selected of it. The text that shows a part of itself
// selected, which costs three times the plain one, is there only while there is such a part.
Item {
    id: row

    required property bool hasLongWord
    readonly property color ink: Qt.rgba(0.55, 0.95, 0.6, 1)
    required property bool isCurrent
    readonly property bool isSelected: isWhole || selectionEnd > selectionBegin
    required property bool isWhole
    required property string line
    required property int selectionBegin
    required property int selectionEnd
    readonly property bool showsCurrent: isCurrent && (ListView.view?.activeFocus ?? false)
    readonly property alias wrapMode: plain.wrapMode

    Accessible.focusable: true
    Accessible.focused: showsCurrent
    Accessible.ignored: line.trim() === ""
    Accessible.name: line
    Accessible.role: Accessible.StaticText
    Accessible.selectable: true
    Accessible.selected: isSelected
    implicitHeight: plain.implicitHeight

    Rectangle {
        anchors.fill: parent
        anchors.leftMargin: 5
        anchors.rightMargin: 5
        color: Theme.gold
        visible: row.isWhole
    }
    Text {
        id: plain

        color: row.isWhole ? "black" : row.ink
        font.family: Typeface.monospaced
        font.pixelSize: 11
        text: row.line
        textFormat: Text.PlainText
        visible: !selection.active
        width: parent.width - 18
        wrapMode: row.hasLongWord ? Text.WrapAnywhere : Text.Wrap
        x: 9
    }
    Loader {
        id: selection

        active: row.isSelected && !row.isWhole
        height: plain.height
        width: plain.width
        x: plain.x

        sourceComponent: TextEdit {
            id: part

            readonly property int begin: row.selectionBegin
            readonly property int end: row.selectionEnd

            function show() {
                part.select(begin, end);
            }

            Accessible.ignored: true
            activeFocusOnPress: false
            color: row.ink
            enabled: false // the console takes the pointer for all its rows
            font: plain.font
            persistentSelection: true
            readOnly: true
            selectedTextColor: "black"
            selectionColor: Theme.gold
            text: row.line
            textFormat: TextEdit.PlainText
            wrapMode: plain.wrapMode

            Component.onCompleted: show()
            onBeginChanged: show()
            onEndChanged: show()
        }
    }
    Loader {
        active: row.showsCurrent
        anchors.fill: parent
        anchors.leftMargin: 4
        anchors.rightMargin: 4

        sourceComponent: InsetPlate {
            cornerRadius: 2
            fill: "transparent"
            outline: row.isWhole ? Theme.steelHi : Theme.gold
            outlineWidth: 1
        }
    }
}
