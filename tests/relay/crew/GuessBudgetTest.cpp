#include "relay/crew/GuessBudget.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace std::chrono_literals;
using wingbell::GuessBudget;

namespace {

constexpr GuessBudget::Clock::time_point start{1000s};

/// How many can be taken at `now`.
int taken(GuessBudget& budget, GuessBudget::Clock::time_point now)
{
    int count = 0;
    while (budget.untilLeft(now) == 0s) {
        budget.take(now);
        ++count;
    }
    return count;
}

} // namespace

class GuessBudgetTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void allMayComeAtOnce();
    void oneComesBackAtATime();
    void itTellsHowLongToWait();
    void itNeverHoldsMoreThanAtFirst();
    void aQuietTimeBeforeTheFirstCountsForNothing();
    void nothingIsLostBetweenTwoLooks();
};

void GuessBudgetTest::allMayComeAtOnce()
{
    GuessBudget budget(3, 10s);
    QCOMPARE(taken(budget, start), 3);
    QCOMPARE(taken(budget, start), 0);
}

void GuessBudgetTest::oneComesBackAtATime()
{
    GuessBudget budget(3, 10s);
    QCOMPARE(taken(budget, start), 3);
    QCOMPARE(taken(budget, start + 9999ms), 0);
    QCOMPARE(taken(budget, start + 10s), 1);
    QCOMPARE(taken(budget, start + 19s), 0);
    QCOMPARE(taken(budget, start + 20s), 1);
    QCOMPARE(taken(budget, start + 45s), 2);
}

void GuessBudgetTest::itTellsHowLongToWait()
{
    GuessBudget budget(1, 10s);
    QVERIFY(budget.untilLeft(start) == 0s);
    budget.take(start);
    QVERIFY(budget.untilLeft(start) == 10s);
    QVERIFY(budget.untilLeft(start + 4s) == 6s);
    QVERIFY(budget.untilLeft(start + 10s) == 0s);
}

void GuessBudgetTest::itNeverHoldsMoreThanAtFirst()
{
    GuessBudget budget(3, 10s);
    QCOMPARE(taken(budget, start), 3);
    QCOMPARE(taken(budget, start + 24h), 3);
    QCOMPARE(taken(budget, start + 24h + 10s), 1);
}

void GuessBudgetTest::aQuietTimeBeforeTheFirstCountsForNothing()
{
    GuessBudget budget(2, 10s);
    QVERIFY(budget.untilLeft(start + 25s) == 0s);
    QCOMPARE(taken(budget, start + 25s), 2);
    QVERIFY(budget.untilLeft(start + 26s) == 9s);
}

void GuessBudgetTest::nothingIsLostBetweenTwoLooks()
{
    GuessBudget budget(5, 10s);
    int count = taken(budget, start);
    for (auto now = start; now <= start + 1000s; now += 700ms) {
        count += taken(budget, now);
    }
    QCOMPARE(count, 5 + 99);
}

WINGBELL_APPLESS_TEST(GuessBudgetTest)
#include "GuessBudgetTest.moc"
