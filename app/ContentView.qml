import QtQuick
import Wingbell.App
import Wingbell.Look
import Wingbell.Panels

// Header, then the strip with power panel and console, then the editor of the show.
Rectangle {
    id: view

    required property ContentModels models
    readonly property bool shown: Window.visibility !== Window.Hidden

    color: Theme.stage

    Component.onCompleted: {
        panels.loadOnce();
        if (shown)
            models.viewShown();
    }
    onShownChanged: {
        if (shown)
            models.viewShown();
    }

    Rectangle {
        id: header

        objectName: "header"

        anchors.left: parent.left
        anchors.right: parent.right
        color: Theme.steelDark
        height: title.implicitHeight + subtitle.implicitHeight + 2 + 28 + 12

        Text {
            id: title

            anchors.horizontalCenter: parent.horizontalCenter
            color: Theme.gold
            font.bold: true
            font.letterSpacing: 0.5
            font.pixelSize: 17
            text: qsTr("Wingbell Control")
            textFormat: Text.PlainText
            y: 14
        }
        Text {
            id: subtitle

            anchors.horizontalCenter: parent.horizontalCenter
            anchors.top: title.bottom
            anchors.topMargin: 2
            color: Theme.faded("white", 0.75)
            font.pixelSize: 10
            text: qsTr("Set up and run the show relay")
            textFormat: Text.PlainText
        }
    }
    Item {
        id: strip

        objectName: "strip"

        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: header.bottom
        height: 260
    }
    Rectangle {
        id: divider

        objectName: "divider"

        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: strip.bottom
        color: Theme.faded(Theme.steelMid, 0.4)
        height: 1
    }
    Loader {
        id: panels

        function loadOnce() {
            if (status === Loader.Null && view.models.server)
                setSource("DeskPanels.qml", {
                        "models": view.models,
                        "stripHeight": strip.height
                    });
        }

        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: strip.top
    }
    Connections {
        function onServerChanged() {
            panels.loadOnce();
        }

        target: view.models
    }
}
