import QtQuick
import Wingbell.Look
import Wingbell.Panels

// The server's own words. Follows the newest line whenever the number of lines changes, and only
// then: at the log's cap the rows change under a view that stands still.
Item {
    id: panel

    required property ConsoleModel lines

    SteelPanelBackground {
        anchors.fill: parent
        cornerRadius: 14
    }
    Row {
        id: header

        spacing: 6
        x: 14
        y: 14

        InsetPlate {
            anchors.verticalCenter: parent.verticalCenter
            cornerRadius: 3
            fill: Theme.ready
            height: 6
            width: 6
        }
        Text {
            Accessible.name: text
            Accessible.role: Accessible.StaticText
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.faded(Theme.gold, 0.85)
            font.letterSpacing: 1.5
            font.pixelSize: 10
            font.weight: Font.Bold
            //: The title over what the server says.
            text: qsTr("CONSOLE")
            textFormat: Text.PlainText
        }
    }
    InsetPlate {
        id: area

        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.margins: 14
        anchors.right: parent.right
        anchors.top: header.bottom
        anchors.topMargin: 6
        cornerRadius: 6
        fill: "black"
        objectName: "logArea"
        outline: Theme.faded(Theme.steelMid, 0.6)

        ListView {
            id: list

            property bool isComplete: false
            property bool isResizing: false
            // Whether the newest line is in view; in a change of size, whether it was before that.
            property bool showsEnd: false

            function follow() {
                animation.stop();
                const from = contentY;
                showEnd();
                const to = contentY;
                // From at most a screen away, on either side: the eye follows no more.
                contentY = Math.min(to + height, Math.max(from, to - height));
                animation.to = to;
                animation.start();
                look();
            }
            function look() {
                if (!isResizing)
                    showsEnd = animation.running || contentY + height >= originY + contentHeight - 11;
            }
            // A list of Qt 6.8 leaves out, for screen readers, the rows that were out of view when it last placed rows,
            // even if they have been scrolled into view since.
            function showToReaders() {
                for (let row = rowAt(0); row >= 0 && isInView(row); ++row) {
                    const item = itemAtIndex(row) as ConsoleRow;
                    item.Accessible.ignored = item.isBlank;
                }
            }
            function resize() {
                if (!isComplete)
                    return;
                isResizing = true;
            }
            // The row at that height of the view. Above the rows the first, below them the last.
            function rowAt(y) {
                const place = contentY + y;
                for (const inside of [place, place + spacing]) {
                    const row = indexAt(0, inside);
                    if (row >= 0)
                        return row;
                }
                const first = itemAtIndex(0);
                return first && place < first.y ? 0 : count - 1;
            }
            // At once. The end marker's lower edge comes to the area's: the padding is below it.
            function showEnd() {
                positionViewAtEnd();
                // Without rows there is no end to go to.
                contentY = count === 0 ? originY : Math.max(originY, contentY - 10);
            }
            function showRow(row) {
                animation.stop();
                if (row === 0)
                    positionViewAtBeginning();
                else if (row === count - 1)
                    positionViewAtEnd();
                else
                    positionViewAtIndex(row, ListView.Contain);
            }
            function isInView(row) {
                const item = itemAtIndex(row);
                return item !== null && item.y < contentY + height && item.y + item.height > contentY;
            }
            // Opens the address in the current line, if that can be read.
            function openAddress() {
                const row = panel.lines.currentRow;
                const address = panel.lines.addressIn(row);
                if (address === "")
                    return false;
                if (!isInView(row))
                    showRow(row);
                else if (!held.running)
                    Qt.openUrlExternally(address);
                held.restart();
                return true;
            }
            // Opens the menu of that row, which tells the address that it can open.
            function openMenu(row, character, x, y) {
                if (!(itemAtIndex(row) as ConsoleRow)?.isSelected)
                    panel.lines.select(row, 0, ConsoleModel.Lines, false);
                menu.address = panel.lines.addressIn(row, character);
                menu.popup(list, x, y);
            }
            function openCurrentMenu() {
                const row = panel.lines.currentRow;
                if (row < 0)
                    return;
                if (!isInView(row))
                    showRow(row);
                const item = itemAtIndex(row);
                openMenu(row, -1, item.x + 20, Math.min(height, item.y + item.height - contentY));
            }
            // Does what the key is for; false if it is for nothing here.
            function key(event) {
                if (event.key === Qt.Key_C && event.modifiers & Qt.ControlModifier)
                    panel.lines.copy();
                else if (event.key === Qt.Key_A && event.modifiers & Qt.ControlModifier)
                    panel.lines.selectAll();
                else if (event.key === Qt.Key_Escape && panel.lines.currentRow >= 0)
                    panel.lines.clearSelection();
                else if (event.key === Qt.Key_Menu || event.key === Qt.Key_F10 && event.modifiers & Qt.ShiftModifier)
                    openCurrentMenu();
                else if (event.key === Qt.Key_Return || event.key === Qt.Key_Enter)
                    return openAddress();
                else if (panel.lines.moveBy(event.key, rowAt(0), rowAt(height - 1), event.modifiers & Qt.ShiftModifier)) {
                    showRow(panel.lines.currentRow);
                    panel.lines.tellFocus(itemAtIndex(panel.lines.currentRow));
                } else
                    return false;
                return true;
            }

            //: The list of what the server says, spoken only.
            Accessible.name: qsTr("Console")
            Accessible.role: Accessible.List
            activeFocusOnTab: true
            anchors.fill: parent
            anchors.margins: 1
            boundsBehavior: Flickable.StopAtBounds
            cacheBuffer: 1200
            clip: true
            currentIndex: -1 // a current row would have the focus besides the list
            interactive: false
            model: panel.lines
            objectName: "log"
            spacing: 2

            delegate: ConsoleRow {
                width: ListView.view.width
            }
            // The padding of 10 begins at the area's edge, a point outside the list.
            footer: Item {
                implicitHeight: 12 // the end marker with the spacing before it, and the padding
            }
            header: Item {
                implicitHeight: 9
            }

            Component.onCompleted: isComplete = true
            Keys.onPressed: event => event.accepted = key(event)
            onContentHeightChanged: look()
            onContentYChanged: {
                look();
                showToReaders();
            }
            onHeightChanged: resize()
            onWidthChanged: resize()

            NumberAnimation {
                id: animation

                duration: 150
                easing.type: Easing.OutQuad
                objectName: "followAnimation"
                property: "contentY"
                target: list

                onFinished: list.showEnd()
            }
            Connections {
                function onCountDiffers() {
                    list.follow();
                }

                target: panel.lines
            }
        }
        // Once before the frame, after both sides have changed and the rows with them.
        Connections {
            function onAfterAnimating() {
                list.forceLayout();
                if (list.showsEnd) {
                    animation.stop();
                    list.showEnd();
                }
                list.isResizing = false;
            }

            enabled: list.isResizing
            target: panel.Window.window
        }
        // Runs while Return may still be held, which counts as one press.
        Timer {
            id: held

            interval: 1000
        }
        // Tells which character is where, for whichever row the pointer is on.
        TextEdit {
            id: ruler

            // The character of the row at that place of the list.
            function characterAt(row, x, y) {
                const item = list.itemAtIndex(row) as ConsoleRow;
                if (!item)
                    return 0;
                text = item.line;
                wrapMode = item.wrapMode;
                const place = list.mapToItem(item, x, y);
                return positionAt(place.x - 9, place.y);
            }

            Accessible.ignored: true
            activeFocusOnPress: false
            font.family: Typeface.monospaced
            font.pixelSize: 11
            textFormat: TextEdit.PlainText
            visible: false
            width: list.width - 18
        }
        // Selects by dragging, over all rows: by words after a double click, by lines after a triple.
        MouseArea {
            id: pointer

            property int unit: ConsoleModel.Characters

            function select(event, extends_) {
                const row = list.rowAt(event.y);
                panel.lines.select(row, ruler.characterAt(row, event.x, event.y), unit, extends_);
            }

            acceptedButtons: Qt.LeftButton | Qt.RightButton
            anchors.fill: list
            cursorShape: Qt.IBeamCursor

            onDoubleClicked: event => {
                if (event.button !== Qt.LeftButton)
                    return;
                unit = ConsoleModel.Words;
                select(event, false);
                third.restart();
            }
            onPositionChanged: event => {
                if (!(event.buttons & Qt.LeftButton))
                    return;
                const beyond = event.y - Math.max(0, Math.min(height, event.y));
                if (beyond !== 0)
                    scroll.by(beyond);
                select(event, true);
            }
            onPressed: event => {
                list.forceActiveFocus(Qt.MouseFocusReason);
                if (event.button === Qt.LeftButton) {
                    unit = third.running ? ConsoleModel.Lines : ConsoleModel.Characters;
                    select(event, event.modifiers & Qt.ShiftModifier);
                } else if (list.count > 0) {
                    const row = list.rowAt(event.y);
                    list.openMenu(row, ruler.characterAt(row, event.x, event.y), event.x, event.y);
                }
            }
            onReleased: {
                ruler.text = "";
                panel.lines.copyForMiddleButton();
            }

            Timer {
                id: third

                interval: Application.styleHints.mouseDoubleClickInterval
            }
        }
        EditMenuLoader {
            id: menu

            canEdit: false
            hasSelection: panel.lines.hasSelection

            onCopy: panel.lines.copy()
            onOpenAddress: Qt.openUrlExternally(address)
            onSelectAll: panel.lines.selectAll()
        }
        DeskScroll {
            id: scroll

            anchors.fill: parent
            flickable: list

            onScrolled: {
                animation.stop();
                list.look();
            }
        }
        FocusRing {
            distance: 1
            visible: list.activeFocus
        }
    }
    CornerBolts {
        anchors.fill: parent
    }
}
