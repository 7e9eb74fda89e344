#include "look/BrushedSteel.h"
#include "look/HexBolt.h"
#include "look/Shadow.h"
#include "look/Symbol.h"
#include "look/Theme.h"
#include "look/Typeface.h"
#include "tests/TestProgram.h"

#include <QFontMetricsF>
#include <QImage>
#include <QtTest>

#include <cmath>
#include <numeric>

using namespace Qt::StringLiterals;
using namespace wingbell;

namespace {

/// Brushed steel over the whole of a plate.
void paintPlate(QPainter& painter, const QSizeF& plate, double streakOpacity)
{
    QPainterPath shape;
    shape.addRect(QRectF(QPointF(), plate));
    paintBrushedSteel(painter, shape, plate, streakOpacity);
}

} // namespace

class SurfacesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPlateOfNoSizeHasNoStreaks();
    void aPlateThreeWideAndNothingHighHasOneStreak();
    void aPlateOf800By600Has467Streaks();
    void streaksFallToTheLeftAt45Degrees();
    void streaksWaverBetweenTheirOpacities();
    void theSamePlateIsTheSamePicture();
    void thePictureIsThatOfTheStrokedLines_data();
    void thePictureIsThatOfTheStrokedLines();
    void aBlurKeepsTheSumAndSpreads();
    void aShadowLiesWhereItIsCast();
    void aShadowIsAsSharpAsTheScreen();
    void everySymbolStandsWithinItsSquare_data();
    void everySymbolStandsWithinItsSquare();
    void aHexagonStandsOnACorner();
    void anUnknownSymbolIsEmpty();
    void heavyLettersAreHeavierThanBoldOnes();
    void aBoltIsLitFromTheTopLeft();
};

void SurfacesTest::aPlateOfNoSizeHasNoStreaks()
{
    QVERIFY(streaksOf(QSizeF(0.0, 0.0)).isEmpty());
}

void SurfacesTest::aPlateThreeWideAndNothingHighHasOneStreak()
{
    const QList<Streak> streaks = streaksOf(QSizeF(3.0, 0.0));
    QCOMPARE(streaks.size(), 1);
    QCOMPARE(streaks.first().line.p1(), QPointF(0.0, 0.0));
    QCOMPARE(streaks.first().opacity, 0.025);
}

void SurfacesTest::aPlateOf800By600Has467Streaks()
{
    QCOMPARE(streaksOf(QSizeF(800.0, 600.0)).size(), 467);
}

void SurfacesTest::streaksFallToTheLeftAt45Degrees()
{
    const QList<Streak> streaks = streaksOf(QSizeF(90.0, 40.0));
    for (qsizetype index = 0; index < streaks.size(); ++index) {
        const double x = 3.0 * static_cast<double>(index);
        QCOMPARE(streaks.at(index).line, QLineF(x, 0.0, x - 40.0, 40.0));
    }
    QVERIFY(streaks.last().line.x1() < 130.0);
    QVERIFY(streaks.last().line.x1() >= 127.0);
}

void SurfacesTest::streaksWaverBetweenTheirOpacities()
{
    double lowest = 1.0;
    double highest = 0.0;
    for (const Streak& streak : streaksOf(QSizeF(3000.0, 10.0))) {
        const double x = streak.line.x1();
        QCOMPARE(streak.opacity, std::sin(0.6 * x) * 0.02 + 0.025);
        lowest = std::min(lowest, streak.opacity);
        highest = std::max(highest, streak.opacity);
    }
    QVERIFY(lowest >= 0.005 && lowest < 0.0052);
    QVERIFY(highest <= 0.045 && highest > 0.0448);
}

void SurfacesTest::theSamePlateIsTheSamePicture()
{
    const auto picture = [] {
        QImage image(120, 80, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::black);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        paintPlate(painter, QSizeF(120.0, 80.0), 1.0);
        return image;
    };
    QCOMPARE(picture(), picture());
    QVERIFY(picture().pixelColor(60, 40) != QColor(Qt::white));
}

void SurfacesTest::thePictureIsThatOfTheStrokedLines_data()
{
    QTest::addColumn<double>("scale");
    QTest::newRow("100 %") << 1.0;
    QTest::newRow("150 %") << 1.5;
    QTest::newRow("200 %") << 2.0;
}

void SurfacesTest::thePictureIsThatOfTheStrokedLines()
{
    QFETCH(const double, scale);
    constexpr QSizeF plate(120.0, 80.0);
    const auto picture = [&](const std::function<void(QPainter&)>& paint) {
        // Finer than what is shown, so that the strokes' own rounding does not count.
        QImage image((plate * scale).toSize(), QImage::Format_RGBA64_Premultiplied);
        image.fill(Qt::black);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(scale, scale);
        paint(painter);
        return image;
    };
    const QImage painted = picture([&](QPainter& painter) { paintPlate(painter, plate, 1.0); });
    const QImage stroked = picture([&](QPainter& painter) {
        paintPlate(painter, plate, 0.0);
        QPainterPathStroker stroker; // a painter's own lines of one pixel are of another weight
        stroker.setWidth(1.0);
        stroker.setCapStyle(Qt::FlatCap);
        for (const Streak& streak : streaksOf(plate)) {
            QPainterPath line(streak.line.p1());
            line.lineTo(streak.line.p2());
            painter.fillPath(stroker.createStroke(line), Theme::faded(Qt::white, streak.opacity));
        }
    });
    constexpr int ends = 2; // pixels along the edges, where the lines' own ends show
    for (int y = ends; y < painted.height() - ends; ++y) {
        for (int x = 0; x < painted.width(); ++x) {
            const int difference = painted.pixelColor(x, y).red() - stroked.pixelColor(x, y).red();
            QVERIFY2(std::abs(difference) <= 1, qPrintable(QString::number(difference)));
        }
    }
}

void SurfacesTest::aBlurKeepsTheSumAndSpreads()
{
    QImage alpha(81, 81, QImage::Format_Alpha8);
    alpha.fill(0);
    for (int row = 30; row <= 50; ++row) {
        std::fill_n(alpha.scanLine(row) + 30, 21, uchar{255});
    }
    blurAlpha(alpha, 4.0);
    double sum = 0.0;
    for (int row = 0; row < 81; ++row) {
        for (int column = 0; column < 81; ++column) {
            sum += alpha.constScanLine(row)[column];
        }
    }
    QVERIFY(std::abs(sum / (21.0 * 21.0 * 255.0) - 1.0) < 0.01);
    // Half of the light at the middle of an edge, as a Gaussian has it; nothing far away.
    const int edge = (alpha.constScanLine(40)[29] + alpha.constScanLine(40)[30]) / 2;
    QVERIFY2(std::abs(edge - 127) < 8, qPrintable(QString::number(edge)));
    QVERIFY(alpha.constScanLine(40)[40] > 245);
    QCOMPARE(alpha.constScanLine(2)[2], uchar{0});
    // One sigma outside of the edge a Gaussian has 16 % left.
    QVERIFY(std::abs(alpha.constScanLine(40)[26] / 255.0 - 0.19) < 0.04);
}

void SurfacesTest::aShadowLiesWhereItIsCast()
{
    QImage image(60, 60, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    const QRectF shape(20.0, 20.0, 20.0, 20.0);
    paintShadow(
        painter, shape, {Theme::faded(Qt::red, 0.5), 2.0, QPointF(0.0, 10.0)},
        [&shape](QPainter& mask) { mask.fillRect(shape, Qt::blue); });
    painter.end();
    QCOMPARE(image.pixelColor(30, 40).red(), 255);
    QVERIFY(std::abs(image.pixelColor(30, 40).alpha() - 128) <= 2);
    QCOMPARE(image.pixelColor(30, 24).alpha(), 0);
    QVERIFY(image.pixelColor(30, 49).alpha() > image.pixelColor(30, 51).alpha());
    QCOMPARE(image.pixelColor(10, 40).alpha(), 0);
}

void SurfacesTest::aShadowIsAsSharpAsTheScreen()
{
    const auto edgeWidth = [](double scale) {
        const int size = static_cast<int>(60 * scale);
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.scale(scale, scale);
        const QRectF shape(20.0, 20.0, 20.0, 20.0);
        paintShadow(painter, shape, {Qt::black, 0.0, {}}, [&shape](QPainter& mask) {
            mask.fillRect(shape, Qt::black);
        });
        int between = 0;
        for (int column = 0; column < size; ++column) {
            const int alpha = image.pixelColor(column, size / 2).alpha();
            between += alpha > 0 && alpha < 255 ? 1 : 0;
        }
        return between;
    };
    QVERIFY(edgeWidth(1.0) <= 2);
    QVERIFY(edgeWidth(2.0) <= 2);
}

void SurfacesTest::everySymbolStandsWithinItsSquare_data()
{
    QTest::addColumn<QString>("name");
    for (const char* name :
         {"hexagon", "hexagon.fill", "exclamationmark.triangle.fill", "plus.circle.fill",
          "trash.fill", "mic.fill", "headphones", "minus", "xmark", "square", "square.on.square"}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
}

void SurfacesTest::everySymbolStandsWithinItsSquare()
{
    QFETCH(const QString, name);
    const QRectF bounds = symbolOutline(name).boundingRect();
    QVERIFY(!bounds.isEmpty());
    const double half = symbolExtent(1.0) / 2.0;
    QVERIFY(QRectF(-half, -half, 2 * half, 2 * half).contains(bounds));
    QVERIFY2(std::max(bounds.width(), bounds.height()) > half, "large enough to be seen");
}

void SurfacesTest::aHexagonStandsOnACorner()
{
    const QRectF bounds = symbolOutline(u"hexagon.fill"_s).boundingRect();
    QVERIFY(bounds.height() > bounds.width());
    const QPainterPath hexagon = symbolOutline(u"hexagon.fill"_s);
    QVERIFY(hexagon.contains(QPointF(0.0, bounds.top() + 0.02)));
    QVERIFY(!hexagon.contains(QPointF(0.3, bounds.top() + 0.02)));
}

void SurfacesTest::anUnknownSymbolIsEmpty()
{
    QVERIFY(symbolOutline(u"bell"_s).isEmpty());
}

void SurfacesTest::heavyLettersAreHeavierThanBoldOnes()
{
    QFont bold(Typeface::rounded());
    bold.setPixelSize(17);
    bold.setWeight(QFont::Bold);
    const QString title = u"Wingbell Control"_s;
    const auto pixels = [](const QPainterPath& letters) {
        QImage image(200, 40, QImage::Format_Alpha8);
        image.fill(0);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.translate(10.0, 10.0);
        painter.fillPath(letters, Qt::black);
        painter.end();
        double sum = 0.0;
        for (int y = 0; y < image.height(); ++y) {
            const uchar* const line = image.constScanLine(y);
            sum = std::accumulate(line, line + image.width(), sum);
        }
        return sum / 255.0;
    };
    QPainterPath boldLetters;
    boldLetters.addText(QPointF(0.0, QFontMetricsF(bold).ascent()), bold, title);
    const QPainterPath heavy = heavyLetters(title, bold);
    const double more = pixels(heavy) / pixels(boldLetters);
    QVERIFY2(more > 1.2 && more < 1.4, qPrintable(QString::number(more)));
    // The same letters in the same places: only their edges move, by a fraction of a pixel.
    QVERIFY(
        boldLetters.boundingRect().adjusted(-0.5, -0.5, 0.5, 0.5).contains(heavy.boundingRect()));
}

void SurfacesTest::aBoltIsLitFromTheTopLeft()
{
    QImage image(40, 40, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    paintHexBolt(painter, QPointF(6.0, 6.0), 28.0);
    painter.end();
    QVERIFY(image.pixelColor(11, 11).lightness() > image.pixelColor(28, 28).lightness() + 20);
    QVERIFY2(image.pixelColor(20, 20).lightness() < 40, "the hexagon is dark");
    QVERIFY2(image.pixelColor(20, 35).alpha() > 30, "a shadow lies below");
    QCOMPARE(image.pixelColor(1, 1).alpha(), 0);
}

WINGBELL_GUI_TEST(SurfacesTest)
#include "SurfacesTest.moc"
