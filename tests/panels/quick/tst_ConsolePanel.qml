import QtQuick
import Wingbell.Look
import Wingbell.Panels
import Wingbell.Testing

Item {
    height: 500
    width: 820

    Component {
        id: panelComponent

        ConsolePanel {
            height: 160
            width: 532
        }
    }
    Component {
        id: servedComponent

        ConsolePanel {
            property alias server: rows.server

            height: 232
            width: 532

            lines: ConsoleModel {
                id: rows
            }
        }
    }
    Text {
        id: oneLine

        font.family: Typeface.monospaced
        font.pixelSize: 11
        text: "x"
        visible: false
    }
    Timer {
        id: stream

        property int chunk: 1
        property var lines: []
        property int most: 500
        property int next: 0
        property int until: 0

        // Pours lines from `next` to `until`, so many a tick, and keeps the newest as the log does.
        function pour(count, perTick) {
            chunk = perTick;
            until = next + count;
            start();
        }

        interval: 5
        repeat: true

        onTriggered: {
            for (let index = 0; index < chunk && next < until; ++index)
                lines.push(test.lineOf(next++));
            lines.splice(0, lines.length - most);
            test.desk.setLines(lines);
            if (next === until)
                stop();
        }
    }
    PanelTestCase {
        id: test

        readonly property var lengths: ["all of", "one of", "every word of", "a line that is so long that it cannot but go on in the next one, however wide the console may be made, and then again in ".repeat(2), ""]

        function animation(item) {
            return findChild(item, "followAnimation");
        }
        // Fails unless the newest line comes to stand at the end: the end marker below it ends with
        // the area, and the padding is not seen.
        function comesToTheEnd(item) {
            const log = list(item);
            tryVerify(() => !animation(item).running);
            const row = log.itemAtIndex(log.count - 1);
            verify(row, "the newest row is built");
            fuzzyCompare(log.contentY, scrollOf(item).lowest - 10, 0.001);
            standsAtTheEnd(item);
            for (const shown of rows(item).filter(row => log.isInView(log.indexAt(0, row.y))))
                compare(shown.Accessible.ignored, shown.isBlank, shown.line);
        }
        function lineOf(number) {
            return `line ${number}: ${lengths[number % lengths.length]}`;
        }
        function linesFrom(first, count) {
            return Array.from({
                    "length": count
                }, (unused, index) => `line ${first + index}`);
        }
        function list(item) {
            return findChild(item, "log");
        }
        function panel(lines, properties) {
            desk.setLines(lines);
            const item = open(panelComponent, Object.assign({
                        "lines": desk.lines
                    }, properties));
            laidOut(list(item));
            compare(list(item).count, lines.length);
            return item;
        }
        function rows(item) {
            return all(list(item).contentItem, ConsoleRow);
        }
        // Drags over the rows, from one place in a row to another.
        function drag(from, fromX, to, toX) {
            const start = from.mapToItem(to, fromX, 5);
            mousePress(from, fromX, 5);
            mouseMove(to, (start.x + toX) / 2, (start.y + 5) / 2, -1, Qt.LeftButton);
            mouseMove(to, toX, 5, -1, Qt.LeftButton);
            mouseRelease(to, toX, 5);
        }
        // Where that character of a row begins.
        function signAt(count) {
            return 9 + count * oneLine.implicitWidth;
        }
        function copied() {
            desk.clearClipboard();
            keyClick(Qt.Key_C, Qt.ControlModifier);
            return desk.clipboard();
        }
        // The positions of the rows that are drawn as selected, as a whole or a part.
        function selectedRows(item) {
            return rows(item).filter(row => row.isSelected).map(row => row.line);
        }
        function scrollOf(item) {
            return findChild(item, "scrollBar").parent as DeskScroll;
        }
        // The position of the row at the upper edge.
        function firstShown(item) {
            const log = list(item);
            for (let index = 0; index < log.count; ++index) {
                const row = log.itemAtIndex(index);
                if (row && row.mapToItem(log, 0, 0).y >= 0)
                    return index;
            }
            return -1;
        }
        // What happens at every new number of lines, up to the end.
        function follows(item) {
            verify(animation(item).running);
            comesToTheEnd(item);
        }
        function standsStill(item, contentY) {
            verify(!animation(item).running);
            compare(list(item).contentY, contentY);
        }
        function standsAtTheEnd(item) {
            const row = list(item).itemAtIndex(list(item).count - 1);
            verify(row, "the newest row is built");
            const area = findChild(item, "logArea");
            fuzzyCompare(row.mapToItem(area, 0, row.height).y, area.height - 2 - 1, 0.001);
        }
        function startStream(most) {
            stream.lines = [];
            stream.next = 0;
            stream.most = most;
        }
        function test_aBurstEndsAtTheEnd_data() {
            return eachOf([20, 100, 500]);
        }
        function test_aBurstEndsAtTheEnd(data) {
            const item = panel([]);
            desk.setLines(Array.from({
                        "length": data.value
                    }, (unused, index) => lineOf(index)));
            follows(item);
        }
        function test_aFallOfTheCountScrollsToTheShorterEnd_data() {
            return [{
                    "tag": "from the end",
                    "back": 0
                }, {
                    "tag": "scrolled back",
                    "back": 3000
                }];
        }
        function test_aFallOfTheCountScrollsToTheShorterEnd(data) {
            const item = panel([]);
            desk.setLines(linesFrom(1, 300));
            follows(item);
            list(item).contentY -= data.back;
            desk.setLines(linesFrom(1, 40));
            follows(item);
        }
        function test_aFallToLessThanAPageShowsItAll_data() {
            return eachOf([0, 1, 3]);
        }
        function test_aFallToLessThanAPageShowsItAll(data) {
            const item = panel([]);
            desk.setLines(linesFrom(1, 300));
            follows(item);
            desk.setLines(linesFrom(1, data.value));
            tryVerify(() => !animation(item).running);
            compare(list(item).contentY, list(item).originY);
            compare(list(item).count, data.value);
            if (data.value > 0)
                fuzzyCompare(list(item).itemAtIndex(0).mapToItem(findChild(item, "logArea"), 0, 0).y, 10, 0.001);
        }
        function test_aFloodEndsAtTheEnd() {
            desk.serverIs("flood");
            const item = open(servedComponent, {
                    "server": desk.server
                });
            desk.server.start();
            tryVerify(() => !desk.server.isStarting && !desk.server.isRunning, 120000);
            tryCompare(list(item), "count", 501);
            comesToTheEnd(item);
            compare(list(item).itemAtIndex(500).line, "\u25A0 Server stopped.");
        }
        function test_aLineAppendedToTenScrollsIntoView() {
            const item = panel(linesFrom(1, 10));
            const log = list(item);
            const before = log.contentY;
            verify(log.contentHeight > log.height, "ten lines are more than a page");
            desk.setLines(linesFrom(1, 11));
            verify(animation(item).running);
            compare(animation(item).duration, 150);
            compare(animation(item).easing.type, Easing.OutQuad);
            compare(log.contentY, before, "it is animated from where it stood");
            comesToTheEnd(item);
            verify(log.contentY > before);
            compare(log.itemAtIndex(10).line, "line 11");
        }
        function test_aLongLineWraps_data() {
            return [{
                    "tag": "words",
                    "line": "word ".repeat(200)
                }, {
                    "tag": "one word",
                    "line": "x".repeat(2000)
                }];
        }
        function test_aLongLineWraps(data) {
            const item = panel(["short", data.line, "short"]);
            const log = list(item);
            const text = all(log.itemAtIndex(1), Text)[0];
            verify(text.lineCount > 5);
            compare(text.text, data.line);
            verify(text.contentWidth <= log.width - 18);
            verify(log.itemAtIndex(1).height > 5 * log.itemAtIndex(0).height);
            verify(log.contentWidth <= log.width);
            compare(log.contentX, 0);
            item.width = 400;
            verify(log.contentWidth <= log.width);
            verify(text.contentWidth <= log.width - 18);
        }
        function test_aNewStartBeginsAtTheShortLogsEnd() {
            desk.serverIs("500-lines-graceful");
            const item = open(servedComponent, {
                    "server": desk.server
                });
            desk.server.start();
            tryCompare(list(item), "count", 500);
            follows(item);
            desk.server.stop();
            tryCompare(list(item), "count", 502);
            comesToTheEnd(item);
            desk.serverIs("silent");
            desk.server.start();
            tryCompare(list(item), "count", 1);
            tryVerify(() => !animation(item).running);
            compare(list(item).contentY, list(item).originY);
        }
        function test_aRowsTextCanBeSelectedAndCopied() {
            const item = panel(["the first", "the second <b>", "the third"]);
            const row = list(item).itemAtIndex(1);
            drag(row, signAt(4), row, signAt(10));
            compare(all(row, TextEdit)[0].selectedText, "second");
            compare(copied(), "second");
            // It stays selected when the pointer leaves the row, and another has the focus.
            mouseMove(item, 2, 2);
            list(item).focus = false;
            compare(all(row, TextEdit)[0].selectedText, "second");
            mouseDoubleClickSequence(row, signAt(1), 5);
            compare(copied(), "the");
            mouseClick(row, signAt(1), 5);
            compare(copied(), "the second <b>");
        }
        function test_aSelectionGoesOverRows() {
            const item = panel(["the first", "the second", "the third", "the fourth"]);
            const log = list(item);
            for (const [from, to] of [[0, 2], [2, 0]]) {
                drag(log.itemAtIndex(from), signAt(4), log.itemAtIndex(to), signAt(4));
                compare(copied(), "first\nthe second\nthe ");
                compare(all(log.itemAtIndex(0), TextEdit)[0].selectedText, "first");
                verify(log.itemAtIndex(1).isWhole);
                compare(all(log.itemAtIndex(2), TextEdit)[0].selectedText, "the ");
            }
            mouseClick(log.itemAtIndex(3), signAt(3), 5, Qt.LeftButton, Qt.ShiftModifier);
            compare(copied(), "third\nthe");
            mouseClick(log.itemAtIndex(1), signAt(3), 5);
            compare(selectedRows(item), []);
            compare(copied(), "");
        }
        function test_atTheCapASelectionMovesWithItsText() {
            const item = panel([]);
            const log = list(item);
            desk.setLines(linesFrom(1, 500));
            follows(item);
            const row = log.itemAtIndex(497);
            drag(row, signAt(0), row, signAt(6));
            compare(copied(), "line 4");
            for (const dropped of [1, 2, 5]) {
                desk.setLines(linesFrom(1 + dropped, 500), dropped);
                compare(selectedRows(item), ["line 498"]);
                compare(copied(), "line 4");
                compare(all(log.itemAtIndex(497 - dropped), TextEdit)[0].selectedText, "line 4");
            }
            // Held on to, it goes on from where it was begun, which has moved as well.
            mousePress(row, signAt(0), 5);
            desk.setLines(linesFrom(8, 500), 7);
            mouseMove(row, signAt(3), 5, -1, Qt.LeftButton);
            mouseMove(row, signAt(5), 5, -1, Qt.LeftButton);
            mouseRelease(row, signAt(5), 5);
            compare(copied(), "line 503\nline 504\nline ");
            desk.setLines(linesFrom(600, 500), 599);
            compare(selectedRows(item), []);
            compare(copied(), "");
        }
        function test_aSelectionMayGoWithItsRow_data() {
            return eachOf(["the log is cleared", "the panel goes"]);
        }
        function test_aSelectionMayGoWithItsRow(data) {
            const item = panel(["the first", "the second"]);
            const row = list(item).itemAtIndex(1);
            drag(row, signAt(0), row, signAt(3));
            if (data.value === "the panel goes") {
                item.destroy();
                opened = [];
                wait(0);
            } else {
                desk.setLines(["another", "one"], 2);
                compare(selectedRows(item), []);
                compare(desk.lines.currentRow, -1);
            }
        }
        function test_aRowWithASelectionLooksAsBefore() {
            const item = panel(["<b>one</b> ".repeat(30)]);
            const row = list(item).itemAtIndex(0);
            const plain = all(row, Text)[0];
            const height = row.height;
            drag(row, signAt(1), row, signAt(3));
            const text = all(row, TextEdit)[0];
            compare(text.text, row.line);
            compare(row.height, height);
            compare(text.lineCount, plain.lineCount);
            compareColors(text.color, plain.color);
            compare(text.font, plain.font);
            compare(text.mapToItem(row, 0, 0), plain.mapToItem(row, 0, 0));
            compare(text.width, plain.width);
            verify(!plain.visible);
        }
        function test_aStreamEndsAtTheEnd_data() {
            return [{
                    "tag": "one by one",
                    "count": 60,
                    "perTick": 1
                }, {
                    "tag": "in handfuls",
                    "count": 480,
                    "perTick": 7
                }, {
                    "tag": "in heaps",
                    "count": 500,
                    "perTick": 83
                }];
        }
        function test_aStreamEndsAtTheEnd(data) {
            const item = panel([]);
            startStream(500);
            stream.pour(data.count, data.perTick);
            tryVerify(() => !stream.running, 30000);
            compare(list(item).count, data.count);
            comesToTheEnd(item);
        }
        function test_aStreamOfThousandsEndsAtTheEndWithTheLastWords() {
            const item = panel([]);
            startStream(500);
            stream.pour(5000, 61);
            tryVerify(() => !stream.running, 30000);
            compare(list(item).count, 500);
            // The lines of a stop come on top of the most that are kept.
            desk.setLines([...stream.lines, "stopping"]);
            desk.setLines([...stream.lines, "stopping", "stopped"]);
            follows(item);
            compare(list(item).itemAtIndex(501).line, "stopped");
        }
        function test_aWheelStopsTheFollowing() {
            const item = panel(linesFrom(1, 100));
            const log = list(item);
            desk.setLines(linesFrom(1, 101));
            verify(animation(item).running);
            mouseWheel(log, 50, 50, 0, 120);
            const contentY = log.contentY;
            verify(!animation(item).running);
            desk.setLines(linesFrom(2, 101));
            verify(waitForRendering(log));
            standsStill(item, contentY);
        }
        function test_anEmptyLogIsAnEmptyArea() {
            const item = panel([]);
            compare(rows(item).length, 0);
            compare(all(item, Text).filter(text => text.visible).map(text => text.text), ["CONSOLE"]);
            verify(findChild(item, "logArea").visible);
            compare(list(item).contentY, list(item).originY);
        }
        function test_aScrolledBackLogReturnsWithTheNextLine() {
            const item = panel([]);
            const log = list(item);
            desk.setLines(linesFrom(1, 100));
            follows(item);
            const end = log.contentY;
            mouseWheel(log, 50, 50, 0, 120);
            compare(log.contentY, end - 60);
            for (let turn = 0; turn < 4; ++turn)
                mouseWheel(log, 50, 50, 0, 120);
            compare(log.contentY, end - 300);
            desk.setLines(linesFrom(1, 101));
            follows(item);
        }
        function test_atTheCapTheViewStandsStill_data() {
            return [{
                    "tag": "at the end",
                    "back": 0
                }, {
                    "tag": "a little scrolled back",
                    "back": 100
                }, {
                    "tag": "far scrolled back",
                    "back": 4000
                }];
        }
        function test_atTheCapTheViewStandsStill(data) {
            const item = panel([]);
            const log = list(item);
            desk.setLines(linesFrom(1, 500));
            follows(item);
            log.contentY -= data.back;
            const contentY = log.contentY;
            const shown = firstShown(item);
            for (let first = 2; first <= 60; ++first) {
                desk.setLines(linesFrom(first, 500));
                standsStill(item, contentY);
            }
            verify(waitForRendering(log));
            standsStill(item, contentY);
            compare(firstShown(item), shown);
            compare(log.itemAtIndex(shown).line, `line ${shown + 60}`);
        }
        function test_atTheCapRowsOfOtherHeightsLeaveTheViewWhereItIs() {
            const item = panel([]);
            const log = list(item);
            const window = first => Array.from({
                        "length": 500
                    }, (unused, index) => lineOf(first + index));
            desk.setLines(window(0));
            follows(item);
            log.contentY -= 2000;
            const contentY = log.contentY;
            for (let first = 1; first <= 40; ++first) {
                desk.setLines(window(first));
                standsStill(item, contentY);
            }
            verify(waitForRendering(log));
            standsStill(item, contentY);
        }
        function test_draggingTheBarReachesBothEnds() {
            const item = panel([]);
            const log = list(item);
            desk.setLines(linesFrom(1, 500));
            follows(item);
            const bar = findChild(item, "scrollBar");
            const handle = bar.children[0];
            const grip = handle.y + 5;
            mousePress(bar, 5, grip);
            mouseMove(bar, 5, grip - bar.height);
            tryVerify(() => log.contentY === log.originY);
            mouseMove(bar, 5, bar.height);
            tryVerify(() => log.contentY >= scrollOf(item).lowest - 0.5);
            mouseRelease(bar, 5, grip);
        }
        function test_equalLinesAreRowsOfTheirOwn() {
            const item = panel(["the same", "the same"]);
            const log = list(item);
            compare(log.count, 2);
            verify(log.itemAtIndex(0) !== log.itemAtIndex(1));
            compare([log.itemAtIndex(0).line, log.itemAtIndex(1).line], ["the same", "the same"]);
            compare(log.itemAtIndex(1).y - log.itemAtIndex(0).y, oneLine.implicitHeight + 2);
        }
        function test_linesThatAreThereAtFirstAreNotScrolled_data() {
            return eachOf([12, 500]);
        }
        function test_linesThatAreThereAtFirstAreNotScrolled(data) {
            const item = panel(linesFrom(1, data.value));
            const log = list(item);
            tryVerify(() => log.itemAtIndex(0) !== null);
            standsStill(item, log.originY);
            compare(log.itemAtIndex(0).mapToItem(findChild(item, "logArea"), 0, 0).y, 10);
        }
        function test_markupIsShownAsItCame() {
            const line = "<b>bold</b> &amp; <img src='nowhere.png'> <a href='x'>link</a>";
            const item = panel([line]);
            const row = list(item).itemAtIndex(0);
            const text = all(row, Text)[0];
            compare(text.text, line);
            compare(text.textFormat, Text.PlainText);
            // Every character takes its place.
            fuzzyCompare(text.contentWidth, line.length * oneLine.implicitWidth, 1);
            drag(row, signAt(0), row, signAt(line.length));
            compare(copied(), line);
        }
        function test_otherTextsOfTheSameNumberDoNotScroll() {
            const item = panel(linesFrom(1, 60));
            const log = list(item);
            log.contentY = 120;
            desk.setLines(linesFrom(1001, 60));
            standsStill(item, 120);
            verify(waitForRendering(log));
            standsStill(item, 120);
            compare(rows(item)[0].line.slice(0, 7), "line 10");
        }
        function test_rowsAreBuiltOnlyNearTheScreen() {
            const item = panel([]);
            const log = list(item);
            desk.setLines(linesFrom(1, 500));
            follows(item);
            const most = Math.ceil((log.height + 2 * log.cacheBuffer) / (oneLine.implicitHeight + 2)) + 4;
            verify(most < 250, "far fewer than there are lines");
            for (const share of [1, 0.5, 0]) {
                log.contentY = log.originY + share * (log.contentHeight - log.height);
                tryVerify(() => rows(item).length <= most);
                verify(rows(item).length > log.height / (oneLine.implicitHeight + 2));
            }
        }
        function test_theConsoleHasItsMeasures() {
            const item = panel(["one", "two"], {
                    "height": 232
                });
            compareSets(places(all(item, HexBolt), item), ["6,6 12x12", "514,6 12x12", "6,214 12x12", "514,214 12x12"]);
            compare(all(item, SteelPanelBackground)[0].cornerRadius, 14);
            const title = labelled(item, Text, "CONSOLE");
            compare(title.font.pixelSize, 10);
            compare(title.font.letterSpacing, 1.5);
            compareColors(title.color, Theme.faded(Theme.gold, 0.85));
            const header = title.parent;
            const dot = header.children[0];
            compare([header.x, header.y, header.spacing], [14, 14, 6]);
            compare([dot.width, dot.height, dot.cornerRadius], [6, 6, 3]);
            compareColors(dot.fill, Theme.ready);
            const area = findChild(item, "logArea");
            const top = header.y + header.height + 6;
            compare(places([area], item), [`14,${top} 504x${232 - 14 - top}`]);
            const row = all(list(item).itemAtIndex(0), Text)[0];
            compareColors(row.color, Qt.rgba(0.55, 0.95, 0.6, 1));
            compare(row.font.pixelSize, 11);
            compare(row.font.family, Typeface.monospaced);
            compare(row.mapToItem(area, 0, 0), Qt.point(10, 10));
            compare(row.width, area.width - 20);
            scrollOf(item).to(scrollOf(item).lowest);
            compare(scrollOf(item).lowest, list(item).originY, "two lines are less than a page");
            desk.setLines(linesFrom(1, 50));
            follows(item);
            scrollOf(item).to(scrollOf(item).lowest);
            const last = list(item).itemAtIndex(49);
            fuzzyCompare(last.mapToItem(area, 0, last.height).y, area.height - 2 - 1 - 10, 0.001);
        }
        function test_theKeysSelectWhatIsInView() {
            const item = panel(linesFrom(1, 200));
            const log = list(item);
            log.forceActiveFocus(Qt.TabFocusReason);
            verify(all(item, FocusRing).some(ring => ring.visible));
            keyClick(Qt.Key_Down);
            compare(copied(), "line 1");
            verify(log.itemAtIndex(0).showsCurrent);
            keyClick(Qt.Key_Down, Qt.ShiftModifier);
            keyClick(Qt.Key_Down, Qt.ShiftModifier);
            compare(copied(), "line 1\nline 2\nline 3");
            compare(selectedRows(item), ["line 1", "line 2", "line 3"]);
            compare(log.contentY, log.originY);
            for (const [key, line] of [[Qt.Key_End, 200], [Qt.Key_Home, 1], [Qt.Key_PageDown, 0], [Qt.Key_PageDown, 0], [Qt.Key_Up, 0]]) {
                keyClick(key);
                const row = log.itemAtIndex(desk.lines.currentRow);
                verify(line === 0 || row.line === `line ${line}`);
                const top = row.mapToItem(log, 0, 0).y;
                verify(top >= 0 && top + row.height <= log.height, "it is in view");
            }
            verify(desk.lines.currentRow > 10);
            keyClick(Qt.Key_A, Qt.ControlModifier);
            compare(copied().split("\n").length, 200);
            keyClick(Qt.Key_Escape);
            compare(selectedRows(item), []);
            compare(copied(), "");
            desk.setLines([]);
            for (const key of [Qt.Key_Down, Qt.Key_Return, Qt.Key_Menu])
                keyClick(key);
            keyClick(Qt.Key_A, Qt.ControlModifier);
            compare(desk.lines.currentRow, -1);
        }
        function test_returnOpensTheAddressOfTheCurrentLineOnce() {
            const line = "To print for the crew: https://192.168.1.5:47000/card#code=123456, or http://desk/.";
            const item = panel(["plain", line, "https://other/", ...linesFrom(4, 100)]);
            const log = list(item);
            mouseClick(log.itemAtIndex(1), 60, 5);
            mouseDoubleClickSequence(log.itemAtIndex(1), signAt(30), 5);
            compare(desk.openedAddresses(), []);
            keyClick(Qt.Key_Home);
            keyClick(Qt.Key_Return);
            compare(desk.openedAddresses(), []);
            keyClick(Qt.Key_Down);
            // A held key comes as many presses.
            for (let repeat = 0; repeat < 20; ++repeat)
                keyClick(Qt.Key_Return);
            compare(desk.openedAddresses(), ["https://192.168.1.5:47000/card#code=123456"]);
            keyClick(Qt.Key_Down);
            scrollOf(item).to(scrollOf(item).lowest);
            keyClick(Qt.Key_Enter);
            compare(desk.openedAddresses().length, 1, "nothing opens that is not in view");
            verify(log.itemAtIndex(2).mapToItem(log, 0, 0).y >= 0);
        }
        function test_theEndStaysInViewWhenTheSizeChanges() {
            const item = panel([]);
            const log = list(item);
            desk.setLines(Array.from({
                        "length": 200
                    }, (unused, index) => lineOf(index)));
            follows(item);
            for (const [width, height] of [[300, 160], [290, 160], [700, 160], [700, 120], [520, 200]]) {
                item.width = width;
                item.height = height;
                tryVerify(() => !log.isResizing);
                verify(!animation(item).running);
                standsAtTheEnd(item);
            }
            desk.setLines(Array.from({
                        "length": 201
                    }, (unused, index) => lineOf(index)));
            item.width = 350;
            tryVerify(() => !log.isResizing);
            standsAtTheEnd(item);
            scrollOf(item).by(-500);
            item.width = 360;
            tryVerify(() => !log.isResizing);
            verify(log.contentY + log.height < scrollOf(item).lowest);
        }

        name: "ConsolePanel"
    }
}
