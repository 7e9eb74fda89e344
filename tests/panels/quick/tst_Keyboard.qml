import QtQuick
import Wingbell.Look
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
    // What has the focus, on a ground.
    Component {
        id: ringComponent

        Rectangle {
            property alias itemColor: item.color

            height: 60
            width: 120

            Rectangle {
                id: item

                height: 24
                width: 60
                x: 30
                y: 18

                FocusRing {
                }
            }
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
        function test_theRingShowsOnEveryGround_data() {
            const grounds = {
                "gold": Theme.gold,
                "steel": Theme.steelMid,
                "dark steel": Theme.steelDark,
                "a dark chip": Theme.steelDeep,
                "the stage": Theme.stage,
                "black": Qt.color("black")
            };
            const rows = new Array();
            for (const item in grounds) {
                for (const around in grounds) {
                    rows.push({
                            "tag": `${item} on ${around}`,
                            "item": grounds[item],
                            "around": grounds[around]
                        });
                }
            }
            return rows;
        }
        function test_theRingShowsOnEveryGround(data) {
            const picture = grabImage(open(ringComponent, {
                        "color": data.around,
                        "itemColor": data.item
                    }));
            for (const ground of [data.item, data.around]) {
                const shows = new Array();
                for (let x = 90; x < 100; ++x)
                    shows.push(contrast(picture.pixel(x, 30), ground) >= 3);
                verify(shows.filter(pixel => pixel).length >= 2, `beside ${ground}`);
            }
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
        function test_aPressByPointerLeavesTheFocus() {
            const item = panel();
            const view = findChild(item, "setupView");
            const port = findChild(item, "port");
            port.forceActiveFocus(Qt.TabFocusReason);
            view.contentY = view.contentHeight - view.height;
            for (const button of [findChild(item, "save"), findChild(item, "reload"), findChild(item, "addRole")]) {
                mouseClick(button);
                compare(stage.focused, port);
            }
            const bins = all(item, Pressable).filter(control => control.Accessible.name === "Delete role");
            mouseClick(bins[bins.length - 1]);
            compare(desk.roleCount(), 2);
            compare(stage.focused, port);
            view.contentY = 100;
            clickChip(chip(item, "Main"));
            compare(desk.config.channels.join(), "Tech");
            compare(stage.focused, port);
        }
        function test_keysPressWhatHasTheFocus() {
            const item = panel();
            const add = findChild(item, "addRole");
            add.forceActiveFocus(Qt.TabFocusReason);
            for (const key of [Qt.Key_Space, Qt.Key_Return, Qt.Key_Enter])
                pressKey(item, key);
            compare(desk.roleCount(), 5);
            const chip = all(all(item, RoleCard)[0], Chip)[1];
            chip.forceActiveFocus(Qt.TabFocusReason);
            pressKey(item, Qt.Key_Space);
            compare(desk.role(0).talk.join(), "Tech");
            verify(chip.activeFocus);
            // Twice quickly on the same chip is twice.
            pressKey(item, Qt.Key_Space);
            pressKey(item, Qt.Key_Space, "", 100);
            compare(desk.role(0).talk.join(), "Tech");
        }
        function chip(item, name) {
            return labelled(findChild(item, "channelsEditor"), Chip, name);
        }
        // How far the item is from the top of all that the panel can show.
        function placeOf(item, control) {
            return control.mapToItem(findChild(item, "setupView").contentItem, 0, 0).y;
        }
        // Whether the item stands in what the panel shows of itself.
        function isInSight(item, control) {
            const view = findChild(item, "setupView");
            const top = control.mapToItem(view, 0, 0).y;
            return top >= 0 && top + control.height <= view.height;
        }
        function test_aHeldKeyIsOnePress_data() {
            return [{
                    "tag": "Space",
                    "key": Qt.Key_Space,
                    "text": " "
                }, {
                    "tag": "Return",
                    "key": Qt.Key_Return,
                    "text": "\r"
                }, {
                    "tag": "Enter",
                    "key": Qt.Key_Enter,
                    "text": "\r"
                }];
        }
        function test_aHeldKeyIsOnePress(data) {
            const item = panel();
            desk.setRoles(["A", "B", "C"]);
            desk.config.channels = ["Main", "Tech", "Pit"];
            findChild(item, "addRole").forceActiveFocus(Qt.TabFocusReason);
            holdKey(item, data.key, data.text);
            compare(desk.roleCount(), 4);
            const lamp = all(all(item, RoleCard)[0], Chip)[0];
            lamp.forceActiveFocus(Qt.TabFocusReason);
            holdKey(item, data.key, data.text);
            compare(desk.role(0).talk.join(), "Main");
            // What gets the focus of what goes does not get the rest of the key.
            chip(item, "Main").forceActiveFocus(Qt.TabFocusReason);
            holdKey(item, data.key, data.text);
            compare(desk.config.channels.join(), "Tech,Pit");
            verify(chip(item, "Tech").activeFocus);
            all(all(item, RoleCard)[0], Pressable)[0].forceActiveFocus(Qt.TabFocusReason);
            holdKey(item, data.key, data.text);
            compare(desk.roleCount(), 3);
            const field = all(findChild(item, "channelsEditor"), DeskField)[0];
            findChild(item, "channelsEditor").newChannelName = "Fly";
            labelled(item, DeskButton, "Add").forceActiveFocus(Qt.TabFocusReason);
            holdKey(item, data.key, data.text);
            compare(desk.config.channels.join(), "Tech,Pit,Fly");
            compare(field.text, "");
            verify(field.activeFocus);
        }
        function test_aHeldKeyGoesOnWhereItBegan() {
            const item = panel();
            const field = firstField(item);
            field.forceActiveFocus(Qt.TabFocusReason);
            field.selectAll();
            holdKey(item, Qt.Key_A, "a");
            holdKey(item, Qt.Key_Space, " ");
            compare(field.text, "aaaaaa      ");
            holdKey(item, Qt.Key_Backspace, "\b");
            compare(field.text, "aaaaaa");
            // Tab goes on as long as it is held.
            holdKey(item, Qt.Key_Tab, "\t");
            compare(stage.focused.Accessible.name, "Delete role");
            compare(desk.config.show, "aaaaaa");
        }
        function test_aSecondQuickKeyDoesNothingToWhatGotTheFocus() {
            const item = panel();
            desk.setRoles(["A", "B", "C"]);
            desk.config.channels = ["Main", "Tech"];
            chip(item, "Main").forceActiveFocus(Qt.TabFocusReason);
            pressKey(item, Qt.Key_Space, " ");
            pressKey(item, Qt.Key_Space, " ", 100);
            pressKey(item, Qt.Key_Space, " ", 100);
            compare(desk.config.channels.join(), "Tech");
            verify(chip(item, "Tech").activeFocus);
            // One that is no second one does.
            pressKey(item, Qt.Key_Space, " ");
            compare(desk.config.channels.join(), "");
            const field = all(findChild(item, "channelsEditor"), DeskField)[0];
            verify(field.activeFocus);
            pressKey(item, Qt.Key_Space, " ", 100);
            compare(field.text, "");
            all(all(item, RoleCard)[0], Pressable)[0].forceActiveFocus(Qt.TabFocusReason);
            pressKey(item, Qt.Key_Return, "\r");
            pressKey(item, Qt.Key_Space, " ", 100);
            compare(desk.roleCount(), 2);
            findChild(item, "channelsEditor").newChannelName = "Fly";
            labelled(item, DeskButton, "Add").forceActiveFocus(Qt.TabFocusReason);
            pressKey(item, Qt.Key_Space, " ");
            pressKey(item, Qt.Key_Space, " ", 100);
            compare(field.text, "");
        }
        function test_aBlankInTypedTextPressesNothing() {
            const item = panel();
            all(all(item, RoleCard)[0], Pressable)[0].forceActiveFocus(Qt.TabFocusReason);
            for (const letter of ["F", "l", "y", " ", "1"])
                pressKey(item, letter === " " ? Qt.Key_Space : Qt.Key_A, letter, 100);
            compare(desk.roleCount(), 2);
            pressKey(item, Qt.Key_Space, " ");
            compare(desk.roleCount(), 1);
        }
        function test_theFocusStaysInSightOfWhatItAdds() {
            const item = panel();
            const add = findChild(item, "addRole");
            add.forceActiveFocus(Qt.TabFocusReason);
            for (let times = 0; times < 3; ++times) {
                const before = placeOf(item, add);
                pressKey(item, Qt.Key_Return);
                tryVerify(() => placeOf(item, add) > before);
                tryVerify(() => isInSight(item, add));
                verify(add.activeFocus);
            }
        }
        function test_theSecondPressOfADoubleClickReachesNothingElse() {
            const item = panel();
            desk.config.channels = ["Main", "Tech", "Pit"];
            const editor = findChild(item, "channelsEditor");
            const place = chip(item, "Main").mapToItem(stage, 8, 8);
            pressAt(stage, place);
            compare(desk.config.channels.join(), "Tech,Pit");
            pressAt(stage, place, 100);
            compare(desk.config.channels.join(), "Tech,Pit");
            // A press of its own does, and so does a quick one at another place.
            pressAt(stage, place);
            compare(desk.config.channels.join(), "Pit");
            const field = all(editor, DeskField)[0];
            laidOut(field.parent.parent);
            pressAt(stage, field.mapToItem(stage, 8, 8), 100);
            verify(field.activeFocus);
        }
        function test_aDoubleClickOnAddRoleDoesNotEditTheNewOne() {
            const item = panel();
            const add = findChild(item, "addRole");
            const view = findChild(item, "setupView");
            view.contentY = view.contentHeight - view.height;
            const place = add.mapToItem(stage, add.width / 2, add.height - 2);
            pressAt(stage, place);
            compare(desk.roleCount(), 3);
            waitForRendering(item);
            pressAt(stage, place, 100);
            compare(desk.roleCount(), 3);
            compare(all(item, DeskField).filter(field => field.activeFocus).length, 0);
        }
        function test_thePointerIsTheDesktopsOnWhatIsPressed() {
            const item = panel();
            for (const control of rounds(firstField(item), Qt.Key_Tab).filter(control => control instanceof Pressable)) {
                control.forceActiveFocus(Qt.TabFocusReason);
                compare(desk.pointerShape(control), Qt.ArrowCursor, control.Accessible.name);
            }
        }
        function test_whatIsPressedIsLargeEnough() {
            const item = panel();
            desk.config.channels = ["i", "Tech"];
            for (const control of rounds(firstField(item), Qt.Key_Tab)) {
                const x = control.width / 2;
                const y = control.height / 2;
                for (const place of [Qt.point(x - 11.9, y), Qt.point(x + 11.9, y), Qt.point(x, y - 11.9), Qt.point(x, y + 11.9)])
                    verify(control.contains(place), `${control.Accessible.name} at ${place}`);
            }
        }

        name: "Keyboard"
    }
}
