import QtQuick
import Wingbell.Look

// A titled part of the show's editor.
Column {
    id: section

    required property string title

    Accessible.name: title
    Accessible.role: Accessible.Grouping
    spacing: 8
    width: parent?.width ?? 0

    Text {
        color: Theme.faded(Theme.gold, 0.85)
        font.letterSpacing: 1.5
        font.pixelSize: 11
        font.weight: Font.Bold
        text: section.title
        textFormat: Text.PlainText
    }
}
