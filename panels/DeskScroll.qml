import QtQuick
import QtQuick.Templates as T
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
    T.ScrollBar {
        id: bar

        Accessible.ignored: true // a screen reader scrolls by what it focuses
        active: hovered || pressed
        anchors.bottom: parent.bottom
        anchors.right: parent.right
        anchors.top: parent.top
        implicitWidth: 10
        orientation: Qt.Vertical
        padding: 2
        policy: size < 1 ? T.ScrollBar.AlwaysOn : T.ScrollBar.AlwaysOff
        position: scroll.flickable.visibleArea.yPosition
        size: scroll.flickable.visibleArea.heightRatio
        visible: size < 1

        contentItem: Rectangle {
            color: Theme.faded(Theme.steelLight, bar.pressed ? 0.8 : bar.hovered ? 0.6 : 0.35)
            implicitWidth: 6
            radius: 3
        }

        onPositionChanged: if (pressed)
            scroll.to(scroll.flickable.originY + position * scroll.flickable.contentHeight)
    }
}
