import QtQuick
import Wingbell.Look

// Scrolls a Flickable as a desktop does: by wheel and touchpad without swinging, by touch, by its
// bar and by the keys.
Item {
    id: scroll

    // How far the bar stands in from the right, where a window is resized. What is left there of the
    // bar when nothing else is scrolls all the same.
    property real barMargin: 0
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
    // Whole points: between them lines and letters blur, and what clips takes a line with it.
    function to(position) {
        scrolled();
        flickable.contentY = Math.max(flickable.originY, Math.min(lowest, Math.round(position)));
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

        // How far the content can go, and how far the handle can.
        readonly property real distance: Math.max(1, scroll.lowest - scroll.flickable.originY)
        property real grip: 0
        readonly property real room: Math.max(1, height - 4 - handle.height)

        anchors.bottom: parent.bottom
        anchors.right: parent.right
        anchors.top: parent.top
        hoverEnabled: true
        objectName: "scrollBar"
        visible: scroll.flickable.visibleArea.heightRatio < 1
        width: 10 + scroll.barMargin

        onPositionChanged: event => {
            if (pressed)
                scroll.to(scroll.flickable.originY + (event.y - grip - 2) / room * distance);
        }
        onPressed: event => {
            const inside = event.y - handle.y;
            grip = inside >= 0 && inside <= handle.height ? inside : handle.height / 2;
            positionChanged(event);
        }

        InsetPlate {
            id: handle

            cornerRadius: 3
            fill: Theme.faded(Theme.steelLight, bar.pressed ? 0.8 : bar.containsMouse ? 0.6 : 0.35)
            height: Math.max(20, bar.height * scroll.flickable.visibleArea.heightRatio - 4)
            width: 6
            x: 2
            y: 2 + bar.room * Math.max(0, Math.min(1, (scroll.flickable.contentY - scroll.flickable.originY) / bar.distance))
        }
    }
}
