import QtQuick
import Wingbell.Look
import Wingbell.Panels

// One line of the console, verbatim, and what is selected of it. The text that shows a part of itself
// selected, which costs three times the plain one, is there only while there is such a part.
Item {
    id: row

    required property bool hasLongWord
    readonly property color ink: Qt.rgba(0.55, 0.95, 0.6, 1)
    readonly property bool isBlank: line.trim() === ""
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
    Accessible.ignored: isBlank
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

        onLoaded: {
            const text = item as ConsoleRowSelection;
            text.color = row.ink;
            text.font = plain.font;
            text.wrapMode = Qt.binding(() => plain.wrapMode);
            text.text = Qt.binding(() => row.line);
            text.begin = Qt.binding(() => row.selectionBegin);
            text.end = Qt.binding(() => row.selectionEnd);
        }

        sourceComponent: ConsoleRowSelection {
        }
    }
    Loader {
        active: row.showsCurrent
        anchors.fill: parent
        anchors.leftMargin: 4
        anchors.rightMargin: 4

        onLoaded: (item as InsetPlate).outline = Qt.binding(() => row.isWhole ? Theme.steelHi : Theme.gold)

        sourceComponent: InsetPlate {
            cornerRadius: 2
            fill: "transparent"
            outlineWidth: 1
        }
    }
}
