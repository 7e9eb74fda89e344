import QtQuick
import Wingbell.Look
import Wingbell.Panels

// Minimise, maximise and close, small and of steel, beside the header's bolt. What can be hit of each
// is larger than what is drawn, and meets the next one's.
Row {
    id: buttons

    required property bool maximized

    signal closeRequested
    signal maximizeRequested
    signal minimizeRequested

    WindowButton {
        //: A button of the window, spoken only.
        Accessible.name: qsTr("Minimise")
        drawnAt: 6
        symbol: "minus"

        onClicked: buttons.minimizeRequested()
    }
    WindowButton {
        Accessible.name: {
            if (buttons.maximized)
                //: A button of the window, spoken only: gives it the size back that it had.
                return qsTr("Restore");
            //: A button of the window, spoken only: lets it fill the screen.
            return qsTr("Maximise");
        }
        drawnAt: 4
        symbol: buttons.maximized ? "square.on.square" : "square"

        onClicked: buttons.maximizeRequested()
        onSymbolChanged: cancel()
    }
    WindowButton {
        //: A button of the window, spoken only: closes it.
        Accessible.name: qsTr("Close")
        drawnAt: 2
        symbol: "xmark"

        onClicked: buttons.closeRequested()
    }

    component WindowButton: Pressable {
        id: button

        // From the left of what can be hit.
        required property real drawnAt
        required property string symbol

        implicitHeight: 24
        implicitWidth: 24

        InsetPlate {
            cornerRadius: 8
            fill: Theme.faded(Theme.steelMid, button.pressed ? 0.6 : hover.hovered ? 0.45 : 0.2)
            height: 16
            outline: Theme.faded(Theme.steelMid, 0.6)
            outlineWidth: 1
            width: 16
            x: button.drawnAt
            y: 4

            Symbol {
                anchors.centerIn: parent
                color: Theme.faded("white", hover.hovered ? 0.95 : 0.65)
                fontSize: 8
                name: button.symbol
            }
            FocusRing {
                cornerRadius: 12
                visible: button.activeFocus
            }
        }
        HoverHandler {
            id: hover
        }
    }
}
