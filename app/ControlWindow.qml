import QtQuick
import Wingbell.App
import Wingbell.Look

// The control window. It has no title bar: the view's header is its title, moves it and bears its
// buttons, and its edges resize it. On a screen smaller than its least size everything is laid out
// in the part that can be seen.
Window {
    id: window

    readonly property bool fillsScreen: visibility === Window.Maximized || visibility === Window.FullScreen
    readonly property size least: Qt.size(780, 680)

    function toggleMaximized() {
        if (fillsScreen)
            showNormal();
        else
            showMaximized();
    }

    color: Theme.stage
    flags: Qt.Window | Qt.FramelessWindowHint
    height: room.openingHeight(760, least.height)
    minimumHeight: room.held(least.height, room.available.height)
    minimumWidth: room.held(least.width, room.available.width)
    title: Application.displayName // what a desktop shows anyway, said to a screen reader too
    visible: true
    width: room.openingWidth(820, least.width)

    AvailableGeometry {
        id: room

        window: window
    }
    ContentView {
        id: view

        height: room.shown(window.height, window.least.height, room.available.height)
        width: room.shown(window.width, window.least.width, room.available.width)

        models: ContentModels {
        }
    }
    HeaderHandle {
        height: view.headerHeight
        width: view.width

        onMoved: window.startSystemMove()
        onToggled: window.toggleMaximized()

        WindowButtons {
            anchors.right: parent.right
            anchors.rightMargin: 28
            maximized: window.fillsScreen
            y: 5

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
