import QtQuick

// What can be pressed: by mouse, by Space, Return and Enter, and through the accessibility bus. It
// draws nothing; `showsFocus` asks its user to show the keyboard's focus.
Item {
    id: pressable

    readonly property alias pressed: area.containsPress
    property bool reachedByPointer: false
    readonly property bool showsFocus: activeFocus && !reachedByPointer

    signal clicked

    function press() {
        if (enabled)
            clicked();
    }

    // The toolkit tells no screen reader that an item is disabled.
    //: Says of a button or switch that it cannot be pressed at present, spoken only.
    Accessible.description: enabled ? "" : qsTr("Not available now")
    Accessible.focusable: enabled
    Accessible.focused: activeFocus
    Accessible.role: Accessible.Button
    activeFocusOnTab: enabled

    Accessible.onPressAction: press()
    Keys.onEnterPressed: event => {
        if (!event.isAutoRepeat)
            press();
    }
    Keys.onReturnPressed: event => {
        if (!event.isAutoRepeat)
            press();
    }
    Keys.onSpacePressed: event => {
        if (!event.isAutoRepeat)
            press();
    }
    // What is disabled for a while gets its focus back as it was.
    onActiveFocusChanged: if (!activeFocus && enabled)
        reachedByPointer = false

    MouseArea {
        id: area

        anchors.fill: parent
        cursorShape: pressable.enabled ? Qt.PointingHandCursor : Qt.ArrowCursor

        onClicked: pressable.press()
        onPressed: {
            pressable.reachedByPointer = true;
            pressable.forceActiveFocus(Qt.MouseFocusReason);
        }
    }
}
