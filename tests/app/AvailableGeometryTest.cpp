#include "app/AvailableGeometry.h"
#include "tests/TestProgram.h"

#include <QSignalSpy>
#include <QtTest>

using namespace wingbell;
using Desktop = AvailableGeometry::Desktop;

class AvailableGeometryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aWindowOpensInItsSizeWhereThereIsRoom_data();
    void aWindowOpensInItsSizeWhereThereIsRoom();
    void aWindowIsHeldToItsLeastWhereThatIsBorne_data();
    void aWindowIsHeldToItsLeastWhereThatIsBorne();
    void allIsShownUnlessTheScreenIsTooSmallForTheLeast_data();
    void allIsShownUnlessTheScreenIsTooSmallForTheLeast();
    void theRoomIsThatOfTheWindowsScreen();
};

void AvailableGeometryTest::aWindowOpensInItsSizeWhereThereIsRoom_data()
{
    QTest::addColumn<Desktop>("desktop");
    QTest::addColumn<double>("available");
    QTest::addColumn<double>("opening");
    QTest::newRow("much room") << Desktop::Open << 1080.0 << 760.0;
    QTest::newRow("exactly enough") << Desktop::Open << 760.0 << 760.0;
    QTest::newRow("a laptop with a bar") << Desktop::Open << 728.0 << 728.0;
    QTest::newRow("exactly the least") << Desktop::Open << 680.0 << 680.0;
    QTest::newRow("too little") << Desktop::Open << 600.0 << 680.0;
    QTest::newRow("no screen") << Desktop::Open << 0.0 << 680.0;
    QTest::newRow("Wayland, much room") << Desktop::Wayland << 1080.0 << 760.0;
    QTest::newRow("Wayland, exactly enough beside a bar") << Desktop::Wayland << 824.0 << 760.0;
    QTest::newRow("Wayland, a laptop") << Desktop::Wayland << 768.0 << 704.0;
    QTest::newRow("Wayland, too little") << Desktop::Wayland << 600.0 << 536.0;
    QTest::newRow("Wayland, no screen") << Desktop::Wayland << 0.0 << 680.0;
}

void AvailableGeometryTest::aWindowOpensInItsSizeWhereThereIsRoom()
{
    QFETCH(const Desktop, desktop);
    QFETCH(const double, available);
    QTEST(AvailableGeometry::opening(desktop, 760.0, 680.0, available), "opening");
}

void AvailableGeometryTest::aWindowIsHeldToItsLeastWhereThatIsBorne_data()
{
    QTest::addColumn<Desktop>("desktop");
    QTest::addColumn<double>("available");
    QTest::addColumn<double>("held");
    QTest::newRow("much room") << Desktop::Open << 1080.0 << 680.0;
    QTest::newRow("too little") << Desktop::Open << 600.0 << 680.0;
    QTest::newRow("Wayland, much room") << Desktop::Wayland << 1080.0 << 680.0;
    QTest::newRow("Wayland, exactly enough beside a bar") << Desktop::Wayland << 744.0 << 680.0;
    QTest::newRow("Wayland, too little beside a bar") << Desktop::Wayland << 720.0 << 656.0;
    QTest::newRow("Wayland, too little") << Desktop::Wayland << 600.0 << 536.0;
    QTest::newRow("Wayland, hardly anything") << Desktop::Wayland << 50.0 << 1.0;
    QTest::newRow("Wayland, no screen") << Desktop::Wayland << 0.0 << 680.0;
}

void AvailableGeometryTest::aWindowIsHeldToItsLeastWhereThatIsBorne()
{
    QFETCH(const Desktop, desktop);
    QFETCH(const double, available);
    QTEST(AvailableGeometry::held(desktop, 680.0, available), "held");
}

void AvailableGeometryTest::allIsShownUnlessTheScreenIsTooSmallForTheLeast_data()
{
    QTest::addColumn<double>("extent");
    QTest::addColumn<double>("available");
    QTest::addColumn<double>("shown");
    QTest::newRow("much room") << 760.0 << 1080.0 << 760.0;
    QTest::newRow("larger than the screen by hand") << 1200.0 << 1080.0 << 1200.0;
    QTest::newRow("exactly the least") << 680.0 << 680.0 << 680.0;
    QTest::newRow("a netbook") << 680.0 << 600.0 << 600.0;
    QTest::newRow("a netbook, larger by hand") << 900.0 << 600.0 << 600.0;
    QTest::newRow("made smaller than all") << 400.0 << 600.0 << 400.0;
    QTest::newRow("no screen") << 680.0 << 0.0 << 680.0;
}

void AvailableGeometryTest::allIsShownUnlessTheScreenIsTooSmallForTheLeast()
{
    QFETCH(const double, extent);
    QFETCH(const double, available);
    QTEST(AvailableGeometry::shown(extent, 680.0, available), "shown");
}

void AvailableGeometryTest::theRoomIsThatOfTheWindowsScreen()
{
    QQuickWindow window;
    AvailableGeometry room;
    QSignalSpy told(&room, &AvailableGeometry::availableChanged);
    QCOMPARE(room.available(), QSizeF(QGuiApplication::primaryScreen()->availableSize()));
    room.setWindow(&window);
    QCOMPARE(room.available(), QSizeF(window.screen()->availableSize()));
    QCOMPARE(told.size(), 1);
    Q_EMIT window.screen()->availableGeometryChanged({});
    QCOMPARE(told.size(), 2);
    room.setWindow(nullptr);
    QCOMPARE(told.size(), 3);
    Q_EMIT window.screen()->availableGeometryChanged({});
    QCOMPARE(told.size(), 3);
}

WINGBELL_GUI_TEST(AvailableGeometryTest)
#include "AvailableGeometryTest.moc"
