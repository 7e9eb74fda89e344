import QtQuick
import Wingbell.Look
import Wingbell.Panels

// The server's own words. Follows the newest line whenever the number of lines changes, and only
// then: at the log's cap the rows change under a view that stands still.
Rectangle {
    id: panel

    required property ConsoleLines lines

    color: Theme.steelDark
    radius: 14

    Row {
        id: header

        spacing: 6
        x: 14
        y: 14

        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.ready
            height: 6
            radius: 3
            width: 6
        }
        Text {
            color: Theme.faded(Theme.gold, 0.85)
            font.bold: true
            font.letterSpacing: 1.5
            font.pixelSize: 10
            text: qsTr("CONSOLE")
            textFormat: Text.PlainText
        }
    }
    Rectangle {
        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.margins: 14
        anchors.right: parent.right
        anchors.top: header.bottom
        anchors.topMargin: 6
        border.color: Theme.faded(Theme.steelMid, 0.6)
        border.width: 1
        clip: true
        color: "black"
        radius: 6

        ListView {
            id: list

            function follow() {
                animation.stop();
                const from = contentY;
                positionViewAtEnd();
                const to = contentY;
                contentY = Math.max(from, to - height);
                animation.to = to;
                animation.start();
            }

            Accessible.name: qsTr("Console")
            Accessible.role: Accessible.List
            anchors.fill: parent
            anchors.leftMargin: 10
            anchors.rightMargin: 10
            bottomMargin: 13 // the padding, the end marker and its spacing
            boundsBehavior: Flickable.StopAtBounds
            cacheBuffer: 2000
            model: panel.lines
            spacing: 2
            topMargin: 10

            delegate: Text {
                required property string line

                Accessible.name: line
                Accessible.role: Accessible.StaticText
                color: Qt.rgba(0.55, 0.95, 0.6, 1)
                font.family: "monospace"
                font.pixelSize: 11
                text: line
                textFormat: Text.PlainText
                width: ListView.view.width
                wrapMode: Text.Wrap
            }

            NumberAnimation {
                id: animation

                duration: 150
                easing.type: Easing.OutQuad
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
    }
}
