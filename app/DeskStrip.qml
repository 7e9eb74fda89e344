import QtQuick
import Wingbell.App
import Wingbell.Panels

// The power panel beside the console. Created once there is a controller to show.
Item {
    id: strip

    required property ContentModels models

    signal aboutToStart

    PowerPanel {
        id: power

        height: parent.height - 28
        objectName: "powerPanel"
        server: strip.models.server
        showFile: strip.models.showFile
        width: implicitWidth
        x: 14
        y: 14

        onAboutToStart: strip.aboutToStart()
    }
    ConsolePanel {
        anchors.bottom: power.bottom
        anchors.left: power.right
        anchors.leftMargin: 14
        anchors.right: parent.right
        anchors.rightMargin: 14
        anchors.top: power.top
        objectName: "consolePanel"

        lines: ConsoleModel {
            server: strip.models.server
        }
    }
}
