import QtQuick
import Wingbell.Look
import Wingbell.Panels
import Wingbell.Testing

Item {
    height: 300
    width: 600

    Component {
        id: editorComponent

        ChannelsEditor {
            width: 560
        }
    }
    PanelTestCase {
        function chips(item) {
            return all(item, Chip);
        }
        function channels() {
            return desk.config.channels.join();
        }
        function editor(properties) {
            desk.config.channels = ["Main", "Tech"];
            return open(editorComponent, Object.assign({
                        "config": desk.config
                    }, properties));
        }
        function add(item) {
            return labelled(item, DeskButton, "Add");
        }
        function field(item) {
            return all(item, DeskField)[0];
        }
        function test_aChipRemovesItsChannelAtOnce() {
            const item = editor();
            clickChip(labelled(item, Chip, "Main"));
            compare(channels(), "Tech");
            verify(desk.config.hasUnsavedChanges);
            compare(chips(item).map(chip => chip.name), ["Tech"]);
        }
        function test_aChipShowsItsChannel() {
            const item = editor();
            compare(chips(item).map(chip => chip.name), ["Main", "Tech"]);
            for (const chip of chips(item)) {
                compareColors(chip.tint, Theme.steelMid);
                compareColors(chip.textColor, Qt.color("white"));
            }
        }
        function test_aKnownNameIsDroppedAndTheFieldCleared_data() {
            return [{
                    "tag": "Return"
                }, {
                    "tag": "Add"
                }];
        }
        function test_aKnownNameIsDroppedAndTheFieldCleared(data) {
            const item = editor();
            mouseClick(field(item));
            typeText(" Tech");
            if (data.tag === "Return")
                keyClick(Qt.Key_Return);
            else
                mouseClick(add(item));
            compare(channels(), "Main,Tech");
            verify(!desk.config.hasUnsavedChanges);
            compare(field(item).text, "");
        }
        function test_aNameIsTrimmed() {
            const item = editor();
            mouseClick(field(item));
            typeText("  Pit  ");
            compare(field(item).text, "  Pit  ");
            mouseClick(add(item));
            compare(channels(), "Main,Tech,Pit");
            verify(desk.config.hasUnsavedChanges);
            compare(field(item).text, "");
            verify(field(item).activeFocus);
            compare(chips(item).map(chip => chip.name), ["Main", "Tech", "Pit"]);
        }
        function test_addPutsTheFocusBackInTheField_data() {
            return [{
                    "tag": "button",
                    "press": item => mouseClick(add(item))
                }, {
                    "tag": "key",
                    "press": item => {
                        add(item).forceActiveFocus(Qt.TabFocusReason);
                        keyClick(Qt.Key_Space);
                    }
                }];
        }
        function test_addPutsTheFocusBackInTheField(data) {
            const item = editor({
                    "newChannelName": "Pit"
                });
            data.press(item);
            compare(channels(), "Main,Tech,Pit");
            verify(field(item).activeFocus);
            typeText("Fly");
            compare(field(item).text, "Fly");
        }
        function test_aReloadBringsItsChannels() {
            const item = editor();
            const tech = labelled(item, Chip, "Tech");
            desk.writeShow('{"show": "S", "channels": ["Tech", "Wings"], "roles": []}');
            desk.config.load();
            compare(chips(item).map(chip => chip.name), ["Tech", "Wings"]);
            compare(chips(item)[0], tech);
        }
        function test_addIsEnabledWhileThereIsAName_data() {
            return [{
                    "tag": "nothing",
                    "text": "",
                    "enabled": false
                }, {
                    "tag": "spaces",
                    "text": "   ",
                    "enabled": false
                }, {
                    "tag": "a tab",
                    "text": "\t",
                    "enabled": false
                }, {
                    "tag": "other spaces",
                    "text": "\u00A0\u2003\u3000",
                    "enabled": false
                }, {
                    "tag": "a name",
                    "text": "x",
                    "enabled": true
                }, {
                    "tag": "a name in spaces",
                    "text": "  x ",
                    "enabled": true
                }, {
                    "tag": "a known name",
                    "text": "Main",
                    "enabled": true
                }];
        }
        function test_addIsEnabledWhileThereIsAName(data) {
            const item = editor();
            verify(!add(item).enabled);
            item.newChannelName = data.text;
            compare(add(item).enabled, data.enabled);
            compare(field(item).text, data.text);
        }
        function test_addFollowsEveryKey() {
            const item = editor();
            mouseClick(field(item));
            keyClick(" ");
            verify(!add(item).enabled);
            keyClick("x");
            verify(add(item).enabled);
            compare(item.newChannelName, " x");
            keyClick(Qt.Key_Backspace);
            verify(!add(item).enabled);
        }
        function test_namesThatDifferInCaseAreTwo() {
            const item = editor();
            mouseClick(field(item));
            typeText("main");
            keyClick(Qt.Key_Return);
            compare(channels(), "Main,Tech,main");
        }
        function test_returnInABlankFieldClearsIt_data() {
            return [{
                    "tag": "nothing",
                    "text": ""
                }, {
                    "tag": "spaces",
                    "text": "   "
                }];
        }
        function test_returnInABlankFieldClearsIt(data) {
            const item = editor();
            mouseClick(field(item));
            typeText(data.text);
            compare(field(item).text, data.text);
            keyClick(Qt.Key_Return);
            compare(field(item).text, "");
            compare(channels(), "Main,Tech");
            verify(!desk.config.hasUnsavedChanges);
        }
        function test_severalNamesCanBeTypedInARow() {
            const item = editor();
            mouseClick(field(item));
            for (const name of ["One", "Two", "Three"]) {
                typeText(name);
                keyClick(Qt.Key_Return);
                compare(field(item).text, "");
                verify(field(item).activeFocus);
            }
            compare(channels(), "Main,Tech,One,Two,Three");
        }
        function test_theFieldIsAtMost220Wide_data() {
            return [{
                    "tag": "wide",
                    "width": 560,
                    "field": 220
                }, {
                    "tag": "narrow",
                    "width": 150,
                    "field": 150
                }];
        }
        function test_theFieldIsAtMost220Wide(data) {
            const item = editor({
                    "width": data.width
                });
            compare(field(item).width, data.field);
            compare(field(item).padding, 8);
            compare(field(item).radius, 6);
            compareColors(field(item).plateColor, Theme.steelDeep);
            compare(field(item).placeholderText, "New channel name");
        }
        function test_theLastChipLeavesAnEmptyRowAndTheField() {
            const item = editor();
            clickChip(chips(item)[0]);
            clickChip(chips(item)[0]);
            compare(channels(), "");
            compare(chips(item).length, 0);
            const row = all(item, FlowChips)[0];
            laidOut(row);
            compare(row.height, 0);
            mouseClick(field(item));
            typeText("Again");
            keyClick(Qt.Key_Enter);
            compare(channels(), "Again");
        }

        name: "ChannelsEditor"
    }
}
