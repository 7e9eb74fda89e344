#include "look/BrushedSteel.h"
#include "look/InsetPlate.h"
#include "look/PaintedSurface.h"
#include "look/Theme.h"
#include "tests/TestProgram.h"

#include <QImage>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQmlExtensionPlugin>
#include <QQuickWindow>
#include <QtTest>

#include <memory>
#include <numbers>

Q_IMPORT_QML_PLUGIN(Wingbell_LookPlugin)

using namespace Qt::StringLiterals;
using namespace wingbell;

namespace {

/// Every pixel of its picture is the opposite of its neighbours: what no scaling leaves as it is.
class Checkerboard final : public PaintedSurface
{
public:
    explicit Checkerboard(double reach) { setReach(reach); }

protected:
    void paintSurface(QPainter& painter, const QSizeF& /*size*/) override
    {
        painter.resetTransform();
        QImage board(
            painter.device()->width(), painter.device()->height(),
            QImage::Format_ARGB32_Premultiplied);
        for (int y = 0; y < board.height(); ++y) {
            for (int x = 0; x < board.width(); ++x) {
                board.setPixel(x, y, (x + y) % 2 == 0 ? qRgb(0, 0, 0) : qRgb(255, 255, 255));
            }
        }
        painter.drawImage(0, 0, board);
    }
};

/// Pixels inside `area` that do not differ from the one to their right or the one below.
int blurredPixels(const QImage& picture, const QRect& area)
{
    int found = 0;
    for (int y = area.top(); y < area.bottom(); ++y) {
        for (int x = area.left(); x < area.right(); ++x) {
            const int here = qGray(picture.pixel(x, y));
            const bool right = std::abs(here - qGray(picture.pixel(x + 1, y))) == 255;
            const bool below = std::abs(here - qGray(picture.pixel(x, y + 1))) == 255;
            found += right && below ? 0 : 1;
        }
    }
    return found;
}

/// A pixel as a sign: lit, dark or, what no sharp line has, between.
QChar shadeOf(QRgb pixel)
{
    constexpr int unseen = 16;
    if (qGray(pixel) >= 255 - unseen) {
        return u'#';
    }
    return qGray(pixel) <= unseen ? u' ' : u'~';
}

/// The mean of all channels over those pixels, from 0 to 1.
double meanLight(const QImage& picture, const QRect& pixels)
{
    double sum = 0.0;
    for (int y = pixels.top(); y <= pixels.bottom(); ++y) {
        for (int x = pixels.left(); x <= pixels.right(); ++x) {
            const QRgb pixel = picture.pixel(x, y);
            sum += qRed(pixel) + qGreen(pixel) + qBlue(pixel);
        }
    }
    return sum / (3.0 * 255.0 * pixels.width() * pixels.height());
}

/// The mean that `area` of a plate's steel has without any streaks: its gradient falls evenly.
double meanSteel(const QSizeF& plate, const QRectF& area)
{
    const auto mean = [](const Theme::Components& steel) {
        return (steel.red + steel.green + steel.blue) / 3.0;
    };
    const double dark = mean(Theme::steelDarkComponents);
    const double deep = mean(Theme::steelDeepComponents);
    return dark + (deep - dark) * area.center().y() / plate.height();
}

/// The mean opacity of the white that the streaks of a plate lay over `area` of it.
double meanStreaks(const QSizeF& plate, const QRectF& area)
{
    double sum = 0.0;
    for (const Streak& streak : streaksOf(plate)) {
        for (double y = area.top() + 0.5; y < area.bottom(); y += 1.0) {
            const double x = streak.line.x1() - y;
            if (x >= area.left() && x < area.right()) {
                sum += streak.opacity * std::numbers::sqrt2;
            }
        }
    }
    return sum / (area.width() * area.height());
}

} // namespace

/// Run once for every scale that desktops offer.
class SharpSurfacesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void aPicturesPixelsAreTheScreens_data();
    void aPicturesPixelsAreTheScreens();
    void anOutlineIsAsWideOnEverySideOfWhatClipsIt_data();
    void anOutlineIsAsWideOnEverySideOfWhatClipsIt();
    void streaksAreAsLightAsComputed_data();
    void streaksAreAsLightAsComputed();
};

void SharpSurfacesTest::initTestCase()
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

void SharpSurfacesTest::aPicturesPixelsAreTheScreens_data()
{
    QTest::addColumn<QSizeF>("size");
    QTest::addColumn<double>("reach");
    QTest::addColumn<QPointF>("place");
    QTest::newRow("a bolt") << QSizeF(12.0, 12.0) << 5.0 << QPointF(6.0, 6.0);
    QTest::newRow("a smaller bolt") << QSizeF(10.0, 10.0) << 5.0 << QPointF(6.0, 47.5);
    QTest::newRow("a chip") << QSizeF(67.59, 24.0) << 0.5 << QPointF(33.3, 17.0);
    QTest::newRow("a strip") << QSizeF(375.0, 11.0) << 10.0 << QPointF(0.0, 65.0);
    QTest::newRow("a plate") << QSizeF(230.0, 232.0) << 0.5 << QPointF(14.0, 14.0);
    QTest::newRow("one point") << QSizeF(1.0, 1.0) << 0.0 << QPointF(3.0, 3.0);
}

void SharpSurfacesTest::aPicturesPixelsAreTheScreens()
{
    QFETCH(const QSizeF, size);
    QFETCH(const double, reach);
    QFETCH(const QPointF, place);
    QQuickWindow window;
    window.setColor(Qt::red);
    window.resize(400, 300);
    Checkerboard board(reach);
    board.setParentItem(window.contentItem());
    board.setSize(size);
    board.setPosition(place);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    const double scale = window.devicePixelRatio();
    QCOMPARE(scale, qEnvironmentVariable("QT_SCALE_FACTOR").toDouble());
    const QImage picture = window.grabWindow();
    const QRectF drawn(place * scale, size * scale);
    const QRect inside =
        drawn.toAlignedRect().adjusted(1, 1, -1, -1) & picture.rect().adjusted(0, 0, -1, -1);
    QCOMPARE(blurredPixels(picture, inside), 0);
}

void SharpSurfacesTest::anOutlineIsAsWideOnEverySideOfWhatClipsIt_data()
{
    QTest::addColumn<QRectF>("place");
    QTest::addColumn<double>("width");
    QTest::newRow("a button") << QRectF(20.0, 30.0, 95.3, 29.0) << 1.0;
    QTest::newRow("a field") << QRectF(20.0, 71.0, 340.0, 39.0) << 1.0;
    QTest::newRow("a ring") << QRectF(37.0, 83.0, 156.0, 64.0) << 2.0;
    QTest::newRow("a longer field") << QRectF(20.0, 101.0, 375.0, 39.0) << 1.0;
}

void SharpSurfacesTest::anOutlineIsAsWideOnEverySideOfWhatClipsIt()
{
    QFETCH(const QRectF, place);
    QFETCH(const double, width);
    QQuickWindow window;
    window.setColor(Qt::black);
    window.resize(400, 300);
    QQuickItem clip(window.contentItem());
    clip.setClip(true);
    clip.setPosition(place.topLeft());
    clip.setSize(place.size());
    InsetPlate plate;
    plate.setProperty("fill", QColor(Qt::black));
    plate.setProperty("outline", QColor(Qt::white));
    plate.setProperty("outlineWidth", width);
    plate.setProperty("cornerRadius", 3.0);
    plate.setParentItem(&clip);
    plate.setSize(place.size());
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    const QImage picture = window.grabWindow();
    const QPoint middle = (place.center() * window.devicePixelRatio()).toPoint();
    // A part of a pixel at the window's far edges belongs to it, and nothing is painted there.
    const QSize whole = (QSizeF(window.size()) * window.devicePixelRatio()).toSize() - QSize(1, 1);
    QString across;
    for (int x = 0; x < whole.width(); ++x) {
        across.append(shadeOf(picture.pixel(x, middle.y())));
    }
    QString down;
    for (int y = 0; y < whole.height(); ++y) {
        down.append(shadeOf(picture.pixel(middle.x(), y)));
    }
    const QString line(qRound(width * window.devicePixelRatio()), u'#');
    QCOMPARE(across.split(u' ', Qt::SkipEmptyParts), QStringList({line, line}));
    QCOMPARE(down.split(u' ', Qt::SkipEmptyParts), QStringList({line, line}));
}

void SharpSurfacesTest::streaksAreAsLightAsComputed_data()
{
    QTest::addColumn<QString>("component");
    QTest::addColumn<QSizeF>("size");
    QTest::addColumn<double>("opacity");
    QTest::addColumn<QRectF>("place"); // of nothing but brushed steel
    const QString plate = u"SteelPanelBackground"_s;
    QTest::newRow("the power panel")
        << plate << QSizeF(230.0, 232.0) << 0.4 << QRectF(16.0, 16.0, 198.0, 200.0);
    QTest::newRow("a role's card")
        << plate << QSizeF(740.0, 150.0) << 0.4 << QRectF(16.0, 16.0, 708.0, 118.0);
    QTest::newRow("the header") << u"ControlHeader"_s << QSizeF(780.0, 0.0) << 0.45
                                << QRectF(40.0, 2.0, 220.0, 50.0);
}

void SharpSurfacesTest::streaksAreAsLightAsComputed()
{
    QFETCH(const QString, component);
    QFETCH(const QSizeF, size);
    QFETCH(const double, opacity);
    QFETCH(const QRectF, place);
    QQmlEngine engine;
    QQmlComponent source(&engine, QUrl(u"qrc:/qt/qml/Wingbell/Look/%1.qml"_s.arg(component)));
    std::unique_ptr<QQuickItem> item;
    double plateHeight = size.height();
    if (plateHeight > 0.0) {
        item = std::make_unique<SteelPanelBackground>();
        item->setSize(size);
    } else {
        item.reset(qobject_cast<QQuickItem*>(source.create()));
        QVERIFY2(item, qPrintable(source.errorString()));
        item->setWidth(size.width());
        constexpr double trim = 12.0;
        plateHeight = item->implicitHeight() - trim;
    }
    QQuickWindow window;
    window.resize(800, 300);
    item->setParentItem(window.contentItem());
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    const QSizeF plate(size.width(), plateHeight);
    const double scale = window.devicePixelRatio();
    const QRect pixels = QRectF(place.topLeft() * scale, place.size() * scale).toRect();
    const QRectF area(QPointF(pixels.topLeft()) / scale, QSizeF(pixels.size()) / scale);
    QVERIFY(area.bottom() < plateHeight);
    const double steel = meanSteel(plate, area);
    const double wanted = meanStreaks(plate, area) * opacity * (1.0 - steel);
    const double streaks = meanLight(window.grabWindow(), pixels) - steel;
    constexpr double tolerance = 0.04;
    QVERIFY2(
        std::abs(streaks / wanted - 1.0) < tolerance,
        qPrintable(u"%1 of what was computed"_s.arg(streaks / wanted)));
}

WINGBELL_GUI_TEST(SharpSurfacesTest)
#include "SharpSurfacesTest.moc"
