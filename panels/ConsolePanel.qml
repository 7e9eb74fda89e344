import QtQuick
import Wingbell.Look
import Wingbell.Panels

// The server's own words. Follows the newest line whenever the number of lines changes, and only
// then: at the log's cap the rows change under a view that stands still.
Item {
    id: panel

    required property ConsoleLines lines

    SteelPanelBackground {
        anchors.fill: parent
        cornerRadius: 14
    }
    Row {
        id: header

        spacing: 6
        x: 14
        y: 14

        InsetPlate {
            anchors.verticalCenter: parent.verticalCenter
            cornerRadius: 3
            fill: Theme.ready
            height: 6
            width: 6
        }
        Text {
            Accessible.name: text
            Accessible.role: Accessible.StaticText
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.faded(Theme.gold, 0.85)
            font.letterSpacing: 1.5
            font.pixelSize: 10
            font.weight: Font.Bold
            //: The title over what the server says.
            text: qsTr("CONSOLE")
            textFormat: Text.PlainText
        }
    }
    InsetPlate {
        id: area

        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.margins: 14
        anchors.right: parent.right
        anchors.top: header.bottom
        anchors.topMargin: 6
        cornerRadius: 6
        fill: "black"
        objectName: "logArea"
        outline: Theme.faded(Theme.steelMid, 0.6)

        ListView {
            id: list

            function follow() {
                animation.stop();
                // Without rows there is no end to go to.
                if (count === 0) {
                    contentY = originY;
                    return;
                }
                const from = contentY;
                positionViewAtEnd();
                const to = contentY;
                // From at most a screen away, on whichever side: nobody follows more.
                contentY = Math.min(to + height, Math.max(from, to - height));
                animation.to = to;
                animation.start();
            }

            //: The list of what the server says, spoken only.
            Accessible.name: qsTr("Console")
            Accessible.role: Accessible.List
            activeFocusOnTab: true
            anchors.fill: parent
            anchors.margins: 1
            boundsBehavior: Flickable.StopAtBounds
            cacheBuffer: 1200
            clip: true
            currentIndex: -1 // a current row would have the focus besides the list
            interactive: false
            model: panel.lines
            objectName: "log"
            spacing: 2

            delegate: ConsoleRow {
                width: ListView.view.width
            }
            footer: Item {
                implicitHeight: 13 // the end marker with the spacing before it, and the padding
            }
            header: Item {
                implicitHeight: 10
            }

            Keys.onPressed: event => {
                if (scroll.key(event.key))
                    event.accepted = true;
            }

            NumberAnimation {
                id: animation

                duration: 150
                easing.type: Easing.OutQuad
                objectName: "followAnimation"
                property: "contentY"
                target: list

                onFinished: list.positionViewAtEnd()
            }
            Connections {
                function onCountDiffers() {
                    list.follow();
                }

                target: panel.lines
            }
        }
        DeskScroll {
            id: scroll

            anchors.fill: parent
            flickable: list

            onScrolled: animation.stop()
        }
        FocusRing {
            distance: 1
            visible: list.activeFocus
        }
    }
    CornerBolts {
        anchors.fill: parent
    }
}
