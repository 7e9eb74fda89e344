import QtQuick
import Wingbell.Panels

// A chip of FlowChips, which says where it stands.
Chip {
    id: chip

    required property string name
    required property rect place

    height: place.height
    text: name
    width: place.width
    x: place.x
    y: place.y

    onClicked: (parent as FlowChips)?.chosen(name)
    onActiveFocusChanged: (parent as FlowChips)?.showRing(chip)
}
