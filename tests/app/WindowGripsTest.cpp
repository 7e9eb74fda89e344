#include "tests/TestProgram.h"

#include <QGuiApplication>
#include <QQmlEngine>
#include <QQmlExtensionPlugin>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QStyleHints>
#include <QtTest>

#include <memory>

Q_IMPORT_QML_PLUGIN(Wingbell_LookPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_PanelsPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_AppPlugin)

using namespace Qt::StringLiterals;

namespace {

constexpr QPoint middle(200, 50);
constexpr QPoint rightEdge(398, 50);

} // namespace

/// What the header and the edges ask of the window manager.
class WindowGripsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { m_view.reset(); }

    void aPressOnTheHeaderAsksForNothing();
    void aMoveIsAskedForOnce();
    void everyPressCanMoveAnew();
    void aDoubleClickOnTheHeaderToggles();
    void aClickOnAnEdgeAsksForNothing();
    void aResizeIsAskedForOnce();
    void everyPressCanResizeAnew();
    void theButtonsTargetsMeetAndStandClearOfTheEdge();

private:
    void show(const QString& name, const QVariantMap& properties = {});
    /// Asks of the shown item are counted by their signal.
    [[nodiscard]] std::unique_ptr<QSignalSpy> count(const char* signal) const
    {
        return std::make_unique<QSignalSpy>(m_view->rootObject(), signal);
    }
    void press(QPoint place) { QTest::mousePress(m_view.get(), Qt::LeftButton, {}, place); }
    void move(QPoint place) { QTest::mouseMove(m_view.get(), place); }
    void release(QPoint place) { QTest::mouseRelease(m_view.get(), Qt::LeftButton, {}, place); }

    std::unique_ptr<QQuickView> m_view;
};

void WindowGripsTest::show(const QString& name, const QVariantMap& properties)
{
    m_view = std::make_unique<QQuickView>();
    m_view->engine()->addImportPath(u"qrc:/qt/qml"_s);
    m_view->setResizeMode(QQuickView::SizeRootObjectToView);
    m_view->resize(400, 100);
    m_view->setInitialProperties(properties);
    m_view->setSource(QUrl(u"qrc:/qt/qml/Wingbell/App/%1.qml"_s.arg(name)));
    QVERIFY2(m_view->errors().isEmpty(), "the item loads");
    m_view->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
}

void WindowGripsTest::aPressOnTheHeaderAsksForNothing()
{
    show(u"HeaderHandle"_s);
    const auto moves = count(SIGNAL(moved()));
    press(middle);
    move(middle + QPoint(QGuiApplication::styleHints()->startDragDistance() - 1, 0));
    release(middle);
    QCOMPARE(moves->count(), 0);
}

// A second time would be while the window manager has the pointer, or after the button is up: the
// window would stick to the pointer.
void WindowGripsTest::aMoveIsAskedForOnce()
{
    show(u"HeaderHandle"_s);
    const auto moves = count(SIGNAL(moved()));
    press(middle);
    move(middle + QPoint(30, 0));
    QCOMPARE(moves->count(), 1);
    move(middle + QPoint(60, 0));
    release(middle + QPoint(90, 0));
    QCOMPARE(moves->count(), 1);
}

void WindowGripsTest::everyPressCanMoveAnew()
{
    show(u"HeaderHandle"_s);
    const auto moves = count(SIGNAL(moved()));
    for (int times = 1; times <= 2; ++times) {
        press(middle);
        move(middle + QPoint(30, 0));
        release(middle + QPoint(30, 0));
        QCOMPARE(moves->count(), times);
    }
}

void WindowGripsTest::aDoubleClickOnTheHeaderToggles()
{
    show(u"HeaderHandle"_s);
    const auto toggles = count(SIGNAL(toggled()));
    const auto moves = count(SIGNAL(moved()));
    QTest::mouseClick(m_view.get(), Qt::LeftButton, {}, middle);
    QCOMPARE(toggles->count(), 0);
    QTest::mouseDClick(m_view.get(), Qt::LeftButton, {}, middle);
    QCOMPARE(toggles->count(), 1);
    QCOMPARE(moves->count(), 0);
}

// By the time the window manager takes over, the button of a tap is up again.
void WindowGripsTest::aClickOnAnEdgeAsksForNothing()
{
    show(u"WindowEdges"_s);
    const auto drags = count(SIGNAL(dragged(int)));
    QTest::mouseClick(m_view.get(), Qt::LeftButton, {}, rightEdge);
    QCOMPARE(drags->count(), 0);
}

void WindowGripsTest::aResizeIsAskedForOnce()
{
    show(u"WindowEdges"_s);
    const auto drags = count(SIGNAL(dragged(int)));
    press(rightEdge);
    move(rightEdge + QPoint(0, 1));
    QCOMPARE(drags->count(), 1);
    QCOMPARE(drags->first().first().toInt(), int(Qt::RightEdge));
    move(rightEdge + QPoint(0, 20));
    release(rightEdge + QPoint(0, 40));
    QCOMPARE(drags->count(), 1);
}

void WindowGripsTest::everyPressCanResizeAnew()
{
    show(u"WindowEdges"_s);
    const auto drags = count(SIGNAL(dragged(int)));
    for (int times = 1; times <= 2; ++times) {
        press(rightEdge);
        move(rightEdge + QPoint(0, 10));
        release(rightEdge + QPoint(0, 10));
        QCOMPARE(drags->count(), times);
    }
}

// They are drawn 16 wide and 6 apart, 9 below the edge: as much as can be hit is 24 each way.
void WindowGripsTest::theButtonsTargetsMeetAndStandClearOfTheEdge()
{
    show(u"WindowButtons"_s, {{u"maximized"_s, false}});
    QQuickItem& row = *m_view->rootObject();
    QList<QRectF> targets;
    QList<double> drawn;
    for (const QQuickItem* button : row.childItems()) {
        const QRectF whole(QPointF(), button->size());
        targets.append(button->mapRectToItem(&row, whole));
        const QQuickItem& plate = *button->childItems().constFirst();
        QCOMPARE(plate.size(), QSizeF(16.0, 16.0));
        drawn.append(button->mapToItem(&row, plate.position()).x());
        QVERIFY(button->contains(whole.center() + QPointF(11.9, 11.9)));
        QCOMPARE(button->mapToItem(&row, plate.position()).y(), 4.0);
    }
    QCOMPARE(targets, (QList<QRectF>{{0, 0, 24, 24}, {24, 0, 24, 24}, {48, 0, 24, 24}}));
    QCOMPARE(drawn, (QList<double>{6.0, 28.0, 50.0}));
}

WINGBELL_GUI_TEST(WindowGripsTest)
#include "WindowGripsTest.moc"
