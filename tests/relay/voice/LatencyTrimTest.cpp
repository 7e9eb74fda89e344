#include "relay/voice/LatencyTrim.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

namespace {

constexpr std::size_t tick = 960;
constexpr int ticksASecond = 50;

/// What is told to be too much within `ticks` at an even depth; takes it for taken out.
std::size_t excess(LatencyTrim& trim, int ticks, std::size_t depth)
{
    for (int count = 0; count < ticks; ++count) {
        if (const std::size_t found = trim.played(tick, depth); found > 0) {
            trim.trimmed();
            return found;
        }
    }
    return 0;
}

} // namespace

class LatencyTrimTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingWaitingIsNotTooMuch();
    void whatWaitedForASecondIsTooMuch();
    void theLeastOfTheWindowCounts();
    void aLittleIsLeftAlone();
    void muchIsTooMuchSooner();
    void aLatePacketSoonAfterATrimDoublesTheWindow();
    void aLatePacketWithoutATrimDoesNot();
    void theWindowIsBounded();
    void theWindowFallsBackInCalmTimes();
    void untilTrimmedItIsToldAgain();
};

void LatencyTrimTest::nothingWaitingIsNotTooMuch()
{
    LatencyTrim trim;
    QCOMPARE(excess(trim, 1000, 0), std::size_t{0});
}

void LatencyTrimTest::whatWaitedForASecondIsTooMuch()
{
    LatencyTrim trim;
    QCOMPARE(excess(trim, ticksASecond - 1, tick), std::size_t{0});
    QCOMPARE(trim.played(tick, tick), tick);
}

void LatencyTrimTest::theLeastOfTheWindowCounts()
{
    LatencyTrim trim;
    QCOMPARE(excess(trim, 30, 2 * tick), std::size_t{0});
    QCOMPARE(excess(trim, 1, 500), std::size_t{0});
    QCOMPARE(excess(trim, 19, 2 * tick), std::size_t{500});
}

void LatencyTrimTest::aLittleIsLeftAlone()
{
    LatencyTrim trim;
    QCOMPARE(excess(trim, 1000, LatencyTrim::small - 1), std::size_t{0});
    QCOMPARE(excess(trim, 1000, LatencyTrim::small), LatencyTrim::small);
}

void LatencyTrimTest::muchIsTooMuchSooner()
{
    LatencyTrim trim;
    QCOMPARE(excess(trim, ticksASecond / 5 - 1, LatencyTrim::large), std::size_t{0});
    QCOMPARE(trim.played(tick, LatencyTrim::large), LatencyTrim::large);
    trim.trimmed();
    QCOMPARE(excess(trim, ticksASecond / 10 - 1, LatencyTrim::veryLarge), std::size_t{0});
    QCOMPARE(trim.played(tick, LatencyTrim::veryLarge), LatencyTrim::veryLarge);
}

void LatencyTrimTest::aLatePacketSoonAfterATrimDoublesTheWindow()
{
    LatencyTrim trim;
    QVERIFY(excess(trim, ticksASecond, tick) > 0);
    trim.grew();
    QCOMPARE(trim.window(), 2 * LatencyTrim::shortestWindow);
    trim.grew(); // the same trim is to blame once
    QCOMPARE(trim.window(), 2 * LatencyTrim::shortestWindow);
    QCOMPARE(excess(trim, 2 * ticksASecond - 1, tick), std::size_t{0});
    QCOMPARE(excess(trim, 1, tick), tick);
}

void LatencyTrimTest::aLatePacketWithoutATrimDoesNot()
{
    LatencyTrim trim;
    trim.grew();
    QCOMPARE(trim.window(), LatencyTrim::shortestWindow);
    QVERIFY(excess(trim, ticksASecond, tick) > 0);
    QCOMPARE(excess(trim, 20 * ticksASecond, 0), std::size_t{0});
    trim.grew();
    QCOMPARE(trim.window(), LatencyTrim::shortestWindow);
}

void LatencyTrimTest::theWindowIsBounded()
{
    LatencyTrim trim;
    for (int round = 0; round < 10; ++round) {
        QVERIFY(excess(trim, 40 * ticksASecond, tick) > 0);
        trim.grew();
    }
    QCOMPARE(trim.window(), LatencyTrim::longestWindow);
}

void LatencyTrimTest::theWindowFallsBackInCalmTimes()
{
    LatencyTrim trim;
    for (int round = 0; round < 10; ++round) {
        QVERIFY(excess(trim, 40 * ticksASecond, tick) > 0);
        trim.grew();
    }
    QCOMPARE(excess(trim, 11 * ticksASecond, 0), std::size_t{0});
    QVERIFY(trim.window() < LatencyTrim::longestWindow);
    QVERIFY(trim.window() > LatencyTrim::longestWindow / 2);
    QCOMPARE(excess(trim, 600 * ticksASecond, 0), std::size_t{0});
    QCOMPARE(trim.window(), LatencyTrim::shortestWindow);
}

void LatencyTrimTest::untilTrimmedItIsToldAgain()
{
    LatencyTrim trim;
    int told = 0;
    for (int count = 0; count < 3 * ticksASecond; ++count) {
        told += trim.played(tick, tick) > 0 ? 1 : 0;
    }
    QCOMPARE(told, 3);
}

WINGBELL_APPLESS_TEST(LatencyTrimTest)
#include "LatencyTrimTest.moc"
