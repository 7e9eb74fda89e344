import QtQuick
import QtQuick.Templates as T
import Wingbell.Panels
import Wingbell.Testing

Item {
    id: stage

    height: 400
    width: 600

    Component {
        id: fieldComponent

        DeskField {
            width: 300
        }
    }
    Component {
        id: consoleComponent

        ConsolePanel {
            height: 232
            width: 532
        }
    }
    PanelTestCase {
        // Opens the menu over the item and returns its entries in sight.
        function menuOf(item) {
            mouseClick(item, 40, item.height / 2, Qt.RightButton);
            let shown = [];
            tryVerify(() => {
                    shown = all(stage.Window.contentItem, T.MenuItem).filter(entry => entry.visible);
                    return shown.length > 0;
                });
            return shown;
        }
        function choose(entries, text) {
            mouseClick(entries.filter(entry => entry.text === text)[0]);
            tryVerify(() => !entries[0].visible);
        }
        function enabledOf(entries) {
            return entries.filter(entry => entry.enabled).map(entry => entry.text);
        }
        function openConsole(lines) {
            desk.setLines(lines);
            const item = open(consoleComponent, {
                    "lines": desk.lines
                });
            const log = findChild(item, "log");
            laidOut(log);
            return log;
        }
        function test_aConsolesMenuCopiesLines() {
            desk.clearClipboard();
            const log = openConsole(["the first", "the second"]);
            let entries = menuOf(log.itemAtIndex(1));
            compare(entries.map(entry => entry.text), ["Copy", "Select All"]);
            compare(enabledOf(entries), ["Copy", "Select All"]);
            choose(entries, "Copy");
            compare(desk.clipboard(), "the second");
            choose(menuOf(log.itemAtIndex(1)), "Select All");
            choose(menuOf(log.itemAtIndex(0)), "Copy");
            compare(desk.clipboard(), "the first\nthe second");
        }
        function test_aConsolesMenuOpensTheAddressThatItTells_data() {
            return [{
                    "tag": "by the keys",
                    "key": Qt.Key_Menu,
                    "modifiers": Qt.NoModifier
                }, {
                    "tag": "by the other keys",
                    "key": Qt.Key_F10,
                    "modifiers": Qt.ShiftModifier
                }, {
                    "tag": "by the mouse",
                    "key": 0
                }];
        }
        function test_aConsolesMenuOpensTheAddressThatItTells(data) {
            const lengthy = "https://desk.local/" + "long/".repeat(50);
            const log = openConsole(["first", `go to http://one/ or ${lengthy}.`, "last"]);
            const isByKey = data.key !== 0;
            let entries = [];
            if (isByKey) {
                log.forceActiveFocus(Qt.TabFocusReason);
                keyClick(Qt.Key_Down);
                keyClick(Qt.Key_Down);
                keyClick(data.key, data.modifiers);
                tryVerify(() => {
                        entries = all(stage.Window.contentItem, T.MenuItem).filter(entry => entry.visible);
                        return entries.length > 0;
                    });
            } else {
                entries = menuOf(log.itemAtIndex(1)); // over the second address, which goes on for rows
            }
            const address = isByKey ? "http://one/" : lengthy;
            const entry = entries[2];
            compare(entry.text, `Open ${address}`);
            compare(entry.Accessible.name, entry.text);
            verify(!entry.contentItem.truncated && entry.contentItem.contentWidth <= entry.width);
            const corner = entry.mapToItem(stage.Window.contentItem, entry.width, entry.height);
            verify(corner.x <= stage.Window.width && corner.y <= stage.Window.height);
            // The line has moved meanwhile; what the menu says still holds.
            desk.setLines([`go to http://one/ or ${lengthy}.`, "last", "http://other/"], 1);
            if (isByKey) {
                for (let step = 0; step < 3; ++step)
                    keyClick(Qt.Key_Down);
                keyClick(Qt.Key_Return);
            } else {
                mouseClick(entry);
            }
            tryVerify(() => !entries[0].visible);
            compare(desk.openedAddresses(), [address]);
            verify(log.activeFocus);
            compare(desk.lines.currentRow, 0);
        }
        function test_aFieldsMenuEdits() {
            desk.clearClipboard();
            const field = open(fieldComponent, {
                    "text": "Main"
                });
            let entries = menuOf(field);
            compare(entries.map(entry => entry.text), ["Cut", "Copy", "Paste", "Select All"]);
            compare(enabledOf(entries), ["Select All"]);
            // Not the field's, which is below it.
            compare(desk.pointerShape(entries[3]), Qt.ArrowCursor);
            choose(entries, "Select All");
            compare(field.selectedText, "Main");
            entries = menuOf(field);
            compare(enabledOf(entries), ["Cut", "Copy", "Select All"]);
            choose(entries, "Cut");
            compare(field.text, "");
            compare(desk.clipboard(), "Main");
            choose(menuOf(field), "Paste");
            compare(field.text, "Main");
        }
        function test_anEditByTheMenuIsAnEdit() {
            desk.clearClipboard();
            const edits = [];
            const field = open(fieldComponent, {
                    "text": "Main"
                });
            field.textEdited.connect(() => edits.push(field.text));
            choose(menuOf(field), "Select All");
            choose(menuOf(field), "Cut");
            choose(menuOf(field), "Paste");
            compare(edits, ["", "Main"]);
        }

        name: "EditMenu"
    }
}
