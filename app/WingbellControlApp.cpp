#include "app/WingbellControlApp.h"

#include "bus/BusConnection.h"

#include <QFile>
#include <QGuiApplication>
#include <QLocale>
#include <QQmlApplicationEngine>
#include <QQmlExtensionPlugin>
#include <QQuickWindow>
#include <QSize>

#include <chrono>
#include <cstdlib>

Q_IMPORT_QML_PLUGIN(Wingbell_LookPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_PanelsPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_AppPlugin)

namespace wingbell {

namespace {

bool isEnglish(const QString& language)
{
    // No language at all, "C", means the text of the views.
    return language == u"C" || QLocale(language).language() == QLocale::English;
}

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

std::optional<QString> WindowLanguage::catalogueFor(const QStringList& wanted)
{
    for (const QString& language : wanted) {
        // English has no catalogue and yet stands in its place: "en, de" is no wish for German.
        if (isEnglish(language)) {
            return std::nullopt;
        }
        // From the most specific name to the language alone: what Austria has not got, Germany has.
        for (qsizetype end = language.size(); end > 0; end = language.lastIndexOf(u'-', end - 1)) {
            QString name = language.first(end);
            name.replace(u'-', u'_');
            const QString catalogue = u":/translations/wingbell_" % name % u".qm";
            if (QFile::exists(catalogue)) {
                return catalogue;
            }
        }
    }
    return std::nullopt;
}

WindowLanguage::WindowLanguage(const QStringList& wanted)
{
    const std::optional<QString> catalogue = catalogueFor(wanted);
    if (catalogue && m_translator.load(*catalogue)) {
        QCoreApplication::installTranslator(&m_translator);
    }
}

QIcon windowIcon()
{
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64}) {
        icon.addFile(
            QStringLiteral(":/wingbell/icons/wingbell-control-%1.png").arg(size),
            QSize(size, size));
    }
    return icon;
}

int runWindow(char* executable)
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
