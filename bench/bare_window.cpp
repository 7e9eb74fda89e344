// An empty Qt Quick window on the software scene graph: the yardstick for starting and for memory.

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>

int main(int argc, char* argv[])
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    const QGuiApplication application(argc, argv);
    QQmlApplicationEngine engine;
    engine.loadData("import QtQuick\n"
                    "Window { visible: true; width: 820; height: 760; color: 'gray'\n"
                    "  Text { anchors.centerIn: parent; text: 'bare' } }");
    return QGuiApplication::exec();
}
