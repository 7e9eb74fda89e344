import QtQuick
import Wingbell.Panels
import Wingbell.Testing

Item {
    id: stage

    readonly property Item focused: Window.activeFocusItem

    height: 600
    width: 820

    Component {
        id: panelComponent

        ShowSetupPanel {
            height: 300
            serverIsRunning: false
            width: 820
            y: 300
        }
    }
    Component {
        id: outsideComponent

        Pressable {
            height: 20
            width: 100
            x: 30
            y: 200
        }
    }
    PanelTestCase {
        // What Tab goes through from the panel's first field until it is there again.
        function rounds(first, key, modifiers) {
            first.forceActiveFocus(Qt.TabFocusReason);
            const reached = new Array();
            do {
                reached.push(stage.focused);
                keyClick(key, modifiers);
            } while (stage.focused !== first && reached.length < 100)
            return reached;
        }
        function panel(properties) {
            desk.config.channels = ["Main", "Tech"];
            desk.setRoles(["A", "B"]);
            desk.config.hasUnsavedChanges = false;
            const item = open(panelComponent, Object.assign({
                        "config": desk.config
                    }, properties));
            laidOut(firstField(item).parent.parent);
            return item;
        }
        function firstField(item) {
            return findChild(item, "showName");
        }
        function showsFocus(item) {
            const around = all(item.parent, FocusRing).filter(ring => ring.parent === item.parent);
            const plate = findChild(item, "plate");
            return all(item, FocusRing).concat(around).some(ring => ring.visible) || (plate !== null && plate.outlineWidth === 1);
        }
        function test_escapeFromAFieldIsPossible_data() {
            return [{
                    "tag": "Tab",
                    "key": Qt.Key_Tab,
                    "modifiers": Qt.NoModifier
                }, {
                    "tag": "Shift and Tab",
                    "key": Qt.Key_Backtab,
                    "modifiers": Qt.ShiftModifier
                }];
        }
        function test_escapeFromAFieldIsPossible(data) {
            const item = panel();
            const field = firstField(item);
            field.forceActiveFocus();
            keyClick(data.key, data.modifiers);
            verify(stage.focused !== field);
            verify(stage.focused);
            compare(field.text, desk.config.show);
        }
        function test_everyControlIsReachedOnceInItsOrder() {
            const item = panel();
            const names = rounds(firstField(item), Qt.Key_Tab).map(control => control.Accessible.name);
            const card = ["Role name", "Delete role", "Main", "Tech", "Main", "Tech"];
            compare(names, ["Show name", "Port", "Main", "Tech", "New channel name", ...card, ...card, "Add Role", "Save Show", "Reload from File"]);
        }
        function test_theAddButtonIsReachedWhileItIsEnabled() {
            const item = panel();
            findChild(item, "channelsEditor").newChannelName = "x";
            const names = rounds(firstField(item), Qt.Key_Tab).map(control => control.Accessible.name);
            compare(names.indexOf("Add"), names.indexOf("New channel name") + 1);
        }
        function test_shiftGoesTheSameWayBack() {
            const item = panel();
            const forth = rounds(firstField(item), Qt.Key_Tab);
            const back = rounds(firstField(item), Qt.Key_Backtab, Qt.ShiftModifier);
            compare(back.slice(1).reverse(), forth.slice(1));
        }
        function test_thePageKeysScrollAPageAndLeaveTheFocus() {
            const item = panel();
            item.height = 200;
            const view = findChild(item, "setupView");
            const field = firstField(item);
            field.forceActiveFocus();
            keyClick(Qt.Key_PageDown);
            compare(view.contentY, 180);
            keyClick(Qt.Key_PageUp);
            compare(view.contentY, 0);
            compare(stage.focused, field);
            compare(field.text, desk.config.show);
        }
        function test_theOrderIsThatOfReading() {
            const item = panel();
            const column = firstField(item).parent.parent;
            let before = Qt.point(0, -1);
            for (const control of rounds(firstField(item), Qt.Key_Tab)) {
                const place = control.mapToItem(column, 0, control.height / 2);
                const sameRow = Math.abs(place.y - before.y) < 8;
                verify(sameRow ? place.x > before.x : place.y > before.y, control.Accessible.name);
                before = place;
            }
        }
        function test_theFocusIsSeen() {
            const item = panel();
            for (const control of rounds(firstField(item), Qt.Key_Tab)) {
                control.forceActiveFocus(Qt.TabFocusReason);
                verify(showsFocus(control), control.Accessible.name);
            }
            const port = findChild(item, "port");
            firstField(item).forceActiveFocus(Qt.TabFocusReason);
            verify(!showsFocus(port));
            verify(!showsFocus(findChild(item, "save")));
        }
        function test_theFocusScrollsIntoView_data() {
            return [{
                    "tag": "Tab",
                    "key": Qt.Key_Tab,
                    "modifiers": Qt.NoModifier
                }, {
                    "tag": "Shift and Tab",
                    "key": Qt.Key_Backtab,
                    "modifiers": Qt.ShiftModifier
                }];
        }
        function test_theFocusScrollsIntoView(data) {
            const item = panel();
            const view = findChild(item, "setupView");
            verify(view.contentHeight > 2 * view.height, "there is something to scroll");
            const first = firstField(item);
            first.forceActiveFocus(Qt.TabFocusReason);
            let scrolled = 0;
            do {
                keyClick(data.key, data.modifiers);
                const top = stage.focused.mapToItem(view, 0, 0).y;
                const name = stage.focused.Accessible.name;
                verify(top >= 0, `${name} below the upper edge: ${top}`);
                verify(top + stage.focused.height <= view.height, `${name} above the lower edge: ${top}`);
                scrolled = Math.max(scrolled, view.contentY);
            } while (stage.focused !== first)
            verify(scrolled > view.contentHeight - view.height - 20, "down to the padding below the buttons");
        }
        function test_aFocusElsewhereScrollsNothing() {
            const item = panel();
            const view = findChild(item, "setupView");
            const outside = open(outsideComponent);
            findChild(item, "reload").forceActiveFocus(Qt.TabFocusReason);
            const before = view.contentY;
            verify(before > 300);
            outside.forceActiveFocus(Qt.TabFocusReason);
            compare(view.contentY, before);
        }
        function test_aPressOnWhatIsHalfInSightIsNoLess_data() {
            return [{
                    "tag": "at the lower edge"
                }, {
                    "tag": "at the upper edge"
                }];
        }
        function test_aPressOnWhatIsHalfInSightIsNoLess(data) {
            const item = panel();
            const view = findChild(item, "setupView");
            const button = findChild(item, "addRole");
            const top = button.mapToItem(view.contentItem, 0, 0).y;
            const lower = data.tag === "at the lower edge";
            view.contentY = lower ? top + 4 - view.height : top + button.height - 4;
            const pointer = button.mapToItem(stage, button.width / 2, lower ? 2 : button.height - 2);
            // By the window: a pointer does not go with what scrolls away under it.
            mousePress(stage, pointer.x, pointer.y);
            mouseMove(stage, pointer.x + 1, pointer.y, -1, Qt.LeftButton);
            mouseRelease(stage, pointer.x + 1, pointer.y);
            compare(desk.roleCount(), 3);
        }
        function test_aPressDoesNotShowTheFocus() {
            const item = panel();
            const view = findChild(item, "setupView");
            const button = findChild(item, "save");
            view.contentY = view.contentHeight - view.height;
            mouseClick(button);
            verify(button.activeFocus);
            verify(!showsFocus(button));
        }
        function test_keysPressWhatHasTheFocus() {
            const item = panel();
            const add = findChild(item, "addRole");
            add.forceActiveFocus(Qt.TabFocusReason);
            for (const key of [Qt.Key_Space, Qt.Key_Return, Qt.Key_Enter])
                keyClick(key);
            compare(desk.roleCount(), 5);
            const chip = all(all(item, RoleCard)[0], Chip)[1];
            chip.forceActiveFocus(Qt.TabFocusReason);
            keyClick(Qt.Key_Space);
            compare(desk.role(0).talk.join(), "Tech");
            verify(chip.activeFocus);
            keyClick(Qt.Key_Space);
            compare(desk.role(0).talk.join(), "");
        }

        name: "Keyboard"
    }
}
