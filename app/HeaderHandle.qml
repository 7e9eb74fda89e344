import QtQuick

// Lies over the header: dragging it moves the window, a double click maximises it.
MouseArea {
    id: handle

    property point pressedAt

    signal moved
    signal toggled

    acceptedButtons: Qt.LeftButton

    onDoubleClicked: toggled()
    onPositionChanged: event => {
        const beyond = Math.max(Math.abs(event.x - pressedAt.x), Math.abs(event.y - pressedAt.y));
        if (pressed && beyond >= Qt.styleHints.startDragDistance)
            moved();
    }
    onPressed: event => pressedAt = Qt.point(event.x, event.y)
}
