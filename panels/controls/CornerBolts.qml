import QtQuick
import Wingbell.Look

// A bolt in each corner of a plate.
Item {
    Bolt {
        anchors.left: parent.left
        anchors.top: parent.top
    }
    Bolt {
        anchors.right: parent.right
        anchors.top: parent.top
    }
    Bolt {
        anchors.bottom: parent.bottom
        anchors.left: parent.left
    }
    Bolt {
        anchors.bottom: parent.bottom
        anchors.right: parent.right
    }

    component Bolt: HexBolt {
        anchors.margins: 6
        diameter: 12
    }
}
