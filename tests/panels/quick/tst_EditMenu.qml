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
        function test_aConsolesMenuCopiesALine() {
            desk.clearClipboard();
            desk.setLines(["the first", "the second"]);
            const item = open(consoleComponent, {
                    "lines": desk.lines
                });
            const log = findChild(item, "log");
            laidOut(log);
            const row = log.itemAtIndex(1);
            mouseMove(row, 40, row.height / 2);
            tryVerify(() => all(row, TextEdit).length === 1);
            let entries = menuOf(row);
            compare(entries.map(entry => entry.text), ["Copy", "Select All"]);
            compare(enabledOf(entries), ["Select All"]);
            choose(entries, "Select All");
            entries = menuOf(row);
            compare(enabledOf(entries), ["Copy", "Select All"]);
            choose(entries, "Copy");
            compare(desk.clipboard(), "the second");
        }
        function test_aFieldsMenuEdits() {
            desk.clearClipboard();
            const field = open(fieldComponent, {
                    "text": "Main"
                });
            let entries = menuOf(field);
            compare(entries.map(entry => entry.text), ["Cut", "Copy", "Paste", "Select All"]);
            compare(enabledOf(entries), ["Select All"]);
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
