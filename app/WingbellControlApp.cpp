#include "app/WingbellControlApp.h"

#include "app/WindowIcon.h"
#include "app/WindowLanguage.h"
#include "desktop/BusConnection.h"

#include <QGuiApplication>
#include <QLocale>
#include <QQmlApplicationEngine>
#include <QQmlExtensionPlugin>
#include <QQuickWindow>

#include <chrono>
#include <cstdlib>

Q_IMPORT_QML_PLUGIN(Wingbell_LookPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_PanelsPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_AppPlugin)

namespace wingbell {

namespace {

/// The toolkit waits half a minute for a session bus that takes it in and never answers. Without
/// one it goes on at once, and so does everything here.
void standClearOfAHangingBus()
{
    constexpr std::chrono::seconds timeout{1};
    if (BusConnection::hangs(BusConnection::Bus::Session, timeout)) {
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    }
}

} // namespace

int WingbellControlApp::run(char* executable)
{
    // The software scene graph starts in a third of the time and memory, and leaves the graphics
    // card to the show's video.
    if (!qEnvironmentVariableIsSet("QT_QUICK_BACKEND")) {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    }
    // Letters as the software scene graph draws them, on every renderer.
    QQuickWindow::setTextRenderType(QQuickWindow::NativeTextRendering);
    standClearOfAHangingBus();
    int argumentCount = 1;
    char* arguments[] = {executable, nullptr};
    const QGuiApplication application(argumentCount, arguments);
    QGuiApplication::setApplicationName(QStringLiteral("WingbellControl"));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Wingbell Control"));
    QGuiApplication::setDesktopFileName(QStringLiteral("wingbell-control"));
    QGuiApplication::setWindowIcon(windowIcon());
    const WindowLanguage language(QLocale::system().uiLanguages());

    QQmlApplicationEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Wingbell/App/ControlWindow.qml")));
    if (engine.rootObjects().isEmpty()) {
        return EXIT_FAILURE;
    }
    return QGuiApplication::exec();
}

} // namespace wingbell
