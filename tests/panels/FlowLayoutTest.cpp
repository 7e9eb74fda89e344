#include "panels/controls/FlowLayout.h"
#include "tests/TestProgram.h"

#include <QtTest>

#include <limits>

using wingbell::FlowLayout;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
const FlowLayout rows{8.0};

QList<QSizeF> items(std::initializer_list<double> widths, double height = 20.0)
{
    QList<QSizeF> sizes;
    for (const double width : widths) {
        sizes.append({width, height});
    }
    return sizes;
}

QList<QPointF> placed(double width, const QList<QSizeF>& sizes)
{
    return rows.placeSubviews(QRectF(0.0, 0.0, width, 1.0), sizes);
}

} // namespace

class FlowLayoutTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void noItemsTakeTheProposedWidthAndNoHeight();
    void withoutAProposalThereIsOneRowWithTrailingSpacing();
    void anInfiniteProposalCountsAsNone();
    void anItemThatDoesNotFitWraps();
    void anItemWhoseEdgeIsOnTheLimitStays();
    void aWidthOfNothingGivesEveryItemItsRow();
    void anItemWiderThanTheRowStandsAloneAndSticksOut();
    void itemsOfARowAreAlignedAtTheTop();
    void rowsBeginAtTheOriginOfTheBounds();
    void theHeightOfTheBoundsIsNotConsulted();
    void theSpacingBehindTheLastItemDoesNotCount();
    void notANumberNeverWraps();
    void measuredRowsArePlacedRows();
};

void FlowLayoutTest::noItemsTakeTheProposedWidthAndNoHeight()
{
    QCOMPARE(rows.sizeThatFits(100.0, {}), QSizeF(100.0, 0.0));
    QCOMPARE(rows.sizeThatFits(std::nullopt, {}), QSizeF(0.0, 0.0));
    QVERIFY(placed(100.0, {}).isEmpty());
}

void FlowLayoutTest::withoutAProposalThereIsOneRowWithTrailingSpacing()
{
    const QList<QSizeF> sizes = {{40.0, 10.0}, {50.0, 30.0}, {60.0, 20.0}};
    QCOMPARE(rows.sizeThatFits(std::nullopt, sizes), QSizeF(174.0, 30.0));
}

void FlowLayoutTest::anInfiniteProposalCountsAsNone()
{
    QCOMPARE(rows.sizeThatFits(infinity, items({40.0, 50.0, 60.0})), QSizeF(174.0, 20.0));
}

void FlowLayoutTest::anItemThatDoesNotFitWraps()
{
    const QList<QSizeF> sizes = {{60.0, 20.0}, {40.0, 30.0}};
    QCOMPARE(rows.sizeThatFits(100.0, sizes), QSizeF(100.0, 20.0 + 8.0 + 30.0));
    QCOMPARE(placed(100.0, sizes), (QList<QPointF>{{0.0, 0.0}, {0.0, 28.0}}));
}

void FlowLayoutTest::anItemWhoseEdgeIsOnTheLimitStays()
{
    QCOMPARE(rows.sizeThatFits(108.0, items({60.0, 40.0})), QSizeF(108.0, 20.0));
    QCOMPARE(placed(108.0, items({60.0, 40.0})), (QList<QPointF>{{0.0, 0.0}, {68.0, 0.0}}));
    QCOMPARE(rows.sizeThatFits(107.999, items({60.0, 40.0})).height(), 48.0);
}

void FlowLayoutTest::aWidthOfNothingGivesEveryItemItsRow()
{
    QCOMPARE(rows.sizeThatFits(0.0, items({10.0, 20.0, 30.0})), QSizeF(0.0, 3 * 20.0 + 2 * 8.0));
    QCOMPARE(
        placed(0.0, items({10.0, 20.0, 30.0})),
        (QList<QPointF>{{0.0, 0.0}, {0.0, 28.0}, {0.0, 56.0}}));
}

void FlowLayoutTest::anItemWiderThanTheRowStandsAloneAndSticksOut()
{
    QCOMPARE(rows.sizeThatFits(100.0, items({150.0, 20.0})), QSizeF(100.0, 48.0));
    QCOMPARE(placed(100.0, items({150.0, 20.0})), (QList<QPointF>{{0.0, 0.0}, {0.0, 28.0}}));
    QCOMPARE(placed(100.0, items({20.0, 150.0})), (QList<QPointF>{{0.0, 0.0}, {0.0, 28.0}}));
}

void FlowLayoutTest::itemsOfARowAreAlignedAtTheTop()
{
    const QList<QSizeF> sizes = {{40.0, 10.0}, {40.0, 30.0}, {40.0, 20.0}, {90.0, 5.0}};
    QCOMPARE(
        placed(140.0, sizes), (QList<QPointF>{{0.0, 0.0}, {48.0, 0.0}, {96.0, 0.0}, {0.0, 38.0}}));
}

void FlowLayoutTest::rowsBeginAtTheOriginOfTheBounds()
{
    QCOMPARE(
        rows.placeSubviews(QRectF(11.0, 7.0, 100.0, 50.0), items({60.0, 40.0, 30.0})),
        (QList<QPointF>{{11.0, 7.0}, {11.0, 35.0}, {59.0, 35.0}}));
}

void FlowLayoutTest::theHeightOfTheBoundsIsNotConsulted()
{
    const QList<QSizeF> sizes = items({60.0, 60.0, 60.0});
    QCOMPARE(
        rows.placeSubviews(QRectF(0.0, 0.0, 60.0, 0.0), sizes),
        rows.placeSubviews(QRectF(0.0, 0.0, 60.0, 1e6), sizes));
}

void FlowLayoutTest::theSpacingBehindTheLastItemDoesNotCount()
{
    QCOMPARE(rows.sizeThatFits(100.0, items({100.0})), QSizeF(100.0, 20.0));
    QCOMPARE(placed(48.0, items({20.0, 20.0})), (QList<QPointF>{{0.0, 0.0}, {28.0, 0.0}}));
}

void FlowLayoutTest::notANumberNeverWraps()
{
    QCOMPARE(rows.sizeThatFits(notANumber, items({60.0, 60.0})), QSizeF(136.0, 20.0));
    QCOMPARE(placed(notANumber, items({60.0, 60.0})), (QList<QPointF>{{0.0, 0.0}, {68.0, 0.0}}));
    QCOMPARE(rows.sizeThatFits(50.0, items({40.0, notANumber})).height(), 20.0);
}

void FlowLayoutTest::measuredRowsArePlacedRows()
{
    const QList<QSizeF> sizes = items({31.0, 77.5, 12.25, 140.0, 9.0, 64.0, 64.0, 28.0});
    for (double width = 0.0; width < 500.0; width += 3.5) {
        const double lastTop = placed(width, sizes).last().y();
        QCOMPARE(rows.sizeThatFits(width, sizes).height(), lastTop + 20.0);
    }
}

WINGBELL_APPLESS_TEST(FlowLayoutTest)
#include "FlowLayoutTest.moc"
