import QtQuick

// Lies over the header: dragging it moves the window, a double click maximises it. One press asks for
// one move: the button is up when a second one comes, with the last event of a drag, and the window
// would stick to the pointer.
MouseArea {
    id: handle

    property bool asked
    property point pressedAt

    signal moved
    signal toggled

    acceptedButtons: Qt.LeftButton

    onDoubleClicked: toggled()
    onPositionChanged: event => {
        const beyond = Math.max(Math.abs(event.x - pressedAt.x), Math.abs(event.y - pressedAt.y));
        if (asked || beyond < Qt.styleHints.startDragDistance)
            return;
        asked = true;
        moved();
    }
    onPressed: event => {
        asked = false;
        pressedAt = Qt.point(event.x, event.y);
    }
}
