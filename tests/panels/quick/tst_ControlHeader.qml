import QtQuick
import Wingbell.Look
import Wingbell.Testing

Item {
    height: 200
    width: 820

    Component {
        id: headerComponent

        ControlHeader {
        }
    }
    PanelTestCase {
        function header(width) {
            return open(headerComponent, {
                    "width": width
                });
        }
        function plateOf(item) {
            return all(item, BrushedStreaks)[0];
        }
        function test_boltsHoldThePlatesUpperCorners_data() {
            return [{
                    "tag": "smallest",
                    "width": 780
                }, {
                    "tag": "default",
                    "width": 820
                }];
        }
        function test_boltsHoldThePlatesUpperCorners(data) {
            const item = header(data.width);
            compare(places(all(item, HexBolt), item), ["10,10 14x14", `${data.width - 24},10 14x14`]);
        }
        function test_theLetteringStandsCentredInItsPadding() {
            const item = header(820);
            const plate = plateOf(item);
            const title = labelled(item, LitText, "Wingbell Control");
            const line = labelled(item, Text, "Set up and run the show relay");
            compare(title.mapToItem(plate, 0, 0).y, 14);
            compare(line.mapToItem(title, 0, 0).y, title.height + 2);
            compare(line.mapToItem(plate, 0, line.height).y, plate.height - 14);
            for (const text of [title, line])
                fuzzyCompare(text.mapToItem(plate, text.width / 2, 0).x, 410, 0.5);
            compare(title.font.pixelSize, 17);
            compare(title.font.letterSpacing, 0.5);
            compare(line.font.pixelSize, 10);
            compareColors(line.color, Theme.faded("white", 0.75));
        }
        function test_theTrimIsTwelveHighUnderThePlate() {
            const item = header(820);
            const plate = plateOf(item);
            const trims = all(item, SteelTrim);
            compare(places(trims, item), [`0,${plate.height} 820x12`]);
            compare(item.implicitHeight, plate.height + 12);
            compare(places([plate], item), [`0,0 820x${plate.height}`]);
            compare(plate.streakOpacity, 0.45);
        }

        name: "ControlHeader"
    }
}
