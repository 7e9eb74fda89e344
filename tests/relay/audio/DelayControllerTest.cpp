#include "relay/audio/DelayController.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

namespace {

constexpr std::size_t cycle = 960;
constexpr int cyclesPerSecond = 50;

/// What is told to be too much within `cycles` at an even depth; takes it for taken out.
std::size_t excess(DelayController& trim, int cycles, std::size_t depth)
{
    for (int count = 0; count < cycles; ++count) {
        if (const std::size_t found = trim.played(cycle, depth); found > 0) {
            trim.trimmed();
            return found;
        }
    }
    return 0;
}

} // namespace

class DelayControllerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingWaitingIsNotTooMuch();
    void whatWaitedForASecondIsTooMuch();
    void theLeastOfTheWindowCounts();
    void aLittleIsLeftAlone();
    void muchIsTooMuchSooner();
    void anUnderrunSoonAfterATrimDoublesTheWindow();
    void anUnderrunWithoutATrimDoesNot();
    void theWindowIsBounded();
    void theWindowFallsBackInCalmTimes();
    void untilTrimmedTheExcessIsReturnedAgain();
};

void DelayControllerTest::nothingWaitingIsNotTooMuch()
{
    DelayController trim;
    QCOMPARE(excess(trim, 1000, 0), std::size_t{0});
}

void DelayControllerTest::whatWaitedForASecondIsTooMuch()
{
    DelayController trim;
    QCOMPARE(excess(trim, cyclesPerSecond - 1, cycle), std::size_t{0});
    QCOMPARE(trim.played(cycle, cycle), cycle);
}

void DelayControllerTest::theLeastOfTheWindowCounts()
{
    DelayController trim;
    QCOMPARE(excess(trim, 30, 2 * cycle), std::size_t{0});
    QCOMPARE(excess(trim, 1, 500), std::size_t{0});
    QCOMPARE(excess(trim, 19, 2 * cycle), std::size_t{500});
}

void DelayControllerTest::aLittleIsLeftAlone()
{
    DelayController trim;
    QCOMPARE(excess(trim, 1000, DelayController::smallExcess - 1), std::size_t{0});
    QCOMPARE(excess(trim, 1000, DelayController::smallExcess), DelayController::smallExcess);
}

void DelayControllerTest::muchIsTooMuchSooner()
{
    DelayController trim;
    QCOMPARE(excess(trim, cyclesPerSecond / 5 - 1, DelayController::largeExcess), std::size_t{0});
    QCOMPARE(trim.played(cycle, DelayController::largeExcess), DelayController::largeExcess);
    trim.trimmed();
    QCOMPARE(
        excess(trim, cyclesPerSecond / 10 - 1, DelayController::veryLargeExcess), std::size_t{0});
    QCOMPARE(
        trim.played(cycle, DelayController::veryLargeExcess), DelayController::veryLargeExcess);
}

void DelayControllerTest::anUnderrunSoonAfterATrimDoublesTheWindow()
{
    DelayController trim;
    QVERIFY(excess(trim, cyclesPerSecond, cycle) > 0);
    trim.underrun();
    QCOMPARE(trim.window(), 2 * DelayController::minWindow);
    trim.underrun(); // the same trim is to blame once
    QCOMPARE(trim.window(), 2 * DelayController::minWindow);
    QCOMPARE(excess(trim, 2 * cyclesPerSecond - 1, cycle), std::size_t{0});
    QCOMPARE(excess(trim, 1, cycle), cycle);
}

void DelayControllerTest::anUnderrunWithoutATrimDoesNot()
{
    DelayController trim;
    trim.underrun();
    QCOMPARE(trim.window(), DelayController::minWindow);
    QVERIFY(excess(trim, cyclesPerSecond, cycle) > 0);
    QCOMPARE(excess(trim, 20 * cyclesPerSecond, 0), std::size_t{0});
    trim.underrun();
    QCOMPARE(trim.window(), DelayController::minWindow);
}

void DelayControllerTest::theWindowIsBounded()
{
    DelayController trim;
    for (int round = 0; round < 10; ++round) {
        QVERIFY(excess(trim, 40 * cyclesPerSecond, cycle) > 0);
        trim.underrun();
    }
    QCOMPARE(trim.window(), DelayController::maxWindow);
}

void DelayControllerTest::theWindowFallsBackInCalmTimes()
{
    DelayController trim;
    for (int round = 0; round < 10; ++round) {
        QVERIFY(excess(trim, 40 * cyclesPerSecond, cycle) > 0);
        trim.underrun();
    }
    QCOMPARE(excess(trim, 11 * cyclesPerSecond, 0), std::size_t{0});
    QVERIFY(trim.window() < DelayController::maxWindow);
    QVERIFY(trim.window() > DelayController::maxWindow / 2);
    QCOMPARE(excess(trim, 600 * cyclesPerSecond, 0), std::size_t{0});
    QCOMPARE(trim.window(), DelayController::minWindow);
}

void DelayControllerTest::untilTrimmedTheExcessIsReturnedAgain()
{
    DelayController trim;
    int told = 0;
    for (int count = 0; count < 3 * cyclesPerSecond; ++count) {
        told += trim.played(cycle, cycle) > 0 ? 1 : 0;
    }
    QCOMPARE(told, 3);
}

WINGBELL_APPLESS_TEST(DelayControllerTest)
#include "DelayControllerTest.moc"
