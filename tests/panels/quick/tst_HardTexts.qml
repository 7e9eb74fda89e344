import QtQuick
import Wingbell.Look
import Wingbell.Panels
import Wingbell.Testing

// Texts that are not expected, but can be typed or stand in a file.
Item {
    height: 900
    width: 820

    Component {
        id: setupComponent

        ShowSetupPanel {
            height: 900
            serverIsRunning: false
            width: 820
        }
    }
    Component {
        id: consoleComponent

        ConsolePanel {
            height: 232
            width: 532
        }
    }
    Component {
        id: chipComponent

        Chip {
            place: Qt.rect(0, 0, 60, 24)
            textColor: "white"
            tint: Theme.steelMid
        }
    }
    Component {
        id: fieldComponent

        DeskField {
            font.pixelSize: 13
        }
    }
    PanelTestCase {
        readonly property var hardTexts: [{
                "tag": "200 letters",
                "text": "x".repeat(200)
            }, {
                "tag": "10,000 letters",
                "text": "x".repeat(10000)
            }, {
                "tag": "Arabic",
                "text": "\u0645\u062F\u064A\u0631 \u0627\u0644\u0645\u0633\u0631\u062D"
            }, {
                "tag": "both directions",
                "text": "Tech \u05E2\u05E8\u05D5\u05E5 2"
            }, {
                "tag": "a family",
                "text": "\u{1F469}\u200D\u{1F469}\u200D\u{1F467} crew"
            }, {
                "tag": "stacked marks",
                "text": "z\u0301\u0323\u0489\u0301\u0323\u0489\u0301\u0323\u0489".repeat(8)
            }, {
                "tag": "no width",
                "text": "\u200B\u200D\uFEFF"
            }, {
                "tag": "override",
                "text": "left \u202E right"
            }, {
                "tag": "tab",
                "text": "a\tb"
            }, {
                "tag": "line break",
                "text": "a\nb"
            }, {
                "tag": "line separator",
                "text": "a\u2028b"
            }, {
                "tag": "paragraph separator",
                "text": "a\u2029b"
            }, {
                "tag": "nothing",
                "text": ""
            }, {
                "tag": "spaces",
                "text": "    "
            }, {
                "tag": "control characters",
                "text": "\u0001\u001B[31mred\u0007"
            }]
        readonly property var longTexts: [{
                "tag": "left to right",
                "text": "a longer name than any ".repeat(40)
            }, {
                "tag": "right to left",
                "text": "\u05E2\u05D1\u05E8\u05D9\u05EA \u05E2\u05E8\u05D1\u05D9\u05EA ".repeat(40)
            }, {
                "tag": "10,000 letters",
                "text": "x".repeat(10000)
            }]

        function consoleOf(lines) {
            const item = open(consoleComponent, {
                    "lines": desk.lines
                });
            desk.setLines(lines);
            laidOut(findChild(item, "log"));
            return item;
        }
        // The field's caret for that place in the text, as far as it is in sight.
        function isInSight(field, position) {
            const caret = field.positionToRectangle(position);
            return caret.x >= 0 && caret.x <= field.width;
        }
        // A panel over a show of one role and of those names.
        function setup(show, channels, role) {
            desk.writeShow(JSON.stringify({
                        "show": show,
                        "channels": channels,
                        "oscPort": 47000,
                        "roles": [{
                                "name": role,
                                "talk": channels.slice(0, 1),
                                "listen": []
                            }]
                    }));
            desk.config.load();
            const item = open(setupComponent, {
                    "config": desk.config
                });
            for (const column of all(item, Column))
                laidOut(column);
            return item;
        }
        function test_aChipWiderThanTheRowSticksOutAndMovesNothing() {
            const item = setup("Show", ["Main", "W".repeat(200), "Tech"], "Role");
            for (const flow of all(item, FlowChips)) {
                const chips = all(flow, Chip);
                const main = chips[0];
                const wide = chips[1];
                const tech = chips[2];
                verify(wide.width > flow.width);
                compare(wide.width, all(wide, Text)[0].implicitWidth + 20);
                compare([main.x, main.y], [0, 0]);
                compare([wide.x, wide.y], [0, main.height + 8]);
                compare([tech.x, tech.y], [0, 2 * (main.height + 8)]);
                compare(wide.height, main.height);
            }
            const view = findChild(item, "setupView");
            compare(view.contentWidth, item.width);
            compare(view.contentX, 0);
            compare(all(item, RoleCard)[0].width, item.width - 40);
        }
        function test_aNameWithALineBreakStaysOneChip_data() {
            return eachOf(["a\nb", "a\r\nb", "a\u2028b", "a\u2029b"]);
        }
        function test_aNameWithALineBreakStaysOneChip(data) {
            const item = setup("Show", ["Main", data.value, "Tech"], "Role");
            const chips = all(all(item, FlowChips)[0], Chip);
            compare(chips.map(chip => chip.name), ["Main", data.value, "Tech"]);
            compare(all(chips[1], Text)[0].text, "a\u21B5b");
            for (const chip of chips) {
                const label = all(chip, Text)[0];
                compare(label.lineCount, 1);
                compare(chip.y, 0);
                compare([chip.width, chip.height], [label.implicitWidth + 20, label.implicitHeight + 10]);
            }
            mouseClick(chips[1]);
            compare(desk.config.channels, ["Main", "Tech"]);
        }
        function test_aPastedLineBreakIsABlank_data() {
            return eachOf(["a\nb", "a\r\nb", "a\rb", "a\u2028b", "a\u2029b"]);
        }
        function test_aPastedLineBreakIsABlank(data) {
            const item = setup("", ["Main"], "Role");
            const field = findChild(item, "showName");
            desk.setClipboard(data.value);
            mouseClick(field);
            keyClick(Qt.Key_V, Qt.ControlModifier);
            keyClick(Qt.Key_C);
            compare(field.text, "a bc");
            compare(desk.config.show, "a bc");
            desk.clearClipboard();
        }
        function test_aStoredLineBreakStaysUntilTheNameIsEdited() {
            const item = setup("Two\nlines", ["Main"], "Stage\nManager");
            const show = findChild(item, "showName");
            const role = all(all(item, RoleCard)[0], DeskField)[0];
            compare([desk.config.show, desk.role(0).name], ["Two\nlines", "Stage\nManager"]);
            verify(!desk.config.hasUnsavedChanges);
            for (const field of [show, role]) {
                mouseClick(field);
                keyClick(Qt.Key_End);
                keyClick(Qt.Key_X);
            }
            compare([desk.config.show, desk.role(0).name], ["Two linesx", "Stage Managerx"]);
        }
        function test_anEmojiIsDrawnInItsColours() {
            const picture = grabImage(open(chipComponent, {
                        "name": "\u{1F3AD}"
                    }));
            let colourful = 0;
            for (let x = 0; x < picture.width; ++x) {
                for (let y = 0; y < picture.height; ++y) {
                    const pixel = picture.pixel(x, y);
                    const spread = Math.max(pixel.r, pixel.g, pixel.b) - Math.min(pixel.r, pixel.g, pixel.b);
                    colourful += spread > 0.3 ? 1 : 0;
                }
            }
            verify(colourful > 20, `${colourful} pixels`);
        }
        function test_hardTextsLeaveThePanelItsMeasures_data() {
            return hardTexts;
        }
        function test_hardTextsLeaveThePanelItsMeasures(data) {
            const plain = setup("Show", ["Main"], "Role");
            const hard = setup(data.text, [data.text], data.text);
            compare(desk.config.channels, [data.text]);
            const plainCard = all(plain, RoleCard)[0];
            const hardCard = all(hard, RoleCard)[0];
            compare(places(all(hard, DeskField).slice(0, 2), hard), places(all(plain, DeskField).slice(0, 2), plain));
            compare(hardCard.width, plainCard.width);
            compare(places([all(hardCard, Symbol)[0]], hardCard), places([all(plainCard, Symbol)[0]], plainCard));
            compare(places(all(hardCard, DeskField), hardCard), places(all(plainCard, DeskField), plainCard));
            compare(findChild(hard, "setupView").contentWidth, hard.width);
        }
        function test_aLongTextIsReadFromItsBeginning_data() {
            return longTexts;
        }
        function test_aLongTextIsReadFromItsBeginning(data) {
            const field = open(fieldComponent, {
                    "text": data.text,
                    "width": 300
                });
            verify(isInSight(field, 0), "at first");
            field.width = 200;
            verify(isInSight(field, 0), "in another width");
            mouseClick(field);
            keyClick(Qt.Key_End);
            verify(isInSight(field, field.length), "the caret");
            verify(!isInSight(field, 0));
            field.focus = false;
            verify(isInSight(field, 0), "after it was edited");
            field.forceActiveFocus(Qt.TabFocusReason);
            verify(isInSight(field, field.cursorPosition), "the caret again");
            field.focus = false;
            field.text = "another " + data.text;
            verify(isInSight(field, 0), "as another text");
        }
        function test_hardLinesAreRowsAndTheLogScrollsUpAndDownOnly_data() {
            return hardTexts;
        }
        function test_hardLinesAreRowsAndTheLogScrollsUpAndDownOnly(data) {
            const item = consoleOf(["first", data.text, "last"]);
            const log = findChild(item, "log");
            tryVerify(() => !findChild(item, "followAnimation").running);
            compare(log.contentX, 0);
            compare(log.count, 3);
            for (const text of all(log.contentItem, Text))
                verify(text.x + text.contentWidth <= log.width, `as wide as ${text.contentWidth}`);
        }
        function test_aLineWithoutABreakIsBrokenAnywhere_data() {
            return [{
                    "tag": "short",
                    "line": "x".repeat(200),
                    "wrapMode": Text.Wrap
                }, {
                    "tag": "long and of words",
                    "line": "a word and ".repeat(1000),
                    "wrapMode": Text.Wrap
                }, {
                    "tag": "long and of none",
                    "line": "x".repeat(3000),
                    "wrapMode": Text.WrapAnywhere
                }];
        }
        // Where a word ends is looked for again in every line: in a megabyte without any, for a minute.
        function test_aLineWithoutABreakIsBrokenAnywhere(data) {
            const item = consoleOf([data.line]);
            const row = all(findChild(item, "log").contentItem, ConsoleRow)[0];
            const plain = all(row, Text)[0];
            compare(plain.wrapMode, data.wrapMode);
            // A part that is selected is drawn by a text of its own.
            item.lines.select(0, 0, ConsoleModel.Characters, false);
            item.lines.select(0, 5, ConsoleModel.Characters, true);
            tryVerify(() => all(row, TextEdit).length === 1);
            compare(all(row, TextEdit)[0].wrapMode, data.wrapMode);
            compare(all(row, TextEdit)[0].contentHeight, plain.contentHeight);
        }
    }
}
