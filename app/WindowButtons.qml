import QtQuick
import Wingbell.Look
import Wingbell.Panels

// Minimise, maximise and close, small and of steel, beside the header's bolt.
Row {
    id: buttons

    required property bool maximized

    signal closeRequested
    signal maximizeRequested
    signal minimizeRequested

    spacing: 6

    WindowButton {
        //: A button of the window, spoken only.
        Accessible.name: qsTr("Minimise")
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
        symbol: buttons.maximized ? "square.on.square" : "square"

        onClicked: buttons.maximizeRequested()
    }
    WindowButton {
        //: A button of the window, spoken only: closes it.
        Accessible.name: qsTr("Close")
        symbol: "xmark"

        onClicked: buttons.closeRequested()
    }

    component WindowButton: Pressable {
        id: button

        required property string symbol

        implicitHeight: 16
        implicitWidth: 16

        InsetPlate {
            anchors.fill: parent
            cornerRadius: 8
            fill: Theme.faded(Theme.steelMid, button.pressed ? 0.6 : hover.hovered ? 0.45 : 0.2)
            outline: Theme.faded(Theme.steelMid, 0.6)
            outlineWidth: 1
        }
        Symbol {
            anchors.centerIn: parent
            color: Theme.faded("white", hover.hovered ? 0.95 : 0.65)
            fontSize: 8
            name: button.symbol
        }
        HoverHandler {
            id: hover
        }
        FocusRing {
            cornerRadius: 10
            distance: 2
            visible: button.showsFocus
        }
    }
}
