#include "relay/voice/TickPace.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

namespace {

constexpr std::int64_t start = 1000;
constexpr std::int64_t period = 20;

} // namespace

class TickPaceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ticksAreDueOneAPeriodHoweverLongTheyTake();
    void aTickThatEndsAfterTheNextIsDueIsMissed();
    void whatIsALittleBehindIsMadeUpFor();
    void afterAStandstillThePaceBeginsAnew();
};

void TickPaceTest::ticksAreDueOneAPeriodHoweverLongTheyTake()
{
    TickPace pace(start, period);
    QCOMPARE(pace.due(), start);
    for (std::int64_t tick = 0; tick < 20; ++tick) {
        QCOMPARE(pace.ended(start + tick * period + tick), std::uint64_t{0});
        QCOMPARE(pace.due(), start + (tick + 1) * period);
    }
}

void TickPaceTest::aTickThatEndsAfterTheNextIsDueIsMissed()
{
    TickPace pace(start, period);
    QCOMPARE(pace.ended(start + period), std::uint64_t{0});
    QCOMPARE(pace.ended(start + 2 * period + 1), std::uint64_t{1});
    QCOMPARE(pace.ended(start + 2 * period + 5), std::uint64_t{0});
}

void TickPaceTest::whatIsALittleBehindIsMadeUpFor()
{
    TickPace pace(start, period);
    const std::int64_t late = start + (1 + TickPace::mostBehind) * period;
    std::uint64_t missed = pace.ended(late);
    QCOMPARE(pace.due(), start + period);
    std::int64_t made = 1;
    for (; pace.due() < late; ++made) {
        missed += pace.ended(late);
    }
    QCOMPARE(made, 1 + TickPace::mostBehind);
    QCOMPARE(missed, static_cast<std::uint64_t>(TickPace::mostBehind));
}

void TickPaceTest::afterAStandstillThePaceBeginsAnew()
{
    TickPace pace(start, period);
    const std::int64_t late = start + 1000 * period + 7;
    QCOMPARE(pace.ended(late), std::uint64_t{1000});
    // The rhythm stays: one tick is due at once, the next one when it would have been anyway.
    QCOMPARE(pace.due(), late - 7);
    QCOMPARE(pace.ended(late + 1), std::uint64_t{0});
    QCOMPARE(pace.due(), late - 7 + period);
}

WINGBELL_APPLESS_TEST(TickPaceTest)
#include "TickPaceTest.moc"
