import QtQuick
import Wingbell.Look
import Wingbell.Panels

// One line of the console, verbatim. The selectable text, which costs three times the plain one, is
// there only while the pointer is on the row or something is selected.
Item {
    id: row

    required property bool hasLongWord
    readonly property color ink: Qt.rgba(0.55, 0.95, 0.6, 1)
    required property string line

    Accessible.name: line
    Accessible.role: Accessible.StaticText
    implicitHeight: plain.implicitHeight

    Text {
        id: plain

        color: row.ink
        font.family: Typeface.monospaced
        font.pixelSize: 11
        text: row.line
        textFormat: Text.PlainText
        visible: !selectable.active
        width: parent.width - 20
        wrapMode: row.hasLongWord ? Text.WrapAnywhere : Text.Wrap
        x: 10
    }
    HoverHandler {
        id: hover
    }
    Loader {
        id: selectable

        // Told by the text rather than read from it, as it is what keeps the text there.
        property bool isHeld: false

        active: hover.hovered || isHeld
        height: plain.height
        width: plain.width
        x: 10

        onLoaded: {
            const selection = item as ConsoleSelection;
            selection.ink = row.ink;
            selection.font = plain.font;
            selection.wrapMode = Qt.binding(() => plain.wrapMode);
            selection.text = Qt.binding(() => row.line);
            selection.hasSelectionChanged.connect(() => isHeld = selection.hasSelection);
        }

        sourceComponent: ConsoleSelection {
        }
    }
}
