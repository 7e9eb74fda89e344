import QtQuick
import QtQuick.Templates as T
import Wingbell.Look

// A one-line text field of the desk, without a bezel.
T.TextField {
    id: field

    property real radius: 6

    Accessible.role: Accessible.EditableText
    color: "white"
    implicitHeight: contentHeight + topPadding + bottomPadding
    padding: 8
    placeholderTextColor: Theme.faded("white", 0.3)
    selectByMouse: true
    selectedTextColor: "black"
    selectionColor: Theme.gold
    verticalAlignment: TextInput.AlignVCenter

    background: Rectangle {
        border.color: Theme.gold
        border.width: field.activeFocus ? 1 : 0
        color: Theme.steelDeep
        radius: field.radius
    }

    Text {
        anchors.fill: parent
        anchors.margins: field.padding
        color: field.placeholderTextColor
        elide: Text.ElideRight
        font: field.font
        text: field.placeholderText
        textFormat: Text.PlainText
        verticalAlignment: field.verticalAlignment
        visible: field.length === 0 && field.preeditText.length === 0
    }
}
