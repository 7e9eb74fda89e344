#include "app/ContentModels.h"
#include "look/Theme.h"
#include "panels/console/ConsoleModel.h"
#include "server/ServerController.h"
#include "tests/TestProgram.h"
#include "tests/fixtures/ChildProcesses.h"
#include "tests/pictures/PictureComparison.h"

#include <QFile>
#include <QGuiApplication>
#include <QImageWriter>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQmlExtensionPlugin>
#include <QQuickItem>
#include <QQuickWindow>
#include <QStyleHints>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <unistd.h>

#include <cmath>
#include <functional>

Q_IMPORT_QML_PLUGIN(Wingbell_LookPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_PanelsPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_AppPlugin)

using namespace Qt::StringLiterals;
using namespace wingbell;

namespace {

class NoSleepInhibitor final : public SleepInhibitor
{
public:
    quint32 inhibit(const QString& /*reason*/) override { return 0; }
    void release(quint32 /*identifier*/) override {}
};

constexpr double margin = 8.0; // around a panel, for what it casts beyond its edges

/// A window of the stage's colour, the models of a show in a folder of its own, and a server that
/// does as it is told.
class Scene
{
public:
    Scene()
        : config(QDir(m_folder.path()))
        , server(
              config, [this] { return std::optional<QString>(m_server); }, m_sleep)
        , models(QDir(m_folder.path()))
    {
        m_engine.addImportPath(u"qrc:/qt/qml"_s);
        m_window.setColor(Theme::stage());
    }
    ~Scene() { endServer(); }
    Q_DISABLE_COPY_MOVE(Scene)

    /// Puts a component of a module, "Panels/PowerPanel", on the window, with a margin around it.
    QQuickItem* put(const QString& component, const QSizeF& size, const QVariantMap& properties)
    {
        return fill(component, size, margin, properties);
    }

    /// The same without a margin. A height of 0 is the component's own.
    QQuickItem*
    fill(const QString& component, const QSizeF& size, double around, QVariantMap properties)
    {
        QQmlComponent source(&m_engine, QUrl(u"qrc:/qt/qml/Wingbell/%1.qml"_s.arg(component)));
        properties.insert(u"x"_s, around);
        properties.insert(u"y"_s, around);
        properties.insert(u"width"_s, size.width());
        if (size.height() > 0.0) {
            properties.insert(u"height"_s, size.height());
        }
        m_item.reset(qobject_cast<QQuickItem*>(source.createWithInitialProperties(properties)));
        if (!m_item) {
            qFatal("%s", qPrintable(source.errorString()));
        }
        m_item->setParentItem(m_window.contentItem());
        m_window.resize(
            qCeil(m_item->width() + 2.0 * around), qCeil(m_item->height() + 2.0 * around));
        return m_item.get();
    }

    /// Starts the server that behaves in that way.
    void startServer(const QString& behaviour)
    {
        m_server = m_folder.filePath(behaviour);
        QVERIFY(QFile::link(QStringLiteral(WINGBELL_MISBEHAVING_SERVER), m_server));
        server.start();
    }

    QImage picture()
    {
        m_window.show();
        // What is loaded while the rest is shown already belongs to the picture.
        for (const QString& name : {u"strip"_s, u"setup"_s}) {
            if (const auto* const part = m_item->findChild<QQuickItem*>(name)) {
                constexpr int ready = 1;
                (void)QTest::qWaitFor(
                    [part] { return part->property("status").toInt() == ready; }, 20'000);
            }
        }
        // A grab leaves what it likes in the last pixels of a window of no whole number of them.
        const auto certain = [this](int points) {
            const double pixels = points * m_window.devicePixelRatio();
            return pixels == std::floor(pixels) ? qRound(pixels) : qFloor(pixels) - 1;
        };
        return m_window.grabWindow()
            .convertToFormat(QImage::Format_RGB32)
            .copy(0, 0, certain(m_window.width()), certain(m_window.height()));
    }

    [[nodiscard]] QQuickWindow& window() { return m_window; }

private:
    void endServer()
    {
        for (const pid_t pid : childProcesses()) {
            ::kill(pid, SIGTERM);
        }
        QVERIFY(QTest::qWaitFor([this] { return !server.isRunning() && !server.isStarting(); }));
    }

    QTemporaryDir m_folder;
    QString m_server;
    NoSleepInhibitor m_sleep;

public:
    ShowConfig config;
    ServerController server;
    ContentModels models;

private:
    QQmlEngine m_engine;
    QQuickWindow m_window;
    std::unique_ptr<QQuickItem> m_item;
};

using Build = std::function<void(Scene&)>;

QVariant pointerTo(auto& object)
{
    return QVariant::fromValue(&object);
}

void headerAlone(Scene& scene)
{
    scene.fill(u"Look/ControlHeader"_s, QSizeF(780.0, 0.0), 0.0, {});
    constexpr int shadow = 12; // falls below the trim
    scene.window().resize(780, scene.window().height() + shadow);
}

QQuickItem* powerPanel(Scene& scene)
{
    return scene.put(
        u"Panels/PowerPanel"_s, QSizeF(230.0, 232.0),
        {{u"server"_s, pointerTo(scene.server)}, {u"showFile"_s, ContentModels::showFile()}});
}

void powerPanelStarting(Scene& scene)
{
    powerPanel(scene);
    scene.startServer(u"silent"_s);
    QVERIFY(scene.server.isStarting());
}

void powerPanelOnAir(Scene& scene)
{
    powerPanel(scene);
    scene.startServer(u"hello"_s);
    QTRY_VERIFY(scene.server.isRunning());
}

void powerPanelFocused(Scene& scene)
{
    auto* const rocker = powerPanel(scene)->findChild<QQuickItem*>(u"rocker"_s);
    QVERIFY(rocker != nullptr);
    scene.window().show();
    scene.window().requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(&scene.window()));
    rocker->forceActiveFocus(Qt::TabFocusReason);
    QVERIFY(rocker->hasActiveFocus());
}

Build consoleWith(const QStringList& lines)
{
    return [lines](Scene& scene) {
        auto* const rows = new ConsoleModel(&scene.config);
        const QQuickItem* const panel = scene.put(
            u"Panels/ConsolePanel"_s, QSizeF(508.0, 232.0),
            {{u"lines"_s, QVariant::fromValue(rows)}});
        scene.window().show();
        rows->setLines(lines);
        const auto* const animation = panel->findChild<QObject*>(u"followAnimation"_s);
        QVERIFY(animation != nullptr);
        QTRY_VERIFY(!animation->property("running").toBool());
    };
}

QStringList manyLines()
{
    QStringList lines;
    for (int number = 1; number <= 40; ++number) {
        lines.append(u"Line %1 of forty: all quiet on stage left."_s.arg(number));
    }
    return lines;
}

void setupPanel(Scene& scene, double height, bool running)
{
    scene.fill(
        u"Panels/ShowSetupPanel"_s, QSizeF(780.0, height), 0.0,
        {{u"config"_s, pointerTo(scene.config)}, {u"serverIsRunning"_s, running}});
}

void setupPanelByDefault(Scene& scene)
{
    setupPanel(scene, 520.0, false);
}

void setupPanelWithWarning(Scene& scene)
{
    scene.config.setHasUnsavedChanges(true);
    setupPanel(scene, 300.0, true);
}

void setupPanelOfAnEmptyShow(Scene& scene)
{
    scene.config.setShow({});
    scene.config.setChannels({});
    scene.config.setRoles({});
    setupPanel(scene, 470.0, false);
}

void roleCard(Scene& scene, const QString& name)
{
    const QList<Role>& roles = scene.config.roles();
    const auto role = std::find_if(roles.cbegin(), roles.cend(), [&name](const Role& candidate) {
        return candidate.name == name;
    });
    QVERIFY(role != roles.cend());
    scene.put(
        u"Panels/RoleCard"_s, QSizeF(380.0, 0.0),
        {{u"config"_s, pointerTo(scene.config)}, {u"role"_s, QVariant::fromValue(*role)}});
}

void roleCardWithoutAName(Scene& scene)
{
    Role unnamed = scene.config.roles().constFirst();
    unnamed.name.clear();
    scene.config.setChannels({});
    scene.put(
        u"Panels/RoleCard"_s, QSizeF(380.0, 0.0),
        {{u"config"_s, pointerTo(scene.config)}, {u"role"_s, QVariant::fromValue(unnamed)}});
}

Build channelsEditorWith(const QStringList& channels, const QString& newName)
{
    return [channels, newName](Scene& scene) {
        scene.config.setChannels(channels);
        scene.put(
            u"Panels/ChannelsEditor"_s, QSizeF(360.0, 0.0),
            {{u"config"_s, pointerTo(scene.config)}, {u"newChannelName"_s, newName}});
    };
}

Build contentViewOf(const QSizeF& size)
{
    return [size](Scene& scene) {
        scene.fill(u"App/ContentView"_s, size, 0.0, {{u"models"_s, pointerTo(scene.models)}});
    };
}

/// Qt 6.8 places the letters of some texts a fraction of a pixel elsewhere: those pictures exist
/// twice.
QString referenceOf(const QString& name)
{
    const QString ofNewerQt = QStringLiteral(WINGBELL_REFERENCES "/qt-6.8/%1.png").arg(name);
    return QT_VERSION >= QT_VERSION_CHECK(6, 8, 0) && QFile::exists(ofNewerQt)
               ? ofNewerQt
               : QStringLiteral(WINGBELL_REFERENCES "/%1.png").arg(name);
}

} // namespace

/// Every panel in every state, as it is remembered in the reference folder. To remember how the
/// panels look now, run it with WINGBELL_WRITE_REFERENCES set and look at what changed:
/// WINGBELL_WRITE_REFERENCES=1 ctest --preset release -L pictures
class PicturesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aPictureDiffersFromAnotherAndNotFromItself();
    void aPanelLooksAsItDid_data();
    void aPanelLooksAsItDid();
};

void PicturesTest::initTestCase()
{
    if (!qEnvironmentVariableIsSet("QT_QUICK_BACKEND")) {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    }
    QGuiApplication::styleHints()->setCursorFlashTime(0);
    QVERIFY(QDir().mkpath(QStringLiteral(WINGBELL_DIFFERENCES)));
}

void PicturesTest::aPictureDiffersFromAnotherAndNotFromItself()
{
    QImage first(100, 100, QImage::Format_RGB32);
    first.fill(Qt::black);
    QImage second = first;
    QVERIFY(!comparePictures(first, second).isVisible());

    second.fill(qRgb(8, 8, 8));
    QVERIFY2(!comparePictures(first, second).isVisible(), "a shade is not seen");

    second = first;
    for (int x = 0; x < 21; ++x) {
        QVERIFY(!comparePictures(first, second).isVisible());
        second.setPixel(x, 0, qRgb(0, 9, 0));
    }
    QVERIFY2(comparePictures(first, second).isVisible(), "a line of 21 pixels is seen");
    QVERIFY2(
        comparePictures(first, QImage(100, 99, QImage::Format_RGB32)).isVisible(), "another size");
    QVERIFY2(comparePictures(first, {}).isVisible(), "no picture");
}

void PicturesTest::aPanelLooksAsItDid_data()
{
    QTest::addColumn<Build>("build");
    const auto add = [](const char* name, const Build& build) {
        QTest::newRow(name) << build;
    };
    add("header", headerAlone);
    add("powerPanel-stopped", powerPanel);
    add("powerPanel-starting", powerPanelStarting);
    add("powerPanel-onAir", powerPanelOnAir);
    add("powerPanel-focused", powerPanelFocused);
    add("console-empty", consoleWith({}));
    add("console-lines",
        consoleWith(
            {u"\u25B6\uFE0E Starting server with /Users/Shared/Wingbell/roles.json\u2026"_s,
             u"Listening for OSC on port 47000."_s, u"Places, please"_s, u"Places, please"_s,
             u"\u26A0\uFE0F <b>Plain</b> text & nothing else"_s, u"\u25A0 Stopping\u2026"_s,
             u"\u25A0 Server stopped."_s}));
    add("console-longLines",
        consoleWith(
            {u"A line of many words wraps onto the next row of the console where one ends. "_s
                 .repeated(3),
             QString(200, u'x'), u"short"_s}));
    add("console-manyLines", consoleWith(manyLines()));
    add("setupPanel-default", setupPanelByDefault);
    add("setupPanel-warning", setupPanelWithWarning);
    add("setupPanel-emptyShow", setupPanelOfAnEmptyShow);
    add("roleCard", [](Scene& scene) { roleCard(scene, u"Stage Manager"_s); });
    add("roleCard-listenOnly", [](Scene& scene) { roleCard(scene, u"Director (listen only)"_s); });
    add("roleCard-withoutAName", roleCardWithoutAName);
    add("channelsEditor", channelsEditorWith(
                              {u"Main"_s, u"Tech"_s, u"Backstage"_s, u"Green Room"_s,
                               u"Front of House"_s, u"Fly Floor"_s},
                              {}));
    add("channelsEditor-typed", channelsEditorWith({u"Main"_s}, u"Orchestra Pit"_s));
    add("window-smallest", contentViewOf(QSizeF(780.0, 680.0)));
    add("window-default", contentViewOf(QSizeF(820.0, 760.0)));
    add("window-large", contentViewOf(QSizeF(1600.0, 1000.0)));
}

void PicturesTest::aPanelLooksAsItDid()
{
    QFETCH(const Build, build);
    Scene scene;
    build(scene);
    if (QTest::currentTestFailed()) {
        return;
    }
    scene.window().show();
    QVERIFY(QTest::qWaitForWindowExposed(&scene.window()));

    const double scale = scene.window().devicePixelRatio();
    const QString name = QString::fromLatin1(QTest::currentDataTag()) +
                         (scale == 1.0 ? QString() : u"@%1x"_s.arg(scale));
    const QString reference = referenceOf(name);
    if (qEnvironmentVariableIsSet("WINGBELL_WRITE_REFERENCES")) {
        QImage last;
        QImage now = scene.picture();
        QTRY_VERIFY((last = std::exchange(now, scene.picture())) == now);
        QImageWriter writer(reference);
        writer.setQuality(0); // the smallest file
        QVERIFY2(writer.write(now), qPrintable(writer.errorString()));
        return;
    }

    const QImage expected(reference);
    QVERIFY2(!expected.isNull(), qPrintable(reference));
    if (QTest::qWaitFor(
            [&] { return !comparePictures(expected, scene.picture()).isVisible(); }, 2000)) {
        return;
    }
    const QImage actual = scene.picture();
    const PictureComparison comparison = comparePictures(expected, actual);
    const QDir folder(QStringLiteral(WINGBELL_DIFFERENCES));
    actual.save(folder.filePath(name + u"-actual.png"_s));
    comparison.difference.save(folder.filePath(name + u"-difference.png"_s));
    QFAIL(qPrintable(u"%1: %2 % of the pixels differ; look at %3"_s.arg(name)
                         .arg(comparison.differing * 100.0)
                         .arg(folder.path())));
}

WINGBELL_GUI_TEST(PicturesTest)
#include "PicturesTest.moc"
