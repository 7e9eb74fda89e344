import QtQuick

// The window's edges and corners, by which it is resized. What asks for it is the first movement of a
// press: a tap is over before the window manager takes hold, and the window would stick to the
// pointer.
Item {
    id: frame

    readonly property real corner: 12
    readonly property real thickness: 5

    signal dragged(int edges)

    Edge {
        cursorShape: Qt.SizeVerCursor
        edges: Qt.TopEdge
        height: frame.thickness
        width: frame.width
    }
    Edge {
        anchors.bottom: parent.bottom
        cursorShape: Qt.SizeVerCursor
        edges: Qt.BottomEdge
        height: frame.thickness
        width: frame.width
    }
    Edge {
        cursorShape: Qt.SizeHorCursor
        edges: Qt.LeftEdge
        height: frame.height
        width: frame.thickness
    }
    Edge {
        anchors.right: parent.right
        cursorShape: Qt.SizeHorCursor
        edges: Qt.RightEdge
        height: frame.height
        width: frame.thickness
    }
    Edge {
        cursorShape: Qt.SizeFDiagCursor
        edges: Qt.TopEdge | Qt.LeftEdge
        height: frame.thickness
        width: frame.corner
    }
    Edge {
        anchors.right: parent.right
        cursorShape: Qt.SizeBDiagCursor
        edges: Qt.TopEdge | Qt.RightEdge
        height: frame.thickness
        width: frame.corner
    }
    Edge {
        anchors.bottom: parent.bottom
        cursorShape: Qt.SizeBDiagCursor
        edges: Qt.BottomEdge | Qt.LeftEdge
        height: frame.thickness
        width: frame.corner
    }
    Edge {
        anchors.bottom: parent.bottom
        anchors.right: parent.right
        cursorShape: Qt.SizeFDiagCursor
        edges: Qt.BottomEdge | Qt.RightEdge
        height: frame.thickness
        width: frame.corner
    }

    component Edge: MouseArea {
        property bool asked
        required property int edges

        acceptedButtons: Qt.LeftButton

        onPositionChanged: {
            if (asked)
                return;
            asked = true;
            (parent as WindowEdges)?.dragged(edges);
        }
        onPressed: asked = false
    }
}
