import QtQuick
import Wingbell.App
import Wingbell.Panels

// The panels below the header, in their places: power panel and console in the strip, the editor of
// the show under the divider. Created once there is a controller to show.
Item {
    id: desk

    required property ContentModels models
    required property real stripHeight

    PowerPanel {
        id: power

        height: desk.stripHeight - 28
        objectName: "powerPanel"
        server: desk.models.server
        showFile: desk.models.showFile
        width: implicitWidth
        x: 14
        y: 14
    }
    ConsolePanel {
        anchors.bottom: power.bottom
        anchors.left: power.right
        anchors.leftMargin: 14
        anchors.right: parent.right
        anchors.rightMargin: 14
        anchors.top: power.top
        objectName: "consolePanel"

        lines: ConsoleLines {
            server: desk.models.server
        }
    }
    ShowSetupPanel {
        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.topMargin: desk.stripHeight + 1
        config: desk.models.config
        objectName: "showSetupPanel"
        serverIsRunning: desk.models.server.isRunning
    }
}
