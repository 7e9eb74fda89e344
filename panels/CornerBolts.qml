import QtQuick
import Wingbell.Look

// A bolt in each corner of a plate.
Item {
    id: plate

    Repeater {
        model: 4

        HexBolt {
            required property int index

            diameter: 12
            x: index % 2 === 0 ? 6 : plate.width - 18
            y: index < 2 ? 6 : plate.height - 18
        }
    }
}
