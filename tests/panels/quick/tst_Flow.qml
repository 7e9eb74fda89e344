import QtQuick
import QtTest
import Wingbell.Look
import Wingbell.Panels
import Wingbell.Testing

Item {
    id: stage

    signal chosen(string name)

    readonly property ListModel boxes: ListModel {
    }

    height: 600
    width: 600

    Component {
        id: flowComponent

        FlowLayout {
            id: flow

            required property ListModel boxes

            spacing: 8

            Repeater {
                model: flow.boxes

                Rectangle {
                    required property real high
                    required property real wide

                    implicitHeight: high
                    implicitWidth: wide
                }
            }
        }
    }
    Component {
        id: chipsComponent

        FlowChips {
            property alias channels: model.channels

            width: 300

            chips: ChannelChips {
                id: model
            }
            itemView: Chip {
                required property string name

                text: name
                textColor: "white"
                tint: "black"

                onClicked: (parent as FlowChips)?.chosen(name)
            }

            onChosen: name => stage.chosen(name)
        }
    }
    Component {
        id: chipComponent

        Chip {
            textColor: "white"
            tint: "black"
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
        id: choices

        signalName: "chosen"
        target: stage
    }
    PanelTestCase {
        function fill(sizes) {
            stage.boxes.clear();
            for (const size of sizes)
                stage.boxes.append({
                        "wide": size[0],
                        "high": size[1]
                    });
        }
        function flow(width) {
            return open(flowComponent, {
                    "boxes": stage.boxes,
                    "width": width
                });
        }
        function followsTheRule(layout) {
            const items = all(layout, Rectangle).filter(item => item.visible);
            const sizes = items.map(item => Qt.size(item.implicitWidth, item.implicitHeight));
            const wanted = desk.rowPlaces(layout.width, layout.spacing, sizes);
            laidOut(layout);
            for (let index = 0; index < items.length; ++index) {
                compare(Qt.point(items[index].x, items[index].y), wanted[index], `place of item ${index}`);
                compare(items[index].width, items[index].implicitWidth);
                compare(items[index].height, items[index].implicitHeight);
            }
            compare(layout.implicitHeight, desk.rowsSize(layout.width, layout.spacing, sizes).height);
        }
        function test_aChangedSizeMovesWhatFollows() {
            fill([[60, 20], [40, 20], [30, 20]]);
            const layout = flow(150);
            followsTheRule(layout);
            stage.boxes.setProperty(0, "wide", 120);
            followsTheRule(layout);
            compare(layout.implicitHeight, 48);
            stage.boxes.setProperty(2, "high", 50);
            followsTheRule(layout);
            compare(layout.implicitHeight, 78);
        }
        function test_aChangedSpacingPlacesAnew() {
            fill([[60, 20], [40, 20], [30, 20]]);
            const layout = flow(140);
            layout.spacing = 5;
            followsTheRule(layout);
            compare(layout.implicitHeight, 20);
            layout.spacing = 20;
            followsTheRule(layout);
            compare(layout.implicitHeight, 60);
        }
        function test_aChipIsAsLargeAsItsText_data() {
            return eachOf(["Main", "W", "", "A name that is much longer than any other", "<b>bold</b>", "\u00E9\u4E2D"]);
        }
        function test_aChipIsAsLargeAsItsText(data) {
            reference.text = data.value;
            const chip = open(chipComponent, {
                    "text": data.value
                });
            compare(chip.width, reference.implicitWidth + 20);
            compare(chip.height, reference.implicitHeight + 10);
            labelled(chip, Text, data.value);
            compareColors(all(chip, Capsule)[0].outline, Theme.faded("black", 0.3));
        }
        function test_aClickOnAChipActsOnce() {
            const chip = open(chipComponent, {
                    "text": "Main"
                });
            clicks.target = chip;
            clicks.clear();
            mouseClick(chip);
            compare(clicks.count, 1);
            mouseClick(chip, 1, chip.height / 2);
            compare(clicks.count, 2);
        }
        function test_aHiddenItemTakesNoPlace() {
            fill([[60, 20], [40, 20], [30, 20]]);
            const layout = flow(100);
            all(layout, Rectangle)[0].visible = false;
            followsTheRule(layout);
            compare(layout.implicitHeight, 20);
            all(layout, Rectangle)[0].visible = true;
            followsTheRule(layout);
            compare(layout.implicitHeight, 48);
        }
        function test_anotherWidthWrapsAnew_data() {
            return eachOf([0, 39, 100, 107, 108, 109, 300]);
        }
        function test_anotherWidthWrapsAnew(data) {
            fill([[60, 20], [40, 30], [200, 10], [5, 44], [5, 4]]);
            const layout = flow(500);
            followsTheRule(layout);
            layout.width = data.value;
            followsTheRule(layout);
        }
        function test_chipsOfOtherChannelsStay() {
            const chips = open(chipsComponent, {
                    "channels": ["Main", "Tech", "Pit"]
                });
            const before = all(chips, Chip);
            chips.channels = ["House", "Main", "Pit", "Balcony"];
            const later = all(chips, Chip);
            compare(later.map(chip => chip.text), ["House", "Main", "Pit", "Balcony"]);
            compare(later[1], before[0]);
            compare(later[2], before[2]);
            laidOut(chips);
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
            laidOut(chips);
            compare(pit.x, 0);
            compare(main.x, pit.width + 8);
            compare(tech.x, pit.width + 8 + main.width + 8);
            choices.clear();
            mouseClick(tech);
            compare(choices.count, 1);
            compare(choices.signalArguments[0][0], "Tech");
        }
        function test_itemsStandWhereTheRuleSays_data() {
            return [{
                    "tag": "one row",
                    "width": 500,
                    "sizes": [[40, 20], [50, 30], [60, 10]],
                    "height": 30
                }, {
                    "tag": "second wraps",
                    "width": 100,
                    "sizes": [[60, 20], [40, 30]],
                    "height": 58
                }, {
                    "tag": "exactly fits",
                    "width": 108,
                    "sizes": [[60, 20], [40, 30]],
                    "height": 30
                }, {
                    "tag": "too wide for any row",
                    "width": 100,
                    "sizes": [[250, 20], [40, 30]],
                    "height": 58
                }, {
                    "tag": "no width",
                    "width": 0,
                    "sizes": [[10, 20], [10, 20], [10, 20]],
                    "height": 76
                }, {
                    "tag": "no items",
                    "width": 100,
                    "sizes": [],
                    "height": 0
                }];
        }
        function test_itemsStandWhereTheRuleSays(data) {
            fill(data.sizes);
            const layout = flow(data.width);
            followsTheRule(layout);
            compare(layout.implicitHeight, data.height);
        }
        function test_removedItemsMakeRoom() {
            fill([[60, 20], [40, 20], [30, 20]]);
            const layout = flow(100);
            followsTheRule(layout);
            const kept = all(layout, Rectangle).slice(1);
            stage.boxes.remove(0);
            followsTheRule(layout);
            compare(all(layout, Rectangle), kept);
            compare(layout.implicitHeight, 20);
            stage.boxes.insert(0, {
                    "wide": 90,
                    "high": 12
                });
            followsTheRule(layout);
            compare(all(layout, Rectangle).slice(1), kept);
        }

        name: "Flow"
    }
}
