import QtQuick
import Wingbell.Look
import Wingbell.Panels

// The editor of the show. Holds no show data: every edit is in the store at once and reaches disk
// by "Save Show" alone.
Flickable {
    id: panel

    required property ShowConfig config
    required property bool serverIsRunning

    boundsBehavior: Flickable.StopAtBounds
    clip: true
    contentHeight: column.implicitHeight + 40
    contentWidth: width

    ShowSetup {
        id: setup

        config: panel.config
        serverIsRunning: panel.serverIsRunning
    }
    SaveFeedback {
        id: feedback
    }
    Column {
        id: column

        spacing: 20
        width: parent.width - 40
        x: 20
        y: 20

        Rectangle {
            Accessible.name: warning.text
            Accessible.role: Accessible.AlertMessage
            color: Theme.steelDeep
            height: warning.implicitHeight + 20
            radius: 8
            visible: setup.needsRestart
            width: parent.width

            Text {
                id: warning

                Accessible.ignored: true
                color: Theme.gold
                font.pixelSize: 12
                text: qsTr("Changes won't reach the show until you stop and restart the server.")
                textFormat: Text.PlainText
                width: parent.width - 20
                wrapMode: Text.Wrap
                x: 10
                y: 10
            }
        }
        Section {
            title: qsTr("SHOW NAME")

            DeskField {
                Accessible.name: qsTr("Show name")
                font.bold: true
                font.pixelSize: 15
                padding: 10
                placeholderText: qsTr("e.g. Fall Recital")
                radius: 8
                text: panel.config.show
                width: parent.width

                onTextEdited: panel.config.show = text
            }
        }
        Section {
            title: qsTr("OSC (QLab)")

            Row {
                spacing: 10

                Text {
                    Accessible.ignored: true
                    anchors.verticalCenter: parent.verticalCenter
                    color: Theme.faded("white", 0.8)
                    font.bold: true
                    font.pixelSize: 13
                    text: qsTr("Port")
                    textFormat: Text.PlainText
                }
                DeskField {
                    Accessible.name: qsTr("Port")
                    font.family: "monospace"
                    placeholderText: "47000"
                    text: setup.oscPortText
                    width: 100

                    onTextEdited: setup.enterOscPort(text)
                }
            }
            Text {
                color: Theme.faded("white", 0.55)
                font.pixelSize: 10
                text: qsTr("Point a QLab Network (OSC) cue at this Mac's IP and this port. Address /wingbell/say (or /wingbell/say/ChannelName) with a string argument speaks it into the intercom.")
                textFormat: Text.PlainText
                width: parent.width
                wrapMode: Text.Wrap
            }
        }
        Row {
            spacing: 8

            DeskButton {
                font.bold: true
                font.pixelSize: 13
                text: feedback.justSaved ? qsTr("Saved \u2713") : qsTr("Save Show")
                tinted: true
                width: Math.max(120, implicitWidth)

                onClicked: {
                    panel.config.save();
                    feedback.savePressed();
                }
            }
            DeskButton {
                font.pixelSize: 13
                text: qsTr("Reload from File")

                onClicked: panel.config.load()
            }
        }
    }

    component Section: Column {
        id: section

        required property string title

        spacing: 8
        width: parent?.width ?? 0

        Text {
            color: Theme.faded(Theme.gold, 0.85)
            font.bold: true
            font.letterSpacing: 1.5
            font.pixelSize: 11
            text: section.title
            textFormat: Text.PlainText
        }
    }
}
