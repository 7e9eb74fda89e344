#include "relay/audio/MixerThread.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

namespace {

constexpr std::int64_t start = 1000;
constexpr std::int64_t period = 20;

} // namespace

class CycleClockTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cyclesAreDueOneAPeriodHoweverLongTheyTake();
    void aCycleThatEndsAfterTheNextIsDueMissesItsDeadline();
    void whatIsALittleBehindIsMadeUpFor();
    void afterAStandstillMissedCyclesAreLeftOut();
};

void CycleClockTest::cyclesAreDueOneAPeriodHoweverLongTheyTake()
{
    CycleClock pace(start, period);
    QCOMPARE(pace.due(), start);
    for (std::int64_t cycle = 0; cycle < 20; ++cycle) {
        QCOMPARE(pace.ended(start + cycle * period + cycle), std::uint64_t{0});
        QCOMPARE(pace.due(), start + (cycle + 1) * period);
    }
}

void CycleClockTest::aCycleThatEndsAfterTheNextIsDueMissesItsDeadline()
{
    CycleClock pace(start, period);
    QCOMPARE(pace.ended(start + period), std::uint64_t{0});
    QCOMPARE(pace.ended(start + 2 * period + 1), std::uint64_t{1});
    QCOMPARE(pace.ended(start + 2 * period + 5), std::uint64_t{0});
}

void CycleClockTest::whatIsALittleBehindIsMadeUpFor()
{
    CycleClock pace(start, period);
    const std::int64_t late = start + (1 + CycleClock::maxCyclesBehind) * period;
    std::uint64_t missed = pace.ended(late);
    QCOMPARE(pace.due(), start + period);
    std::int64_t made = 1;
    for (; pace.due() < late; ++made) {
        missed += pace.ended(late);
    }
    QCOMPARE(made, 1 + CycleClock::maxCyclesBehind);
    QCOMPARE(missed, static_cast<std::uint64_t>(CycleClock::maxCyclesBehind));
}

void CycleClockTest::afterAStandstillMissedCyclesAreLeftOut()
{
    CycleClock pace(start, period);
    const std::int64_t late = start + 1000 * period + 7;
    QCOMPARE(pace.ended(late), std::uint64_t{1000});
    // The rhythm stays: one cycle is due at once, the next one when it would have been anyway.
    QCOMPARE(pace.due(), late - 7);
    QCOMPARE(pace.ended(late + 1), std::uint64_t{0});
    QCOMPARE(pace.due(), late - 7 + period);
}

WINGBELL_APPLESS_TEST(CycleClockTest)
#include "CycleClockTest.moc"
