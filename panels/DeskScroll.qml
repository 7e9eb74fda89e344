import QtQuick
import Wingbell.Look

// Scrolls a Flickable as a desktop does: by wheel and touchpad without swinging, by touch, by its
// bar and by the keys.
Item {
    id: scroll

    required property Flickable flickable
    readonly property real lowest: Math.max(flickable.originY, flickable.originY + flickable.contentHeight - flickable.height)

    // The user has scrolled.
    signal scrolled

    function by(distance) {
        to(flickable.contentY + distance);
    }
    // Scrolls by the key; false if it is none to scroll by.
    function key(key) {
        switch (key) {
        case Qt.Key_Up:
            by(-40);
            return true;
        case Qt.Key_Down:
            by(40);
            return true;
        case Qt.Key_PageUp:
            by(-flickable.height * 0.9);
            return true;
        case Qt.Key_PageDown:
            by(flickable.height * 0.9);
            return true;
        case Qt.Key_Home:
            to(flickable.originY);
            return true;
        case Qt.Key_End:
            to(lowest);
            return true;
        }
        return false;
    }
    function to(position) {
        scrolled();
        flickable.contentY = Math.max(flickable.originY, Math.min(lowest, position));
    }

    WheelHandler {
        acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad

        onWheel: event => scroll.by(event.pixelDelta.y !== 0 ? -event.pixelDelta.y : -event.angleDelta.y * 0.5)
    }
    DragHandler {
        property real before: 0

        acceptedDevices: PointerDevice.TouchScreen
        target: null
        xAxis.enabled: false

        onActiveChanged: before = 0
        onActiveTranslationChanged: {
            scroll.by(before - activeTranslation.y);
            before = activeTranslation.y;
        }
    }
    // The bar: there while there is something to scroll. A screen reader scrolls by what it focuses.
    MouseArea {
        id: bar

        readonly property real length: height * scroll.flickable.visibleArea.heightRatio
        property real grip: 0

        anchors.bottom: parent.bottom
        anchors.right: parent.right
        anchors.top: parent.top
        hoverEnabled: true
        objectName: "scrollBar"
        visible: scroll.flickable.visibleArea.heightRatio < 1
        width: 10

        onPositionChanged: event => {
            if (pressed)
                scroll.to(scroll.flickable.originY + (event.y - grip) / height * scroll.flickable.contentHeight);
        }
        onPressed: event => {
            const inside = event.y - handle.y;
            grip = inside >= 0 && inside <= handle.height ? inside : handle.height / 2;
            positionChanged(event);
        }

        Rectangle {
            id: handle

            color: Theme.faded(Theme.steelLight, bar.pressed ? 0.8 : bar.containsMouse ? 0.6 : 0.35)
            height: Math.max(20, bar.length - 4)
            radius: 3
            width: 6
            x: 2
            y: 2 + (bar.height - 4 - height) * Math.min(1, scroll.flickable.visibleArea.yPosition / Math.max(0.0001, 1 - scroll.flickable.visibleArea.heightRatio))
        }
    }
}
