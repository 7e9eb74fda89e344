import QtQuick
import Wingbell.Look
import Wingbell.Panels

// One line of the console, verbatim. The selectable text, which costs three times the plain one, is
// there only while the pointer is on the row or something is selected.
Item {
    id: row

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
        wrapMode: Text.Wrap
        x: 10
    }
    HoverHandler {
        id: hover
    }
    Loader {
        id: selectable

        property bool held: false

        active: hover.hovered || held
        height: plain.height
        width: plain.width
        x: 10

        onLoaded: {
            const selection = item as ConsoleSelection;
            selection.ink = row.ink;
            selection.font = plain.font;
            selection.text = Qt.binding(() => row.line);
        }

        sourceComponent: ConsoleSelection {
        }

        Connections {
            function onHasSelectionChanged() {
                selectable.held = (selectable.item as ConsoleSelection)?.hasSelection ?? false;
            }

            target: selectable.item as ConsoleSelection
        }
    }
}
