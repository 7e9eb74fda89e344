import QtQuick
import QtTest
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
            height: 400
            serverIsRunning: false
            width: 820
        }
    }
    SignalSpy {
        id: heights

        signalName: "contentHeightChanged"
    }
    PanelTestCase {
        function panel(roles, channels) {
            desk.setLargeShow(roles, channels);
            desk.config.hasUnsavedChanges = false;
            const item = open(panelComponent, {
                    "config": desk.config
                });
            laidOut(findChild(item, "showName").parent.parent);
            return item;
        }
        // The cards that are built: not one that is begun, or given up before it was whole.
        function cards(item) {
            const slots = findChild(item, "roleCards");
            return Array.from({
                    "length": slots.count
                }, (_, position) => slots.itemAt(position).item).filter(card => card !== null);
        }
        function chipsOf(item) {
            const chips = new Array();
            for (const card of cards(item))
                chips.push(...all(card, Chip));
            return chips;
        }
        // The card of the role at that position, or null where there is none yet.
        function cardAt(item, position) {
            return findChild(item, "roleCards").itemAt(position).item;
        }
        // Scrolls that role's card to the upper edge.
        function see(item, position) {
            const scroll = view(item);
            scroll.contentY += findChild(item, "roleCards").itemAt(position).mapToItem(scroll, 0, 0).y;
            tryVerify(() => cardAt(item, position) !== null);
        }
        function view(item) {
            return findChild(item, "setupView");
        }
        // Where that role's card stands in what is seen.
        function placeOf(item, position) {
            return findChild(item, "roleCards").itemAt(position).mapToItem(view(item), 0, 0).y;
        }
        // Until everything stands where it is to stand.
        function settled(item) {
            laidOut(findChild(item, "showName").parent.parent);
            tryVerify(() => isWhole(item));
        }
        function cardsInView(item) {
            const scroll = view(item);
            return cards(item).filter(card => {
                    const top = card.mapToItem(scroll, 0, 0).y;
                    return top < scroll.height && top + card.height > 0;
                }).length;
        }
        // Whether no place of a chip or card that is seen is left empty.
        function isWhole(item) {
            const scroll = view(item);
            const slots = findChild(item, "roleCards");
            for (let position = 0; position < slots.count; ++position) {
                const slot = slots.itemAt(position);
                const top = slot.mapToItem(scroll, 0, 0).y;
                if (top < scroll.height && top + slot.height > 0) {
                    if (!slot.item)
                        return false;
                    for (const flow of all(slot, FlowChips)) {
                        const from = Math.max(0, -flow.mapToItem(scroll, 0, 0).y);
                        const until = Math.min(flow.height, scroll.height - flow.mapToItem(scroll, 0, 0).y);
                        const chips = all(flow, Chip).sort((one, other) => one.y - other.y);
                        if (until > from && (chips.length === 0 || chips[0].y > from || chips[chips.length - 1].y + chips[0].height + 8 < until))
                            return false;
                    }
                }
            }
            return true;
        }
        function nameOf(card) {
            return all(card, DeskField)[0];
        }
        function test_aToggleTouchesOnlyItsOwnChip() {
            const item = panel(3, 12);
            const flow = all(cards(item)[0], FlowChips)[0];
            const chips = all(item, Chip);
            const tints = chips.map(chip => `${chip.tint}`);
            const pressed = all(flow, Chip)[4];
            pressed.press();
            verify(!desk.role(0).talk.includes("Channel 5"));
            compare(all(item, Chip), chips);
            for (let index = 0; index < chips.length; ++index)
                compare(`${chips[index].tint}` !== tints[index], chips[index] === pressed);
        }
        function test_cardsOfALargeShowComeWithoutMovingWhatIsSeen() {
            const item = panel(64, 32);
            const scroll = view(item);
            heights.target = scroll;
            heights.clear();
            const height = scroll.contentHeight;
            verify(height > 64 * 100);
            verify(cards(item).length < 10, cards(item).length);
            for (const part of [0.5, 0.9, 0.1, 1, 0]) {
                scroll.contentY = Math.round(part * (scroll.contentHeight - scroll.height));
                tryVerify(() => isWhole(item), 5000, `${part}`);
                const chips = chipsOf(item);
                const places = chips.map(chip => chip.mapToItem(scroll, 0, 0).y);
                tryVerify(() => cards(item).length > cardsInView(item));
                verify(cards(item).length < 10, cards(item).length);
                compare(chips.map(chip => chip.mapToItem(scroll, 0, 0).y), places);
            }
            compare(scroll.contentHeight, height);
            compare(heights.count, 0);
        }
        function test_cardsOfManyChipsAreBuiltAsynchronously() {
            const item = panel(64, 64);
            const scroll = view(item);
            scroll.contentY = Math.round(scroll.contentHeight / 2);
            verify(!isWhole(item));
            tryVerify(() => isWhole(item));
        }
        function test_cardsOfFewChipsAreThereAtOnce() {
            const item = panel(64, 4);
            const scroll = view(item);
            for (const part of [0.5, 1, 0]) {
                scroll.contentY = Math.round(part * (scroll.contentHeight - scroll.height));
                verify(isWhole(item), part);
            }
            desk.config.save();
            desk.config.load();
            laidOut(findChild(item, "showName").parent.parent);
            verify(isWhole(item), "after a reload");
        }
        function test_whatIsSeenStaysWhenTheWidthChanges() {
            const item = panel(64, 32);
            see(item, 40);
            const position = view(item).contentY;
            const card = cardAt(item, 40);
            for (const width of [700, 560, 480, 560, 700]) {
                item.width = width;
                settled(item);
                compare(cardAt(item, 40), card);
                fuzzyCompare(placeOf(item, 40), 0, 1);
            }
            verify(view(item).contentY !== position);
            item.width = 820;
            settled(item);
            compare(view(item).contentY, position);
        }
        function test_atItsEndTheShowStaysWithinWhatIsSeen() {
            const item = panel(64, 32);
            const scroll = view(item);
            scroll.contentY = scroll.contentHeight - scroll.height;
            for (const width of [500, 2000, 820]) {
                item.width = width;
                settled(item);
                verify(scroll.contentY <= scroll.contentHeight - scroll.height, width);
            }
        }
        function test_aRestartWarningMovesNothingFromUnderThePointer() {
            const item = panel(12, 8);
            item.serverIsRunning = true;
            see(item, 4);
            const chip = all(cardAt(item, 4), Chip)[3];
            const place = chip.mapToItem(stage, 0, 0);
            mouseClick(chip);
            tryVerify(() => findChild(item, "restartWarning").visible);
            settled(item);
            compare(chip.mapToItem(stage, 0, 0), place);
            verify(desk.config.save());
            tryVerify(() => !findChild(item, "restartWarning").visible);
            settled(item);
            compare(chip.mapToItem(stage, 0, 0), place);
        }
        function test_aRestartWarningIsSeenFromTheVeryTop() {
            const item = panel(12, 8);
            item.serverIsRunning = true;
            desk.config.show = "Gala";
            tryVerify(() => findChild(item, "restartWarning").visible);
            settled(item);
            compare(view(item).contentY, 0);
            compare(findChild(item, "restartWarning").mapToItem(view(item), 0, 0).y, 20);
        }
        function test_aRestartWarningMovesNothingOfTheChannels() {
            const item = panel(12, 8);
            const scroll = view(item);
            const editor = findChild(item, "channelsEditor");
            item.serverIsRunning = true;
            scroll.contentY += editor.mapToItem(scroll, 0, 0).y;
            desk.config.show = "Gala";
            tryVerify(() => findChild(item, "restartWarning").visible);
            settled(item);
            compare(editor.mapToItem(scroll, 0, 0).y, 0);
        }
        function test_shiftAndTabGoFromWhatIsBelowToARoleThatIsNotBuilt() {
            const item = panel(64, 8);
            const add = findChild(item, "addRole");
            add.forceActiveFocus(Qt.TabFocusReason);
            mouseClick(findChild(item, "scrollBar"), 5, 4);
            compare(view(item).contentY, 0);
            desk.config.addRole();
            keyClick(Qt.Key_Backtab, Qt.ShiftModifier);
            verify(all(cardAt(item, 64), Chip).includes(stage.focused));
            compare(stage.focused.Accessible.name, "Channel 8");
        }
        function test_noCardIsBuiltForARoleThatGoes() {
            const item = panel(64, 2);
            let built = 0;
            const slots = findChild(item, "roleCards");
            for (let position = 20; position < 64; ++position)
                slots.itemAt(position).loaded.connect(() => ++built);
            desk.config.load();
            wait(0);
            compare(built, 0);
        }
        function test_aReloadLeavesWhatIsSeen() {
            const item = panel(64, 8);
            verify(desk.config.save());
            see(item, 40);
            const position = view(item).contentY;
            desk.config.load();
            settled(item);
            compare(view(item).contentY, position);
            desk.setLargeShow(2, 8);
            const scroll = view(item);
            tryVerify(() => scroll.contentHeight < position);
            compare(scroll.contentY, scroll.contentHeight - scroll.height);
            tryVerify(() => isWhole(item));
        }
        function test_everyCardIsAsHighAsItsPlace() {
            const item = panel(5, 40);
            see(item, 1);
            for (const name of ["Q", "", "\u00C5\u4E2D\u6587", "\uD83C\uDFAD"]) {
                desk.config.renameRole(desk.role(1), name);
                tryVerify(() => cardAt(item, 1) !== null);
                compare(cardAt(item, 1).implicitHeight, cardAt(item, 0).implicitHeight, name);
            }
            desk.config.addChannel("Another channel with a very long name that takes a row of its own");
            const height = cardAt(item, 0).implicitHeight;
            for (const card of cards(item)) {
                compare(card.implicitHeight, height);
                compare(card.height, height);
            }
            item.width = 500;
            laidOut(findChild(item, "showName").parent.parent);
            verify(cardAt(item, 0).implicitHeight > height);
            for (const card of cards(item))
                compare(card.height, cardAt(item, 0).implicitHeight);
        }
        function test_aReloadMakesNoMoreCardsThanAreNear() {
            const item = panel(64, 8);
            verify(desk.config.save());
            desk.config.load();
            compare(desk.roleCount(), 64);
            laidOut(findChild(item, "showName").parent.parent);
            verify(isWhole(item));
            verify(cards(item).length < 10, cards(item).length);
        }
        function test_tabGoesThroughEverythingInItsOrder() {
            const item = panel(12, 6);
            const card = ["Role name", "Delete role"];
            for (let row = 0; row < 2; ++row)
                for (let number = 1; number <= 6; ++number)
                    card.push(`Channel ${number}`);
            const wanted = ["Show name", "Port", ...card.slice(2, 8), "New channel name"];
            for (let role = 0; role < 12; ++role)
                wanted.push(...card);
            wanted.push("Add Role", "Save Show", "Reload from File");
            const first = findChild(item, "showName");
            for (const way of [Qt.Key_Tab, Qt.Key_Backtab]) {
                const reached = new Array();
                first.forceActiveFocus(Qt.TabFocusReason);
                do {
                    reached.push(stage.focused.Accessible.name);
                    keyClick(way, way === Qt.Key_Tab ? Qt.NoModifier : Qt.ShiftModifier);
                } while (stage.focused !== first && reached.length < 300)
                compare(reached, way === Qt.Key_Tab ? wanted : [wanted[0], ...wanted.slice(1).reverse()]);
            }
        }
        function test_tabGoesOnFromAFocusThatIsFarOutOfSight() {
            const item = panel(40, 30);
            const scroll = view(item);
            see(item, 0);
            const chip = all(all(cardAt(item, 0), FlowChips)[0], Chip)[29];
            chip.forceActiveFocus(Qt.TabFocusReason);
            scroll.contentY = scroll.contentHeight - scroll.height;
            verify(chip.activeFocus);
            keyClick(Qt.Key_Tab);
            compare(stage.focused.Accessible.name, "Channel 1");
            verify(stage.focused !== chip);
            tryVerify(() => isWhole(item));
            see(item, 1);
            const name = nameOf(cardAt(item, 1));
            name.forceActiveFocus(Qt.TabFocusReason);
            scroll.contentY = scroll.contentHeight - scroll.height;
            verify(name.activeFocus);
            typeText("x");
            compare(desk.role(1).name, "Role 2x");
            keyClick(Qt.Key_Backtab, Qt.ShiftModifier);
            compare(stage.focused.Accessible.name, "Channel 30");
        }
        function binOf(item, position) {
            tryVerify(() => cardAt(item, position));
            return all(cardAt(item, position), Pressable)[0];
        }
        function test_theFocusOfADeletedRoleGoesOn() {
            const item = panel(4, 2);
            compare(binOf(item, 1).Accessible.name, "Delete role");
            binOf(item, 1).forceActiveFocus(Qt.TabFocusReason);
            pressKey(item, Qt.Key_Space);
            compare(desk.roleCount(), 3);
            verify(binOf(item, 1).activeFocus);
            compare(nameOf(cardAt(item, 1)).text, "Role 3");
            // The last one's goes to the one before, and that of the only one to the button that adds.
            binOf(item, 2).forceActiveFocus(Qt.TabFocusReason);
            pressKey(item, Qt.Key_Space);
            verify(binOf(item, 1).activeFocus);
            pressKey(item, Qt.Key_Space);
            verify(binOf(item, 0).activeFocus);
            pressKey(item, Qt.Key_Space);
            compare(desk.roleCount(), 0);
            verify(findChild(item, "addRole").activeFocus);
        }
        function test_aRoleDeletedByPointerLeavesNoCaret() {
            const item = panel(3, 2);
            mouseClick(binOf(item, 0));
            typeText("q");
            compare([desk.role(0).name, desk.role(1).name], ["Role 2", "Role 3"]);
            // Nor does one whose own name was being typed.
            mouseClick(nameOf(cardAt(item, 0)));
            mouseClick(binOf(item, 0));
            verify(binOf(item, 0).activeFocus);
            typeText("q");
            compare(desk.role(0).name, "Role 3");
        }
        function test_aReloadLeavesTheFocusAmongTheRoles() {
            const item = panel(9, 2);
            desk.config.save();
            see(item, 7);
            nameOf(cardAt(item, 7)).forceActiveFocus(Qt.TabFocusReason);
            desk.config.load();
            verify(nameOf(cardAt(item, 7)).activeFocus, "the same role");
            desk.config.renameRole(desk.role(7), "Fly");
            desk.config.load();
            verify(nameOf(cardAt(item, 7)).activeFocus, "the same role, its new name undone");
            desk.config.removeRole(desk.role(0));
            verify(nameOf(cardAt(item, 6)).activeFocus);
            desk.config.load();
            verify(binOf(item, 6).activeFocus, "another role");
        }
        function test_theFocusOfARemovedChannelGoesOn() {
            const item = panel(1, 3);
            const editor = findChild(item, "channelsEditor");
            labelled(editor, Chip, "Channel 2").forceActiveFocus(Qt.TabFocusReason);
            pressKey(item, Qt.Key_Space);
            verify(labelled(editor, Chip, "Channel 3").activeFocus);
            // By pointer, too.
            clickChip(labelled(editor, Chip, "Channel 3"));
            verify(labelled(editor, Chip, "Channel 1").activeFocus);
            pressKey(item, Qt.Key_Space);
            compare(desk.config.channels.join(), "");
            compare(stage.focused.Accessible.name, "New channel name");
            // The role's own last chip hands its focus on within the card.
            desk.config.channels = ["Main"];
            all(cardAt(item, 0), Chip)[0].forceActiveFocus(Qt.TabFocusReason);
            desk.config.removeChannel("Main");
            verify(binOf(item, 0).activeFocus);
        }

        name: "LargeShow"
    }
}
