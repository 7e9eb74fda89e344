import QtQuick

// The window's edges and corners, by which it is resized. What asks for it is the first movement of a
// press: a tap is over before the window manager takes hold, and the window would stick to the
// pointer.
Item {
    signal dragged(int edges)

    // The corners lie over the edges.
    Repeater {
        model: [Qt.TopEdge, Qt.BottomEdge, Qt.LeftEdge, Qt.RightEdge, Qt.TopEdge | Qt.LeftEdge, Qt.TopEdge | Qt.RightEdge, Qt.BottomEdge | Qt.LeftEdge, Qt.BottomEdge | Qt.RightEdge]

        delegate: Edge {
        }
    }

    component Edge: MouseArea {
        property bool asked
        readonly property real corner: 12
        readonly property size frame: Qt.size(parent?.width ?? 0, parent?.height ?? 0)
        readonly property bool isCorner: isHorizontal && isVertical
        // Whether it moves the top or the bottom, and whether it moves a side.
        readonly property bool isHorizontal: modelData & (Qt.TopEdge | Qt.BottomEdge)
        readonly property bool isVertical: modelData & (Qt.LeftEdge | Qt.RightEdge)
        required property int modelData
        readonly property real thickness: 5

        acceptedButtons: Qt.LeftButton
        cursorShape: {
            if (!isCorner)
                return isHorizontal ? Qt.SizeVerCursor : Qt.SizeHorCursor;
            const falls = modelData === (Qt.TopEdge | Qt.LeftEdge) || modelData === (Qt.BottomEdge | Qt.RightEdge);
            return falls ? Qt.SizeFDiagCursor : Qt.SizeBDiagCursor;
        }
        height: isHorizontal ? thickness : frame.height
        width: isCorner ? corner : isVertical ? thickness : frame.width
        x: modelData & Qt.RightEdge ? frame.width - width : 0
        y: modelData & Qt.BottomEdge ? frame.height - height : 0

        onPositionChanged: {
            if (asked)
                return;
            asked = true;
            (parent as WindowEdges)?.dragged(modelData);
        }
        onPressed: asked = false
    }
}
