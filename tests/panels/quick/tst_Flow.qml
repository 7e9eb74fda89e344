import QtQuick
import QtTest
import Wingbell.Look
import Wingbell.Panels
import Wingbell.Testing

Item {
    id: stage

    signal chosen(string name)

    height: 600
    width: 600

    Component {
        id: chipsComponent

        FlowChips {
            id: flow

            property alias channels: model.channels

            width: 300

            chips: ChannelListModel {
                id: model

                width: flow.width
            }
            itemView: Chip {
                textColor: "white"
                tint: "black"
            }

            onChosen: name => stage.chosen(name)
        }
    }
    Component {
        id: chipComponent

        Chip {
            place: Qt.rect(0, 0, 60, 24)
            textColor: "white"
            tint: "black"
        }
    }
    Component {
        id: capsuleComponent

        Capsule {
            fill: "black"
        }
    }
    Text {
        id: reference

        textFormat: Text.PlainText

        font.pixelSize: 12
        font.weight: Font.DemiBold
        visible: false
    }
    SignalSpy {
        id: clicks

        signalName: "clicked"
    }

    SignalSpy {
        id: lost

        signalName: "focusLost"
    }
    SignalSpy {
        id: choices

        signalName: "chosen"
        target: stage
    }
    PanelTestCase {
        function followsTheRule(flow) {
            const chips = all(flow, Chip);
            const sizes = chips.map(chip => {
                    const label = all(chip, Text)[0];
                    return Qt.size(label.implicitWidth + 20, label.implicitHeight + 10);
                });
            compare(chips.map(chip => Qt.size(chip.width, chip.height)), sizes);
            const wanted = desk.rowPlaces(flow.width, 8, sizes);
            compare(chips.map(chip => Qt.point(chip.x, chip.y)), wanted);
            compare(flow.implicitHeight, desk.rowsSize(flow.width, 8, sizes).height);
        }
        function test_chipsStandWhereTheRuleSays_data() {
            return eachOf([0, 30, 100, 107.5, 300, 5000]);
        }
        function test_chipsStandWhereTheRuleSays(data) {
            const flow = open(chipsComponent, {
                    "channels": ["Main", "A name that is much longer than any other", "", "W", "<b>bold</b>", "\u00E9\u4E2D", "two\nlines", "\u05D0\u05D1 mixed", "\uD83C\uDFAD", "last"],
                    "width": 200
                });
            followsTheRule(flow);
            flow.width = data.value;
            followsTheRule(flow);
        }
        function test_theRingIsAroundTheChipThatShowsTheFocus() {
            const flow = open(chipsComponent, {
                    "channels": ["Main", "Tech", "Pit"]
                });
            const ring = all(flow, FocusRing)[0];
            verify(!ring.visible);
            for (const chip of all(flow, Chip)) {
                chip.forceActiveFocus(Qt.TabFocusReason);
                verify(ring.visible);
                compare(Qt.rect(ring.x, ring.y, ring.width, ring.height), Qt.rect(chip.x - 4, chip.y - 4, chip.width + 8, chip.height + 8));
            }
            // A press by pointer leaves the focus and its ring.
            mouseClick(all(flow, Chip)[0]);
            verify(ring.visible);
            compare(ring.x, all(flow, Chip)[2].x - 4);
            flow.channels = [];
            verify(!ring.visible);
        }
        function test_aPressIsOneHoweverItIsMade() {
            const flow = open(chipsComponent, {
                    "channels": ["Main"]
                });
            const chip = all(flow, Chip)[0];
            choices.clear();
            mousePress(chip, 5, 5);
            verify(chip.pressed);
            mouseMove(chip, 5, 100);
            verify(!chip.pressed);
            mouseRelease(chip, 5, 100);
            compare(choices.count, 0, "let go elsewhere");
            mouseDoubleClickSequence(chip);
            compare(choices.count, 2, "two quick presses");
            mouseClick(chip, 5, 5, Qt.RightButton);
            compare(choices.count, 2);
            chip.enabled = false;
            mouseClick(chip);
            chip.press();
            compare(choices.count, 2);
        }
        function test_theNextChipGetsTheFocusOfOneThatGoes() {
            const flow = open(chipsComponent, {
                    "channels": ["Main", "Tech", "Pit"]
                });
            lost.target = flow;
            lost.clear();
            labelled(flow, Chip, "Tech").forceActiveFocus(Qt.TabFocusReason);
            flow.channels = ["Main", "Pit"];
            verify(labelled(flow, Chip, "Pit").activeFocus);
            flow.channels = ["Main"];
            verify(labelled(flow, Chip, "Main").activeFocus);
            compare(lost.count, 0);
            flow.channels = [];
            compare(lost.count, 1);
        }
        function test_aChipIsAsLargeAsItsText_data() {
            return eachOf(["Main", "W", "", "A name that is much longer than any other", "<b>bold</b>", "\u00E9\u4E2D"]);
        }
        function test_aChipIsAsLargeAsItsText(data) {
            reference.text = data.value;
            const chip = all(open(chipsComponent, {
                        "channels": [data.value]
                    }), Chip)[0];
            compare(chip.width, reference.implicitWidth + 20);
            compare(chip.height, reference.implicitHeight + 10);
            labelled(chip, Text, data.value);
            compareColors(all(chip, Capsule)[0].outline, Theme.faded("black", 0.3));
        }
        function test_aCapsulesEndsAreHalfCircles_data() {
            return [{
                    "tag": "wide",
                    "width": 60,
                    "height": 20
                }, {
                    "tag": "tall",
                    "width": 20,
                    "height": 60
                }];
        }
        function test_aCapsulesEndsAreHalfCircles(data) {
            const picture = grabImage(open(capsuleComponent, {
                        "height": data.height,
                        "width": data.width
                    }));
            for (let along = 0; along < 60; ++along) {
                const fromEnd = Math.min(along, 59 - along);
                // Where the fill begins across the middle line, at either side of this pixel.
                const edge = offset => 10 - Math.sqrt(100 - Math.pow(Math.max(0, 10 - offset), 2));
                for (let across = 0; across < 10; ++across) {
                    const light = data.tag === "wide" ? picture.red(along, across) : picture.red(across, along);
                    if (across >= edge(fromEnd))
                        verify(light < 40, `inside at ${along}, ${across}`);
                    else if (across + 1 <= edge(fromEnd + 1))
                        verify(light > 215, `outside at ${along}, ${across}`);
                }
            }
        }
        function test_aClickOnAChipActsOnce() {
            const chip = open(chipComponent, {
                    "name": "Main"
                });
            clicks.target = chip;
            clicks.clear();
            mouseClick(chip);
            compare(clicks.count, 1);
            mouseClick(chip, 1, chip.height / 2);
            compare(clicks.count, 2);
        }
        function test_chipsOfOtherChannelsStay() {
            const chips = open(chipsComponent, {
                    "channels": ["Main", "Tech", "Pit"]
                });
            const before = all(chips, Chip);
            chips.channels = ["House", "Main", "Pit", "Balcony"];
            const later = all(chips, Chip);
            compare(later.map(chip => chip.name), ["House", "Main", "Pit", "Balcony"]);
            compare(later[1], before[0]);
            compare(later[2], before[2]);
            compare(later[0].x, 0);
            compare(later[1].x, later[0].width + 8);
        }
        function test_chipsStandInTheOrderOfTheirChannels() {
            const chips = open(chipsComponent, {
                    "channels": ["Main", "Tech", "Pit"]
                });
            const main = labelled(chips, Chip, "Main");
            const tech = labelled(chips, Chip, "Tech");
            const pit = labelled(chips, Chip, "Pit");
            chips.channels = ["Pit", "Main", "Tech"];
            compare(pit.x, 0);
            compare(main.x, pit.width + 8);
            compare(tech.x, pit.width + 8 + main.width + 8);
            choices.clear();
            mouseClick(tech);
            compare(choices.count, 1);
            compare(choices.signalArguments[0][0], "Tech");
        }

        name: "Flow"
    }
}
