#include "look/Theme.h"
#include "tests/TestProgram.h"

#include <QtTest>

using namespace wingbell;

class ThemeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyColourHasItsComponents_data();
    void everyColourHasItsComponents();
    void steelRisesFromDeepToHiWithABlueCast();
    void theLitGoldGradientIsSymmetric();
    void aColourIsFadedWhereItIsUsed();
};

void ThemeTest::everyColourHasItsComponents_data()
{
    QTest::addColumn<QColor>("color");
    QTest::addColumn<double>("red");
    QTest::addColumn<double>("green");
    QTest::addColumn<double>("blue");
    QTest::newRow("gold") << Theme::gold() << 0.87 << 0.7 << 0.36;
    QTest::newRow("stage") << Theme::stage() << 0.06 << 0.035 << 0.035;
    QTest::newRow("live") << Theme::live() << 1.0 << 0.24 << 0.2;
    QTest::newRow("ready") << Theme::ready() << 0.3 << 0.85 << 0.45;
    QTest::newRow("steelDeep") << Theme::steelDeep() << 0.03 << 0.03 << 0.035;
    QTest::newRow("steelDark") << Theme::steelDark() << 0.1 << 0.1 << 0.11;
    QTest::newRow("steelMid") << Theme::steelMid() << 0.42 << 0.43 << 0.46;
    QTest::newRow("steelLight") << Theme::steelLight() << 0.7 << 0.72 << 0.75;
    QTest::newRow("steelHi") << Theme::steelHi() << 0.93 << 0.94 << 0.96;
}

void ThemeTest::everyColourHasItsComponents()
{
    QFETCH(const QColor, color);
    QFETCH(const double, red);
    QFETCH(const double, green);
    QFETCH(const double, blue);
    constexpr double step = 1.0 / 65535; // finer than any 8-bit rounding
    QVERIFY(std::abs(static_cast<double>(color.redF()) - red) <= step);
    QVERIFY(std::abs(static_cast<double>(color.greenF()) - green) <= step);
    QVERIFY(std::abs(static_cast<double>(color.blueF()) - blue) <= step);
    QCOMPARE(color.alphaF(), 1.0F);
}

void ThemeTest::steelRisesFromDeepToHiWithABlueCast()
{
    const QList<Theme::Components> shades = {
        Theme::steelDeepComponents, Theme::steelDarkComponents, Theme::steelMidComponents,
        Theme::steelLightComponents, Theme::steelHiComponents};
    for (qsizetype index = 0; index < shades.size(); ++index) {
        const Theme::Components& shade = shades.at(index);
        QVERIFY(shade.blue > shade.red && shade.blue > shade.green);
        QVERIFY(index == 0 || shade.red > shades.at(index - 1).red);
    }
}

void ThemeTest::theLitGoldGradientIsSymmetric()
{
    const QGradientStops stops = Theme::litGoldGradient().stops();
    QCOMPARE(stops.size(), 3);
    QCOMPARE(stops.at(0), (QGradientStop{0.0, Theme::steelHi()}));
    QCOMPARE(stops.at(1), (QGradientStop{0.5, Theme::gold()}));
    QCOMPARE(stops.at(2), (QGradientStop{1.0, Theme::steelHi()}));
    QCOMPARE(Theme::litGoldGradient().start().x(), Theme::litGoldGradient().finalStop().x());
}

void ThemeTest::aColourIsFadedWhereItIsUsed()
{
    QCOMPARE(Theme::faded(Theme::gold(), 0.85).redF(), Theme::gold().redF());
    QVERIFY(
        std::abs(static_cast<double>(Theme::faded(Theme::gold(), 0.85).alphaF()) - 0.85) < 1e-4);
}

WINGBELL_APPLESS_TEST(ThemeTest)
#include "ThemeTest.moc"
