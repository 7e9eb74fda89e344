import QtQuick
import Wingbell.Look
import Wingbell.Panels
import Wingbell.Testing

Item {
    height: 1100
    width: 820

    Component {
        id: panelComponent

        ShowSetupPanel {
            height: 1100
            serverIsRunning: false
            width: 820
        }
    }
    Timer {
        id: aSecond

        interval: 1000
    }
    Timer {
        id: aMoment // that ends between the first press's end and the second's

        interval: 1100
    }
    PanelTestCase {
        readonly property string twoRoles: '{"show": "Recital", "channels": ["Main"], "oscPort": 47000, "roles": [{"name": "A", "talk": [], "listen": []}, {"name": "B", "talk": [], "listen": []}]}'

        function addRole(item) {
            return findChild(item, "addRole");
        }
        function labels(item) {
            return all(item, Text).filter(text => text.visible && text.text !== "").map(text => text.text);
        }
        // A panel over a show of two roles, loaded and unchanged.
        function panel(properties) {
            desk.writeShow(twoRoles);
            desk.config.load();
            const item = open(panelComponent, Object.assign({
                        "config": desk.config
                    }, properties));
            laidOut(findChild(item, "showName").parent.parent);
            verify(!desk.config.hasUnsavedChanges);
            return item;
        }
        function port(item) {
            return findChild(item, "port");
        }
        function reload(item) {
            mouseClick(findChild(item, "reload"));
        }
        function save(item) {
            return findChild(item, "save");
        }
        // Puts the text where the field's was, key by key.
        function typeInstead(field, text) {
            selectAllOf(field);
            if (text === "")
                keyClick(Qt.Key_Delete);
            typeText(text);
        }
        // Rows of test data: what is typed and which port is stored then.
        function typedPorts(pairs) {
            return pairs.map(pair => ({
                            "tag": `'${pair[0]}'`,
                            "text": pair[0],
                            "port": pair[1]
                        }));
        }
        function warning(item) {
            return findChild(item, "restartWarning");
        }
        function test_aFailingSaveStillSaysSaved() {
            const item = panel({
                    "serverIsRunning": true
                });
            desk.makeSavingFail();
            desk.config.addRole();
            mouseClick(save(item));
            compare(save(item).text, "Saved \u2713");
            verify(desk.config.hasUnsavedChanges);
            verify(warning(item).visible);
            tryCompare(save(item), "text", "Save Show");
            verify(desk.config.hasUnsavedChanges);
        }
        function test_aNameIsStoredWithEveryKey() {
            const item = panel();
            const field = findChild(item, "showName");
            mouseClick(field);
            keyClick(Qt.Key_End);
            keyClick("!");
            compare(desk.config.show, "Recital!");
            tryVerify(() => desk.config.hasUnsavedChanges);
            field.cursorPosition = 1;
            typeText("xy");
            compare(desk.config.show, "Rxyecital!");
            compare(field.text, "Rxyecital!");
            compare(field.cursorPosition, 3);
            verify(field.activeFocus);
        }
        function test_aNamedShowClearedShowsThePlaceholder() {
            const item = panel();
            const placeholder = labelled(item, Text, "e.g. Fall Recital");
            verify(!placeholder.visible);
            typeInstead(findChild(item, "showName"), "");
            compare(desk.config.show, "");
            verify(placeholder.visible);
        }
        function test_aPortIsStored_data() {
            return typedPorts([["8000", 8000], ["65535", 65535], ["1", 1], ["+8000", 8000], ["00080", 80], ["047000", 47000]]);
        }
        function test_aPortIsStored(data) {
            const item = panel();
            typeInstead(port(item), data.text);
            keyClick(Qt.Key_Return);
            compare(desk.config.oscPort, data.port);
            verify(desk.config.hasUnsavedChanges);
            compare(port(item).text, `${data.port}`);
        }
        function test_aPortIsStoredOnceItIsCommitted_data() {
            return eachOf(["Return", "Enter", "Tab", "a press on Save Show", "an edit elsewhere", "the server's start"]);
        }
        function test_aPortIsStoredOnceItIsCommitted(data) {
            const item = panel();
            const field = port(item);
            selectAllOf(field);
            keyClick(Qt.Key_Backspace);
            for (const key of "08123") {
                keyClick(key);
                compare(desk.config.oscPort, 47000);
                verify(!desk.config.hasUnsavedChanges);
            }
            compare(field.text, "08123");
            switch (data.value) {
            case "Return":
                keyClick(Qt.Key_Return);
                break;
            case "Enter":
                keyClick(Qt.Key_Enter);
                break;
            case "Tab":
                keyClick(Qt.Key_Tab);
                break;
            case "a press on Save Show":
                save(item).press();
                compare(JSON.parse(desk.savedShow()).oscPort, 8123);
                break;
            case "an edit elsewhere":
                desk.config.addRole();
                break;
            case "the server's start":
                item.serverIsRunning = true;
                break;
            }
            compare(desk.config.oscPort, 8123);
            compare(desk.config.hasUnsavedChanges, data.value !== "a press on Save Show");
            compare(field.text, "8123");
        }
        function test_aPastedPortIsStoredAsATypedOne() {
            const item = panel();
            typeInstead(findChild(item, "showName"), " 8000");
            keyClick(Qt.Key_A, Qt.ControlModifier);
            keyClick(Qt.Key_C, Qt.ControlModifier);
            selectAllOf(port(item));
            keyClick(Qt.Key_V, Qt.ControlModifier);
            keyClick(Qt.Key_Return);
            compare([desk.config.oscPort, port(item).text], [47000, " 8000"]);
            keyClick(Qt.Key_Home);
            keyClick(Qt.Key_Delete);
            keyClick(Qt.Key_Return);
            compare(desk.config.oscPort, 8000);
        }
        function test_theStoredPortTypedOnceMoreMarksAnEdit_data() {
            return eachOf([Qt.Key_Return, Qt.Key_Tab]);
        }
        function test_theStoredPortTypedOnceMoreMarksAnEdit(data) {
            const item = panel();
            typeInstead(port(item), "47000");
            verify(!desk.config.hasUnsavedChanges);
            keyClick(data.value);
            verify(desk.config.hasUnsavedChanges);
        }
        function test_aPortThatWasOnlyLookedAtMarksNothing() {
            const item = panel();
            mouseClick(port(item));
            keyClick(Qt.Key_Right);
            keyClick(Qt.Key_Return);
            keyClick(Qt.Key_Tab);
            save(item).press();
            findChild(item, "reload").press();
            verify(!desk.config.hasUnsavedChanges);
            compare(desk.config.oscPort, 47000);
        }
        function test_theMenuOfAnIgnoredPortLeavesItsText() {
            const item = panel();
            const field = port(item);
            typeInstead(field, "65536");
            mouseClick(field, 20, 10, Qt.RightButton);
            tryVerify(() => !field.activeFocus);
            compare(field.text, "65536");
            keyClick(Qt.Key_Escape);
            tryVerify(() => field.activeFocus);
            compare(field.text, "65536");
        }
        function test_aReloadDropsAPortThatIsBeingTyped() {
            const item = panel();
            typeInstead(port(item), "8000");
            findChild(item, "reload").press();
            compare([desk.config.oscPort, port(item).text], [47000, "47000"]);
            verify(!desk.config.hasUnsavedChanges);
        }
        function test_aReloadDiscardsEditsWithoutAsking() {
            const item = panel();
            desk.config.addRole();
            desk.config.addChannel("Pit");
            desk.config.oscPort = 1234;
            compare(all(item, RoleCard).length, 3);
            reload(item);
            compare(all(item, RoleCard).length, 2);
            compare(desk.config.channels.join(), "Main");
            compare(port(item).text, "47000");
            wait(0);
            verify(!desk.config.hasUnsavedChanges);
        }
        function test_aReloadShowsTheStoredPortAgain() {
            const item = panel();
            // Nothing else changes with the reload of a show without roles.
            desk.writeShow(twoRoles.replace(/"roles": .*/, '"roles": []}'));
            desk.config.load();
            typeInstead(port(item), "x");
            compare(port(item).text, "x");
            reload(item);
            compare(port(item).text, "47000");
        }
        function test_aReloadThatBringsAnotherNameEndsUnsaved() {
            const item = panel();
            desk.writeShow(twoRoles.replace("Recital", "Matinee"));
            reload(item);
            compare(findChild(item, "showName").text, "Matinee");
            tryVerify(() => desk.config.hasUnsavedChanges);
        }
        function test_aReloadThatKeepsTheNameEndsSaved() {
            const item = panel();
            desk.config.addRole();
            desk.writeShow(twoRoles.replace("47000", "1234"));
            reload(item);
            compare(port(item).text, "1234");
            wait(0);
            verify(!desk.config.hasUnsavedChanges);
        }
        function test_aSaveWritesTheFile() {
            const item = panel({
                    "serverIsRunning": true
                });
            typeInstead(findChild(item, "showName"), "Premiere");
            tryVerify(() => warning(item).visible);
            mouseClick(save(item));
            compare(JSON.parse(desk.savedShow()).show, "Premiere");
            verify(!desk.config.hasUnsavedChanges);
            verify(!warning(item).visible);
            compare(save(item).text, "Saved \u2713");
            tryCompare(save(item), "text", "Save Show");
        }
        function test_aSaveShowsTheStoredPortAgain() {
            const item = panel();
            typeInstead(port(item), "x");
            mouseClick(save(item));
            compare(port(item).text, "47000");
        }
        function test_addRoleAppendsACard() {
            const item = panel();
            const before = all(item, RoleCard);
            mouseClick(addRole(item));
            compare(desk.role(2).name, "New Role");
            compare(all(item, RoleCard).slice(0, 2), before);
            compare(all(item, RoleCard).length, 3);
            verify(desk.config.hasUnsavedChanges);
        }
        function test_anEarlierPressEndsALaterPressesFeedback() {
            const item = panel();
            const button = save(item);
            mouseClick(button);
            aSecond.restart();
            tryVerify(() => !aSecond.running);
            mouseClick(button);
            aMoment.restart();
            compare(button.text, "Saved \u2713");
            let wasEarly = false;
            button.textChanged.connect(() => wasEarly = aMoment.running);
            tryCompare(button, "text", "Save Show");
            verify(wasEarly);
            // The end that the second press has set itself changes nothing any more.
            aMoment.restart();
            tryVerify(() => !aMoment.running);
            compare(button.text, "Save Show");
        }
        function test_anIgnoredPortStaysUntilTheNextChange_data() {
            return typedPorts([["", 47000], ["0", 47000], ["-1", 47000], ["x", 47000], ["+", 47000], [" 47000", 47000], ["65536", 47000], ["47000 ", 47000], ["4.7e4", 47000], ["47,000", 47000], ["99999999999999999999", 47000]]);
        }
        function test_anIgnoredPortStaysUntilTheNextChange(data) {
            const item = panel();
            typeInstead(port(item), data.text);
            keyClick(Qt.Key_Return);
            compare(desk.config.oscPort, data.port);
            compare(port(item).text, data.text);
            verify(!desk.config.hasUnsavedChanges);
            desk.config.addRole();
            compare(port(item).text, `${data.port}`);
        }
        function test_anIgnoredPortGoesWithTheNextRebuild_data() {
            return eachOf(["focus", "save", "reload", "start", "stop", "name", "channel"]);
        }
        function test_anIgnoredPortGoesWithTheNextRebuild(data) {
            const item = panel({
                    "serverIsRunning": data.value === "stop"
                });
            typeInstead(port(item), "65536");
            keyClick(Qt.Key_Return);
            compare(port(item).text, "65536");
            switch (data.value) {
            case "focus":
                keyClick(Qt.Key_Tab);
                break;
            case "save":
                save(item).press();
                break;
            case "reload":
                findChild(item, "reload").press();
                break;
            case "start":
            case "stop":
                item.serverIsRunning = !item.serverIsRunning;
                break;
            case "name":
                desk.config.show = "Gala";
                break;
            case "channel":
                desk.config.channels = [];
                break;
            }
            compare(port(item).text, "47000");
            compare(desk.config.oscPort, 47000);
        }
        function test_anyEditBringsTheWarning_data() {
            return [{
                    "tag": "name"
                }, {
                    "tag": "port"
                }, {
                    "tag": "channel"
                }, {
                    "tag": "role"
                }, {
                    "tag": "rename"
                }, {
                    "tag": "chip"
                }];
        }
        function test_anyEditBringsTheWarning(data) {
            const item = panel({
                    "serverIsRunning": true
                });
            verify(!warning(item).visible);
            switch (data.tag) {
            case "name":
                typeInstead(findChild(item, "showName"), "x");
                break;
            case "port":
                typeInstead(port(item), "47000");
                keyClick(Qt.Key_Return);
                break;
            case "channel":
                clickChip(all(findChild(item, "channelsEditor"), Chip)[0]);
                break;
            case "role":
                mouseClick(addRole(item));
                break;
            case "rename":
                typeInstead(all(all(item, RoleCard)[0], DeskField)[0], "x");
                break;
            case "chip":
                clickChip(all(all(item, RoleCard)[0], Chip)[0]);
                break;
            }
            tryVerify(() => warning(item).visible);
        }
        function test_anEmptyShowHasOnlyAddRoleUnderRoles() {
            const item = panel();
            desk.writeShow(twoRoles.replace(/"roles": .*/, '"roles": []}'));
            desk.config.load();
            compare(all(item, RoleCard).length, 0);
            const section = all(item, SetupSection).filter(candidate => candidate.title === "ROLES")[0];
            compare(labels(section), ["ROLES", "Add Role"]);
            mouseClick(addRole(item));
            compare(all(item, RoleCard).length, 1);
        }
        function test_everyControlStaysEnabled_data() {
            const rows = [];
            for (const running of [false, true]) {
                for (const unsaved of [false, true]) {
                    rows.push({
                            "tag": `${running ? "running" : "stopped"}, ${unsaved ? "unsaved" : "saved"}`,
                            "running": running,
                            "unsaved": unsaved
                        });
                }
            }
            return rows;
        }
        function test_everyControlStaysEnabled(data) {
            const item = panel({
                    "serverIsRunning": data.running
                });
            desk.config.hasUnsavedChanges = data.unsaved;
            const controls = [...all(item, Pressable), ...all(item, DeskField)];
            verify(controls.length > 10);
            for (const control of controls) {
                if (control.text !== "Add")
                    verify(control.enabled, control.text ?? control.objectName);
            }
        }
        function test_placeholdersCanBeRead() {
            const item = panel();
            const fields = all(item, DeskField);
            compare(fields.length, 5);
            for (const field of fields) {
                // A role's name has the card's steel for a plate, at most as light as at the top.
                const plate = field.plateColor.a > 0 ? field.plateColor : Theme.steelDark;
                const placeholder = labelled(field, Text, field.placeholderText);
                const ratio = contrast(over(placeholder.color, plate), plate);
                verify(ratio >= 4.5, `${field.placeholderText}: ${ratio}`);
            }
        }
        function test_buttonsAreOfOneHeight() {
            const heights = all(panel(), DeskButton).map(button => button.height);
            compare(heights, [28, 28, 28]);
        }
        function test_savesFeedbackKeepsTheButtonsPlace() {
            const item = panel();
            const button = save(item);
            compare(button.width, 120 + 24, "room for 120 of text");
            const width = button.width;
            const neighbour = findChild(item, "reload").x;
            mouseClick(button);
            compare(button.text, "Saved \u2713");
            compare(button.width, width);
            compare(findChild(item, "reload").x, neighbour);
        }
        function test_theNewChannelsNameSurvivesOtherEdits() {
            const item = panel();
            const field = all(findChild(item, "channelsEditor"), DeskField)[0];
            mouseClick(field);
            typeText("Pi");
            desk.config.addRole();
            reload(item);
            compare(field.text, "Pi");
        }
        function test_thePanelShowsItsSections() {
            const item = panel();
            compare(all(item, SetupSection).map(section => section.title), ["SHOW NAME", "OSC (QLab)", "CHANNELS", "ROLES"]);
            for (const section of all(item, SetupSection)) {
                const title = labelled(section, Text, section.title);
                compare(section.x, 0);
                compare(section.mapToItem(item, 0, 0).x, 20);
                compare(section.width, 780);
                compare(section.spacing, 8);
                compare(title.font.pixelSize, 11);
                compare(title.font.letterSpacing, 1.5);
                compareColors(title.color, Theme.faded(Theme.gold, 0.85));
            }
            compare(all(item, SetupSection)[0].mapToItem(item, 0, 0).y, 20);
            compare(findChild(item, "showName").width, 780);
            compare(port(item).width, 100);
            labelled(item, Text, "Point a QLab Network (OSC) cue at this Mac's IP and this port. Address /wingbell/say (or /wingbell/say/ChannelName) with a string argument speaks it into the intercom.");
        }
        function test_theShowStandsOnWholePointsWhereverItIsScrolled() {
            const item = panel({
                    "height": 333
                });
            const view = findChild(item, "setupView");
            const bar = findChild(item, "scrollBar");
            for (let y = 10; y < 330; y += 37) {
                mouseClick(bar, 5, y);
                compare(view.contentY, Math.round(view.contentY));
            }
            verify(view.contentY > 100);
        }
        function test_theWholeBarStandsClearOfTheWindowsEdge() {
            const item = panel({
                    "height": 333
                });
            const view = findChild(item, "setupView");
            const bar = findChild(item, "scrollBar");
            const handle = bar.children[0];
            const windowEdge = 5;
            const left = handle.mapToItem(item, -2, 0).x;
            compare(left + 10, item.width - windowEdge);
            for (let x = left; x < item.width; ++x) {
                view.contentY = 0;
                mouseClick(item, x, 300);
                verify(view.contentY > 100, x);
            }
        }
        function test_theWheelScrollsWithinTheShow() {
            const item = panel({
                    "height": 300
                });
            const view = findChild(item, "setupView");
            const end = view.contentHeight - 300;
            verify(end > 200);
            mouseWheel(item, 400, 250, 0, -120);
            compare(view.contentY, 60);
            mouseWheel(item, 400, 250, 0, 120);
            mouseWheel(item, 400, 250, 0, 120);
            compare(view.contentY, 0);
            for (let turn = 0; turn < 30; ++turn)
                mouseWheel(item, 400, 250, 0, -120);
            compare(view.contentY, end);
        }
        function test_theWarningNeedsARunningServerAndEdits() {
            const item = panel();
            verify(!warning(item).visible);
            desk.config.addRole();
            verify(!warning(item).visible);
            item.serverIsRunning = true;
            verify(warning(item).visible);
            compare(warning(item).width, 780);
            verify(labels(item).includes("Changes won't reach the show until you stop and restart the server."));
            item.serverIsRunning = false;
            verify(!warning(item).visible);
            item.serverIsRunning = true;
            verify(desk.config.save());
            verify(!warning(item).visible);
        }

        name: "ShowSetupPanel"
    }
}
