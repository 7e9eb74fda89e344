import QtQuick
import Wingbell.Look
import Wingbell.Panels
import Wingbell.Testing

Item {
    height: 420
    width: 400

    Component {
        id: lampComponent

        StatusLamp {
        }
    }
    Component {
        id: rockerComponent

        RockerSwitch {
        }
    }
    // A switch on a light ground, with room for its shadow.
    Component {
        id: groundComponent

        Rectangle {
            property alias isBusy: rocker.isBusy
            property alias isOn: rocker.isOn

            color: "white"
            height: 80
            width: 180

            RockerSwitch {
                id: rocker

                anchors.centerIn: parent
                isBusy: false
                isOn: false
            }
        }
    }
    Component {
        id: panelComponent

        PowerPanel {
            height: 300
            showFile: "/Users/Shared/Wingbell/roles.json"
            width: implicitWidth
        }
    }
    PanelTestCase {
        id: test

        function lamp(properties) {
            const item = open(lampComponent, properties);
            return {
                "light": findChild(item, "light"),
                "caption": findChild(item, "caption")
            };
        }
        function panel(properties) {
            return open(panelComponent, Object.assign({
                        "server": desk.server
                    }, properties));
        }
        function panelLooks(item, state) {
            const rocker = findChild(item, "rocker");
            const on = state === "ON AIR";
            compare(findChild(item, "caption").text, state);
            compare(rocker.isOn, on);
            compare(rocker.enabled, state !== "STARTING");
            compare(rocker.opacity, state === "STARTING" ? 0.6 : 1);
            compare(all(rocker, RockerPlate)[0].isOn, on);
        }
        function test_aFailedLaunchEndsStoppedAndEnabled_data() {
            return [{
                    "tag": "no server"
                }, {
                    "tag": "no program"
                }];
        }
        function test_aFailedLaunchEndsStoppedAndEnabled(data) {
            if (data.tag === "no program")
                desk.serverIsNoProgram();
            const item = panel();
            const rocker = findChild(item, "rocker");
            mouseClick(rocker);
            compare(desk.server.logLines.length, 1);
            panelLooks(item, "STOPPED");
            // And the next press launches.
            desk.serverIs("silent");
            mouseClick(rocker);
            panelLooks(item, "STARTING");
        }
        function test_aLongPathLosesItsBeginning() {
            const whole = "/Users/" + "a very long name of a folder/".repeat(6) + "roles.json";
            const path = findChild(panel({
                        "showFile": whole
                    }), "path");
            compare(path.lineCount, 2);
            verify(!path.truncated);
            verify(path.text.startsWith("\u2026"), path.text);
            verify(path.text.endsWith("/roles.json"), path.text);
            verify(whole.endsWith(path.text.slice(1)));
        }
        function test_aMousePressStartsAndStops() {
            desk.serverIs("graceful");
            const item = panel();
            const rocker = findChild(item, "rocker");
            mouseClick(rocker);
            tryVerify(() => desk.server.isRunning);
            panelLooks(item, "ON AIR");
            mouseClick(rocker);
            // Running until the end of the server has been seen.
            panelLooks(item, "ON AIR");
            tryVerify(() => !desk.server.isRunning);
            panelLooks(item, "STOPPED");
            compare(desk.sleepCalls().join(), "inhibit,release");
        }
        function test_aStartIsToldBeforeItBegins() {
            desk.serverIs("graceful");
            const item = panel();
            const told = [];
            item.aboutToStart.connect(() => told.push(desk.server.isStarting));
            const rocker = findChild(item, "rocker");
            mouseClick(rocker);
            tryVerify(() => desk.server.isRunning);
            mouseClick(rocker);
            tryVerify(() => !desk.server.isRunning);
            compare(told, [false]);
        }
        function test_aPressThatLeavesTheSwitchDoesNothing() {
            desk.serverIs("silent");
            const rocker = findChild(panel(), "rocker");
            mousePress(rocker);
            mouseMove(rocker, 75, 100);
            mouseRelease(rocker, 75, 100);
            compare(desk.serverCount(), 0);
        }
        function test_aShownPathIsTheShowFiles() {
            const item = panel();
            compare(findChild(item, "path").text, "/Users/Shared/Wingbell/roles.json");
            labelled(item, Text, "SHOW FILE");
            labelled(item, Text, "Reveal in Finder");
        }
        function test_aTallColumnStaysCentred_data() {
            return [{
                    "tag": "strip",
                    "height": 180
                }, {
                    "tag": "low",
                    "height": 120
                }];
        }
        function test_aTallColumnStaysCentred(data) {
            const item = panel({
                    "height": data.height
                });
            const column = findChild(item, "column");
            verify(column.height > item.height - 32);
            compare(column.y, item.height - column.y - column.height);
        }
        function test_aKeyStartsAndStops_data() {
            return [{
                    "tag": "Space",
                    "key": Qt.Key_Space
                }, {
                    "tag": "Return",
                    "key": Qt.Key_Return
                }, {
                    "tag": "Enter",
                    "key": Qt.Key_Enter
                }];
        }
        function test_aKeyStartsAndStops(data) {
            desk.serverIs("graceful");
            const rocker = findChild(panel(), "rocker");
            rocker.forceActiveFocus(Qt.TabFocusReason);
            pressKey(rocker, data.key);
            tryVerify(() => desk.server.isRunning);
            // The switch could not be used for a moment, and has kept the focus all the same.
            pressKey(rocker, data.key);
            tryVerify(() => !desk.server.isRunning);
            compare(desk.server.logLines.slice(-2).join(" "), "\u25A0 Stopping\u2026 \u25A0 Server stopped.");
        }
        function test_aColumnWithRoomStandsAtTheTop() {
            const item = panel();
            const column = findChild(item, "column");
            compare(item.implicitWidth, 230);
            compare(column.x, 16);
            compare(column.y, 16);
            compare(column.width, 198);
            compare(column.spacing, 18);
        }
        function test_aSilentServerCannotBeStoppedFromThePanel() {
            desk.serverIs("silent");
            const item = panel();
            const rocker = findChild(item, "rocker");
            mouseClick(rocker);
            panelLooks(item, "STARTING");
            const log = desk.server.logLines.join();
            mouseClick(rocker);
            rocker.forceActiveFocus();
            for (const key of [Qt.Key_Space, Qt.Key_Return, Qt.Key_Enter])
                keyClick(key);
            compare(desk.server.logLines.join(), log);
            compare(desk.serverCount(), 1);
            panelLooks(item, "STARTING");
            desk.killServers();
            tryVerify(() => !desk.server.isStarting);
            panelLooks(item, "STOPPED");
        }
        function test_aStartSavesNothing() {
            desk.serverIs("hello");
            desk.config.addChannel("Pit");
            mouseClick(findChild(panel(), "rocker"));
            tryVerify(() => desk.server.isRunning);
            compare(desk.savedShow(), "");
            verify(desk.config.hasUnsavedChanges);
        }
        function test_aPressByPointerTakesNoFocus() {
            desk.serverIs("graceful");
            const item = panel();
            const rocker = findChild(item, "rocker");
            mouseClick(rocker);
            tryVerify(() => desk.server.isRunning);
            verify(!rocker.activeFocus);
            mouseClick(labelled(item, Text, "Reveal in Finder").parent, 2, 2);
            verify(!labelled(item, Text, "Reveal in Finder").parent.activeFocus);
        }
        function test_aPressRightAfterAnotherDoesNothing_data() {
            return [{
                    "tag": "button",
                    "press": (rocker, later) => pressAt(rocker, Qt.point(20, 20), later)
                }, {
                    "tag": "key",
                    "press": (rocker, later) => pressKey(rocker, Qt.Key_Space, " ", later)
                }];
        }
        function test_aPressRightAfterAnotherDoesNothing(data) {
            desk.serverIs("graceful");
            const rocker = findChild(panel(), "rocker");
            rocker.forceActiveFocus(Qt.TabFocusReason);
            data.press(rocker);
            tryVerify(() => desk.server.isRunning);
            data.press(rocker, 200);
            data.press(rocker, 200);
            compare(desk.server.logLines.filter(line => line.includes("Stopping")).length, 0);
            data.press(rocker);
            tryVerify(() => !desk.server.isRunning);
            data.press(rocker, 200);
            compare(desk.serverCount(), 0);
        }
        function test_aHeldKeyIsOnePress() {
            desk.serverIs("graceful");
            const rocker = findChild(panel(), "rocker");
            rocker.forceActiveFocus(Qt.TabFocusReason);
            holdKey(rocker, Qt.Key_Space, " ");
            tryVerify(() => desk.server.isRunning);
            holdKey(rocker, Qt.Key_Space, " ");
            tryVerify(() => !desk.server.isRunning);
            compare(desk.server.logLines.filter(line => line.includes("Stopping")).length, 1);
            compare(desk.serverCount(), 0);
        }
        function test_aPressOnWhatTurnsRoundDoesNothing() {
            desk.serverIs("graceful");
            const item = panel();
            const rocker = findChild(item, "rocker");
            mouseClick(rocker);
            tryVerify(() => desk.server.isRunning);
            mousePress(rocker);
            desk.killServers();
            tryVerify(() => !desk.server.isRunning);
            mouseMove(rocker, 30, 30, -1, Qt.LeftButton);
            verify(!rocker.pressed);
            const log = desk.server.logLines.join();
            mouseRelease(rocker);
            compare(desk.serverCount(), 0);
            compare(desk.server.logLines.join(), log);
            panelLooks(item, "STOPPED");
            // The next press counts again.
            mouseClick(rocker);
            tryVerify(() => desk.server.isRunning);
        }
        function test_boltsStandSixFromTheEdges() {
            const item = panel();
            const bolts = all(item, HexBolt);
            compareSets(places(bolts, item), ["6,6 12x12", "212,6 12x12", "6,282 12x12", "212,282 12x12"]);
            compare(all(item, SteelPanelBackground)[0].cornerRadius, 14);
        }
        function test_theLampHasItsSize() {
            const parts = lamp({
                    "isRunning": false,
                    "isStarting": false
                });
            compare(parts.light.width, 34);
            compare(parts.light.height, 34);
            compare(parts.caption.y, 34 + 8);
            compare(parts.caption.font.pixelSize, 12);
            fuzzyCompare(parts.caption.font.letterSpacing, 1.2, 0.02);
            compareColors(parts.caption.color, Theme.faded("white", 0.9));
        }
        function test_theLampTellsTheState_data() {
            return [{
                    "tag": "stopped",
                    "isRunning": false,
                    "isStarting": false,
                    "caption": "STOPPED",
                    "color": Theme.ready,
                    "glow": 4
                }, {
                    "tag": "starting",
                    "isRunning": false,
                    "isStarting": true,
                    "caption": "STARTING",
                    "color": Theme.gold,
                    "glow": 4
                }, {
                    "tag": "running",
                    "isRunning": true,
                    "isStarting": false,
                    "caption": "ON AIR",
                    "color": Theme.live,
                    "glow": 12
                }, {
                    "tag": "running wins over starting",
                    "isRunning": true,
                    "isStarting": true,
                    "caption": "ON AIR",
                    "color": Theme.live,
                    "glow": 12
                }];
        }
        function test_theLampTellsTheState(data) {
            const parts = lamp({
                    "isRunning": data.isRunning,
                    "isStarting": data.isStarting
                });
            compare(parts.caption.text, data.caption);
            compareColors(parts.light.color, data.color);
            compare(parts.light.glowRadius, data.glow);
        }
        function test_aBusySwitchIsFadedAsOne() {
            const ground = open(groundComponent);
            const whole = grabImage(ground);
            ground.isBusy = true;
            const faded = grabImage(ground);
            let seen = 0;
            for (let x = 0; x < ground.width; ++x) {
                for (let y = 0; y < ground.height; ++y) {
                    const wanted = 0.6 * whole.pixel(x, y).r + 0.4;
                    const difference = Math.abs(faded.pixel(x, y).r - wanted);
                    if (difference > 3 / 255)
                        fail(`at ${x}, ${y}: ${faded.pixel(x, y).r} instead of ${wanted}`);
                    seen += wanted < 0.9 ? 1 : 0;
                }
            }
            verify(seen > 150 * 58, "shadow and all");
        }
        function test_theSwitchHasItsSize() {
            const rocker = open(rockerComponent, {
                    "isBusy": false,
                    "isOn": false
                });
            compare(rocker.width, 150);
            compare(rocker.height, 58);
        }
        function test_theSwitchLightsOneHalf_data() {
            return [{
                    "tag": "off",
                    "isOn": false,
                    "isBusy": false
                }, {
                    "tag": "busy",
                    "isOn": false,
                    "isBusy": true
                }, {
                    "tag": "on",
                    "isOn": true,
                    "isBusy": false
                }];
        }
        function test_theSwitchLightsOneHalf(data) {
            const rocker = open(rockerComponent, {
                    "isBusy": data.isBusy,
                    "isOn": data.isOn
                });
            const plate = all(rocker, RockerPlate)[0];
            compare([plate.stopLabel, plate.startLabel], ["STOP", "START"]);
            compare(rocker.enabled, !data.isBusy);
            compare(rocker.opacity, data.isBusy ? 0.6 : 1);
            const picture = grabImage(rocker);
            // Dark letters in the lit half, light ones in the other.
            const lights = column => {
                const found = new Array();
                for (let x = column; x < column + 50; ++x)
                    found.push(picture.pixel(x, 29).hslLightness);
                return found;
            };
            if (!data.isBusy) {
                verify(Math.min(...lights(data.isOn ? 85 : 15)) < 0.2);
                verify(Math.max(...lights(data.isOn ? 15 : 85)) > 0.3);
            }
            const left = picture.pixel(12, 12);
            const right = picture.pixel(138, 12);
            if (data.isOn) {
                verify(right.r > 0.4 && right.r > right.g + 0.15, `red at the right: ${right}`);
                verify(left.r < right.r - 0.2, `dark at the left: ${left}`);
            } else {
                verify(left.g > 0.4 && left.g > left.r + 0.15, `green at the left: ${left}`);
                verify(right.r < left.r && right.g < left.g - 0.2, `dark at the right: ${right}`);
            }
        }
        function test_theSwitchStaysWhereTheServerIgnoresIt() {
            desk.serverIs("stubborn");
            const item = panel();
            mouseClick(findChild(item, "rocker"));
            tryVerify(() => desk.server.isRunning);
            mouseClick(findChild(item, "rocker"));
            mouseClick(findChild(item, "rocker"));
            compare(desk.server.logLines.filter(line => line.includes("Stopping")).length, 2);
            panelLooks(item, "ON AIR");
        }

        name: "PowerPanel"
    }
}
