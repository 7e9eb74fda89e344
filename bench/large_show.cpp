// What one show costs the real panels: builds them over the show in a folder and drives them by the
// events of a mouse and a keyboard.
//
//   large_show FOLDER      the folder holds roles.json and is written to by no one
//
// Prints a line a measure, "name value". Milliseconds are of the user-interface thread's processor
// time, which other programs on the machine lengthen least; "wall" says where they are not.

#include "app/ContentModels.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQmlExtensionPlugin>
#include <QQuickItem>
#include <QQuickView>
#include <QQuickWindow>
#include <QTimer>
#include <QWheelEvent>
#include <QtTest>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>
#include <string>

Q_IMPORT_QML_PLUGIN(Wingbell_LookPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_PanelsPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_AppPlugin)

using namespace wingbell;

namespace {

double busyMilliseconds()
{
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/// Measures the longest time in which the window did not respond.
class MeasuredApplication : public QGuiApplication
{
public:
    using QGuiApplication::QGuiApplication;

    bool notify(QObject* receiver, QEvent* event) override
    {
        if (m_isInside) {
            return QGuiApplication::notify(receiver, event);
        }
        m_isInside = true;
        const double begin = busyMilliseconds();
        const bool result = QGuiApplication::notify(receiver, event);
        maxStep = std::max(maxStep, busyMilliseconds() - begin);
        m_isInside = false;
        return result;
    }

    double maxStep = 0.0;

private:
    bool m_isInside = false;
};

void print(const char* name, double value)
{
    std::printf("%s %.2f\n", name, value);
}

double residentMegabytes()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) {
            return std::stod(line.substr(6)) / 1024.0;
        }
    }
    return 0.0;
}

QList<QQuickItem*> itemsIn(QQuickItem* root, const QByteArray& type)
{
    QList<QQuickItem*> found;
    for (QQuickItem* const child : root->childItems()) {
        if (QByteArray(child->metaObject()->className()).contains(type)) {
            found.append(child);
        }
        found.append(itemsIn(child, type));
    }
    return found;
}

class Measurement
{
public:
    Measurement(MeasuredApplication& application, const QDir& folder)
        : m_application(application)
        , m_models(folder)
    {
        QObject::connect(&m_view, &QQuickWindow::frameSwapped, &m_view, [this] { ++m_frames; });
    }

    void start()
    {
        QElapsedTimer wall;
        wall.start();
        const double begin = busyMilliseconds();
        m_view.engine()->addImportPath(QStringLiteral("qrc:/qt/qml"));
        m_view.setResizeMode(QQuickView::SizeRootObjectToView);
        m_view.setInitialProperties({{QStringLiteral("models"), QVariant::fromValue(&m_models)}});
        m_view.resize(820, 760);
        m_view.setSource(QUrl(QStringLiteral("qrc:/qt/qml/Wingbell/App/ContentView.qml")));
        m_view.show();
        waitForFrame(0);
        print("first frame", busyMilliseconds() - begin);
        print("first frame, wall", static_cast<double>(wall.elapsed()));
        m_application.maxStep = 0.0;
        while (find("setup")->property("status").toInt() != 1) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        settle();
        print("everything there", busyMilliseconds() - begin);
        print("longest step until then", m_application.maxStep);
        print("items", static_cast<double>(itemsIn(m_view.contentItem(), {}).size()));
        print("resident MB", residentMegabytes());
    }

    void drive()
    {
        m_scroll = find("setupView");
        pressChips();
        repeat("wheel", 80, true, [this](int step) { wheel(step < 40 ? -120 : 120); });
        repeat("bar, far", 12, true, [this](int step) { pressBar(step % 2 == 0 ? 0.9 : 0.3); });
        focus("showName");
        repeat("Tab", 300, false, [this](int /*step*/) { QTest::keyClick(&m_view, Qt::Key_Tab); });
        focus("showName");
        repeat("typing the show's name", 20, false, [this](int step) {
            QTest::keyClick(&m_view, static_cast<char>('a' + step));
        });
        seeCards();
        for (QQuickItem* const field : itemsIn(find("showSetupPanel"), "DeskField_QML")) {
            if (field->property("placeholderText") == QStringLiteral("Role name") &&
                inSight(field)) {
                field->forceActiveFocus();
                break;
            }
        }
        repeat("typing a role's name", 20, false, [this](int step) {
            QTest::keyClick(&m_view, static_cast<char>('a' + step));
        });
        ShowConfig* const config = m_models.config();
        change(
            "adding a channel", [config] { config->addChannel(QStringLiteral("Orchestra Pit")); });
        change("removing a channel", [config] { config->removeChannel(config->channels().at(1)); });
        change("reload", [config] { config->load(); });
        change("adding a role", [config] { config->addRole(); });
        change("removing a role", [config] { config->removeRole(config->roles().constFirst()); });
        m_view.resize(1200, 900);
        change("another width", [this] { m_view.resize(1000, 900); });
        repeat("dragging the window's edge", 80, false, [this](int step) {
            m_view.resize(step < 40 ? 1000 - 5 * step : 600 + 5 * step, 900);
        });
        print("resident MB at the end", residentMegabytes());
    }

private:
    [[nodiscard]] QQuickItem* find(const char* name) const
    {
        return m_view.rootObject()->findChild<QQuickItem*>(QString::fromLatin1(name));
    }

    void waitForFrame(int before)
    {
        QTimer timeout;
        timeout.setSingleShot(true);
        timeout.start(300);
        while (m_frames == before && timeout.isActive()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
    }

    /// Until nothing happened for a while, of what the last event set off.
    void settle()
    {
        QElapsedTimer quiet;
        quiet.start();
        int frames = m_frames;
        constexpr qint64 enough = 120;
        while (quiet.elapsed() < enough) {
            const double begin = busyMilliseconds();
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            if (frames != m_frames || busyMilliseconds() - begin > 1.0) {
                frames = m_frames;
                quiet.restart();
            }
        }
    }

    [[nodiscard]] bool inSight(QQuickItem* item) const
    {
        const QRectF seen = m_scroll->mapRectToScene(QRectF(QPointF(), m_scroll->size()));
        return seen.contains(item->mapRectToScene(QRectF(QPointF(), item->size())));
    }

    void seeCards()
    {
        const QList<QQuickItem*> cards = itemsIn(find("showSetupPanel"), "RoleCard_QML");
        const double top = cards.constFirst()->mapToItem(m_scroll, QPointF()).y();
        m_scroll->setProperty("contentY", m_scroll->property("contentY").toDouble() + top - 20.0);
        settle();
    }

    void focus(const char* name)
    {
        find(name)->forceActiveFocus(Qt::TabFocusReason);
        settle();
    }

    void pressChips()
    {
        seeCards();
        QList<double> times;
        QList<QPoint> places;
        for (QQuickItem* const chip : itemsIn(find("showSetupPanel"), "Chip_QML")) {
            if (inSight(chip) && places.size() < 20) {
                places.append(chip->mapToScene(QPointF(8.0, 8.0)).toPoint());
            }
        }
        for (const QPoint& place : places) {
            QTest::mousePress(&m_view, Qt::LeftButton, {}, place);
            settle();
            const int before = m_frames;
            const double begin = busyMilliseconds();
            QTest::mouseRelease(&m_view, Qt::LeftButton, {}, place);
            waitForFrame(before);
            times.append(busyMilliseconds() - begin);
        }
        std::sort(times.begin(), times.end());
        print("a chip pressed, median", times.value(times.size() / 2));
        print("a chip pressed, worst", times.value(times.size() - 1));
    }

    void wheel(int angle)
    {
        const QPointF place = m_scroll->mapToScene(QPointF(200.0, 100.0));
        QWheelEvent event(
            place, m_view.mapToGlobal(place), {}, QPoint(0, angle), {}, {}, Qt::NoScrollPhase,
            false);
        QCoreApplication::sendEvent(&m_view, &event);
    }

    void pressBar(double part)
    {
        auto* const bar = find("scrollBar");
        const QPoint place =
            m_scroll->mapToScene(QPointF(m_scroll->width() - 5.0, part * m_scroll->height()))
                .toPoint();
        if (bar != nullptr) {
            QTest::mouseClick(&m_view, Qt::LeftButton, {}, place);
        }
    }

    /// From an event to the frame that shows what it did, and the longest step of what follows.
    void repeat(const char* name, int steps, bool isScrolling, const std::function<void(int)>& act)
    {
        QList<double> times;
        m_application.maxStep = 0.0;
        for (int step = 0; step < steps; ++step) {
            const int before = m_frames;
            const double begin = busyMilliseconds();
            const double position = m_scroll->property("contentY").toDouble();
            act(step);
            if (isScrolling && m_scroll->property("contentY").toDouble() == position) {
                continue; // at the end already
            }
            waitForFrame(before);
            times.append(busyMilliseconds() - begin);
        }
        settle();
        std::sort(times.begin(), times.end());
        const std::string label(name);
        print((label + ", median").c_str(), times.value(times.size() / 2));
        print((label + ", worst").c_str(), times.value(times.size() - 1));
        print((label + ", longest step").c_str(), m_application.maxStep);
    }

    void change(const char* name, const std::function<void()>& act)
    {
        settle();
        const int before = m_frames;
        const double begin = busyMilliseconds();
        act();
        waitForFrame(before);
        print(name, busyMilliseconds() - begin);
    }

    MeasuredApplication& m_application;
    ContentModels m_models;
    QQuickView m_view;
    QQuickItem* m_scroll = nullptr;
    int m_frames = 0;
};

} // namespace

int main(int argc, char* argv[])
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QQuickWindow::setTextRenderType(QQuickWindow::NativeTextRendering);
    MeasuredApplication application(argc, argv);
    if (argc != 2) {
        return EXIT_FAILURE;
    }
    Measurement measurement(application, QDir(QString::fromLocal8Bit(argv[1])));
    measurement.start();
    measurement.drive();
    return EXIT_SUCCESS;
}
