import QtQuick
import Wingbell.App
import Wingbell.Look

// Header, then the strip with power panel and console, then the editor of the show.
Rectangle {
    id: view

    readonly property alias headerHeight: header.height
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

    ControlHeader {
        id: header

        anchors.left: parent.left
        anchors.right: parent.right
        objectName: "header"
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
