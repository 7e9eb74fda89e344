import QtQuick
import Wingbell.Panels

// What can be pressed: by mouse, by Space, Return and Enter, and through the accessibility bus. It
// draws nothing, the keyboard's focus neither.
PressArea {
    // The toolkit tells no screen reader that an item is disabled.
    //: Says of a button or switch that it cannot be pressed at present, spoken only.
    Accessible.description: enabled ? "" : qsTr("Not available now")
    Accessible.focusable: enabled
    Accessible.focused: activeFocus
    Accessible.role: Accessible.Button
    activeFocusOnTab: enabled

    Accessible.onPressAction: press()
}
