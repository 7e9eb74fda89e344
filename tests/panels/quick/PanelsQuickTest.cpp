#include <QQmlEngine>
#include <QQmlExtensionPlugin>
#include <QQuickWindow>
#include <QtQuickTest/quicktest.h>

Q_IMPORT_QML_PLUGIN(Wingbell_LookPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_PanelsPlugin)

/// Draws as the window does and finds the panels where it finds them.
class PanelsQuickTest : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable() { QQuickWindow::setGraphicsApi(QSGRendererInterface::Software); }
    void qmlEngineAvailable(QQmlEngine* engine)
    {
        engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
    }
};

QUICK_TEST_MAIN_WITH_SETUP(PanelsQuickTest, PanelsQuickTest)
#include "PanelsQuickTest.moc"
