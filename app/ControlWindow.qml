import QtQuick
import Wingbell.App
import Wingbell.Look

// The control window. It has no title bar: the view's header is its title, moves it and bears its
// buttons, and its edges resize it.
Window {
    id: window

    function toggleMaximized() {
        if (visibility === Window.Maximized)
            showNormal();
        else
            showMaximized();
    }

    color: Theme.stage
    flags: Qt.Window | Qt.FramelessWindowHint
    height: 760
    minimumHeight: 680
    minimumWidth: 780
    visible: true
    width: 820

    ContentView {
        id: view

        anchors.fill: parent

        models: ContentModels {
        }
    }
    HeaderHandle {
        height: view.headerHeight
        width: parent.width

        onMoved: window.startSystemMove()
        onToggled: window.toggleMaximized()

        WindowButtons {
            anchors.right: parent.right
            anchors.rightMargin: 34
            maximized: window.visibility === Window.Maximized
            y: 9

            onCloseRequested: window.close()
            onMaximizeRequested: window.toggleMaximized()
            onMinimizeRequested: window.showMinimized()
        }
    }
    WindowEdges {
        anchors.fill: parent
        enabled: window.visibility === Window.Windowed

        onDragged: edges => window.startSystemResize(edges)
    }
}
