import QtQuick
import Wingbell.App
import Wingbell.Look

// The control window. Its title is drawn by the view's header.
Window {
    color: Theme.stage
    height: 760
    minimumHeight: 680
    minimumWidth: 780
    visible: true
    width: 820

    ContentView {
        anchors.fill: parent

        models: ContentModels {
        }
    }
}
