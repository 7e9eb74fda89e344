import QtQuick
import Wingbell.Look
import Wingbell.Panels
import Wingbell.Testing

Item {
    height: 1600
    width: 700

    Component {
        id: cardsComponent

        Column {
            id: cards

            required property ShowConfig config

            spacing: 12
            width: 660

            Repeater {
                delegate: RoleCard {
                    width: parent?.width ?? 0
                }
                model: RoleListModel {
                    config: cards.config
                }
            }
        }
    }
    Component {
        id: cardComponent

        RoleCard {
            width: 660
        }
    }
    PanelTestCase {
        function bin(card) {
            return all(card, Symbol).filter(symbol => symbol.name === "trash.fill")[0];
        }
        function cards() {
            const column = open(cardsComponent, {
                    "config": desk.config
                });
            return () => all(column, RoleCard);
        }
        function chips(card, title) {
            const row = all(card, PatchRow).filter(candidate => candidate.title === title)[0];
            return all(row, Chip);
        }
        function chip(card, title, name) {
            return chips(card, title).filter(candidate => candidate.name === name)[0];
        }
        function lit(card, title) {
            return chips(card, title).filter(candidate => candidate.selected).map(candidate => candidate.name).join();
        }
        function field(card) {
            return all(card, DeskField)[0];
        }
        function patch(card, title) {
            return all(card, PatchRow).filter(row => row.title === title)[0];
        }
        function test_aCardKeepsItsObjectWhenOthersComeAndGo() {
            const shown = cards();
            const before = shown();
            desk.config.addRole();
            compare(shown().slice(0, 6), before);
            compare(shown().length, 7);
            desk.config.removeRole(desk.role(0));
            compare(shown().slice(0, 5), before.slice(1));
            tryCompare(before[1], "y", 0);
        }
        function test_aChipIsLitWhileItsChannelIsChosen() {
            const card = cards()()[5];
            const dark = chip(card, "TALKS ON", "Tech");
            compareColors(dark.tint, Theme.steelDeep);
            compareColors(dark.textColor, Theme.faded("white", 0.6));
            clickChip(dark);
            compare(desk.role(5).talk.join(), "Tech");
            verify(desk.config.hasUnsavedChanges);
            // The chip itself turns gold: it is not another one.
            compareColors(dark.tint, Theme.gold);
            compareColors(dark.textColor, Qt.color("black"));
            clickChip(dark);
            compare(desk.role(5).talk.join(), "");
            compareColors(dark.tint, Theme.steelDeep);
            compare(desk.role(5).listen.join(), "Main,Tech,Backstage");
        }
        function test_aChannelThatIsNotOfTheShowHasNoChip() {
            desk.writeShow('{"show": "S", "channels": ["Main"], "roles": [{"name": "A", "talk": ["Lost", "Main"], "listen": ["Lost"]}]}');
            desk.config.load();
            const card = cards()()[0];
            compare(chips(card, "TALKS ON").map(item => item.name), ["Main"]);
            compare(lit(card, "TALKS ON"), "Main");
            compare(lit(card, "LISTENS ON"), "");
            clickChip(chips(card, "TALKS ON")[0]);
            compare(desk.role(0).talk.join(), "Lost");
        }
        function test_aDeletedRoleIsGoneAtOnce() {
            const shown = cards();
            const second = shown()[1];
            mouseClick(bin(shown()[0]));
            compare(desk.roleCount(), 5);
            compare(desk.role(0).name, "Lighting");
            compare(shown().length, 5);
            compare(shown()[0], second);
            verify(desk.config.hasUnsavedChanges);
        }
        function test_aNameIsStoredWithEveryKey() {
            const card = cards()()[1];
            const name = field(card);
            mouseClick(name);
            keyClick(Qt.Key_End);
            let wanted = "Lighting";
            for (const key of " 2") {
                keyClick(key);
                wanted += key;
                compare(desk.role(1).name, wanted);
                verify(desk.config.hasUnsavedChanges);
                verify(name.activeFocus);
                compare(name.text, wanted);
            }
        }
        function test_aRoleOfNoNameShowsThePlaceholder() {
            const card = cards()()[0];
            const placeholder = labelled(card, Text, "Role name");
            verify(!placeholder.visible);
            selectAllOf(field(card));
            keyClick(Qt.Key_Delete);
            compare(desk.role(0).name, "");
            verify(desk.config.hasUnsavedChanges);
            verify(placeholder.visible);
            verify(field(card).activeFocus);
        }
        function test_aShowWithoutChannelsLeavesTheLabels() {
            desk.config.channels = [];
            const card = cards()()[0];
            compare(all(card, Chip).length, 0);
            for (const title of ["TALKS ON", "LISTENS ON"]) {
                verify(labelled(card, Text, title).visible);
                const row = all(patch(card, title), FlowChips)[0];
                laidOut(row);
                compare(row.height, 0);
            }
        }
        function test_aStaleCardChangesNothing() {
            const card = open(cardComponent, {
                    "config": desk.config,
                    "role": desk.role(0)
                });
            desk.config.removeRole(desk.role(0));
            desk.config.hasUnsavedChanges = false;
            const before = JSON.stringify([desk.role(0).name, desk.role(0).talk.join(), desk.role(0).listen.join()]);
            mouseClick(field(card));
            typeText("x");
            clickChip(chips(card, "TALKS ON")[0]);
            clickChip(chips(card, "LISTENS ON")[0]);
            compare(JSON.stringify([desk.role(0).name, desk.role(0).talk.join(), desk.role(0).listen.join()]), before);
            compare(desk.roleCount(), 5);
            verify(!desk.config.hasUnsavedChanges);
        }
        function test_theCardHasItsMeasures() {
            const card = cards()()[0];
            const rows = patch(card, "TALKS ON").parent;
            compare(rows.spacing, 10);
            compare(places([rows], card), [`14,14 632x${card.height - 28}`]);
            compare(all(card, SteelPanelBackground)[0].cornerRadius, 10);
            const middle = (card.height - 10) / 2;
            const bolts = all(card, HexBolt);
            compare(bolts.map(bolt => bolt.width), [10, 10]);
            compare(bolts.map(bolt => bolt.mapToItem(card, 0, 0).x), [6, 660 - 16]);
            for (const bolt of bolts)
                fuzzyCompare(bolt.y, middle, 0.5);
            compareColors(bin(card).color, Theme.live);
            compare(bin(card).mapToItem(card, bin(card).width, 0).x, 660 - 14);
        }
        function test_theCardFollowsTheWidth() {
            const shown = cards();
            const card = shown()[0];
            laidOut(all(card, FlowChips)[0]);
            const wide = card.implicitHeight;
            card.width = 160;
            tryVerify(() => card.implicitHeight > wide);
            const flow = all(card, FlowChips)[1];
            laidOut(flow);
            for (const item of all(card, Chip))
                verify(item.mapToItem(card, item.width, 0).x <= 160 - 14 + 0.01, item.name);
            const last = chips(card, "LISTENS ON")[3];
            tryCompare(card, "implicitHeight", last.mapToItem(card, 0, last.height).y + 14);
        }
        function test_theCaretStaysWhereItTypes() {
            const card = cards()()[2];
            const name = field(card);
            mouseClick(name);
            name.cursorPosition = 2;
            typeText("xyz");
            compare(desk.role(2).name, "Soxyzund");
            compare(name.text, "Soxyzund");
            compare(name.cursorPosition, 5);
            keyClick(Qt.Key_Backspace);
            keyClick(Qt.Key_Backspace);
            compare(desk.role(2).name, "Soxund");
            compare(name.cursorPosition, 3);
        }
        function test_theCardStaysWhileItsNameIsTyped() {
            const shown = cards();
            const before = shown();
            mouseClick(field(before[2]));
            typeText("abc");
            compare(shown(), before);
            verify(field(before[2]).activeFocus);
        }
        function test_theDirectorHearsThreeChannelsAndTalksOnNone() {
            const card = cards()()[5];
            compare(field(card).text, "Director (listen only)");
            const everything = ["Main", "Tech", "Backstage", "Green Room"];
            compare(chips(card, "TALKS ON").map(item => item.name), everything);
            compare(chips(card, "LISTENS ON").map(item => item.name), everything);
            for (const item of chips(card, "TALKS ON"))
                compareColors(item.tint, Theme.steelDeep);
            compare(chips(card, "LISTENS ON").map(item => Qt.colorEqual(item.tint, Theme.gold)), [true, true, true, false]);
            compareColors(chip(card, "LISTENS ON", "Green Room").tint, Theme.steelDeep);
        }
        function test_theListenRowChangesWhatIsHeard() {
            const card = cards()()[5];
            clickChip(chip(card, "LISTENS ON", "Main"));
            compare(desk.role(5).listen.join(), "Tech,Backstage");
            clickChip(chip(card, "LISTENS ON", "Green Room"));
            compare(desk.role(5).listen.join(), "Tech,Backstage,Green Room");
            compare(desk.role(5).talk.join(), "");
            compare(lit(card, "LISTENS ON"), "Tech,Backstage,Green Room");
        }
        function test_theRowsNameTheirSymbols() {
            const card = cards()()[0];
            const symbols = {
                "TALKS ON": "mic.fill",
                "LISTENS ON": "headphones"
            };
            for (const title in symbols) {
                const row = patch(card, title);
                compare(row.spacing, 4);
                compare(all(row, Symbol).map(symbol => symbol.name), [symbols[title]]);
                const label = labelled(row, Text, title);
                compare(label.font.pixelSize, 10);
                verify(label.font.bold);
                compareColors(label.color, Theme.faded("white", 0.6));
            }
        }

        name: "RoleCard"
    }
}
