import QtQuick
import Wingbell.Look

// The text of a console's row with a part of it selected.
TextEdit {
    id: selection

    property int begin
    property int end

    function show() {
        select(begin, end);
    }

    Accessible.ignored: true
    activeFocusOnPress: false
    enabled: false // the console takes the pointer for all its rows
    persistentSelection: true
    readOnly: true
    selectedTextColor: "black"
    selectionColor: Theme.gold
    textFormat: TextEdit.PlainText

    onBeginChanged: show()
    onEndChanged: show()
}
