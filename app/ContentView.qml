import QtQuick
import Wingbell.App
import Wingbell.Look
import Wingbell.Panels

// Header, then the strip with power panel and console, then the editor of the show.
Rectangle {
    id: view

    readonly property alias headerHeight: header.height
    required property ContentModels models
    readonly property bool shown: Window.visibility !== Window.Hidden

    // Once there is a controller to show, and then for good. The panels come one after the other
    // while what is there already can be seen and used.
    function showPanels() {
        if (strip.status !== Loader.Null || !models.server)
            return;
        strip.setSource("DeskStrip.qml", {
                "models": models
            });
        setup.setSource("../Panels/ShowSetupPanel.qml", {
                "config": models.config,
                "height": setup.height,
                "objectName": "showSetupPanel",
                "serverIsRunning": models.server.isRunning,
                "width": setup.width
            });
    }

    color: Theme.stage

    Component.onCompleted: {
        showPanels();
        if (shown)
            models.viewShown();
    }
    onShownChanged: {
        if (shown)
            models.viewShown();
    }

    Shortcut {
        autoRepeat: false
        sequence: "F1"

        onActivated: Qt.openUrlExternally(view.models.guide)
    }
    ControlHeader {
        id: header

        anchors.left: parent.left
        anchors.right: parent.right
        objectName: "header"
    }
    Loader {
        id: strip

        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: header.bottom
        asynchronous: true
        height: 260
        objectName: "strip"
    }
    Rectangle {
        id: divider

        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: strip.bottom
        color: Theme.faded(Theme.steelMid, 0.4)
        height: 1
        objectName: "divider"
    }
    Loader {
        id: setup

        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: divider.bottom
        asynchronous: true
        objectName: "setup"
    }
    Binding {
        property: "serverIsRunning"
        target: setup.item
        value: view.models.server?.isRunning ?? false
    }
    Connections {
        function onAboutToStart() {
            (setup.item as ShowSetupPanel)?.commit();
        }

        target: strip.item as DeskStrip
    }
    Connections {
        function onServerChanged() {
            view.showPanels();
        }

        target: view.models
    }
}
