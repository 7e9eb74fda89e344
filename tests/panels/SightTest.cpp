#include "panels/Sight.h"
#include "tests/TestProgram.h"

#include <QSignalSpy>
#include <QtTest>

using namespace wingbell;

class SightTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatIsSeenIsNearAtOnce();
    void theRestComesInStepsAndThenNoMore();
    void scrollingALittleTakesNothingAway();
    void aFarJumpLeavesWhatWasNear();

private:
    /// A sight of 400 from 1000 on that has reached out as far as it goes.
    static void settle(Sight& sight)
    {
        sight.setExtent(400.0);
        sight.setPosition(1000.0);
        QTRY_COMPARE(sight.near(), (Band{600.0, 1800.0}));
    }
};

void SightTest::whatIsSeenIsNearAtOnce()
{
    Sight sight;
    sight.setExtent(400.0);
    sight.setPosition(1000.0);
    QCOMPARE(sight.near(), (Band{1000.0 - Sight::least, 1400.0 + Sight::least}));
}

void SightTest::theRestComesInStepsAndThenNoMore()
{
    Sight sight;
    QList<Band> seen;
    sight.setExtent(400.0);
    sight.setPosition(1000.0);
    seen.append(sight.near());
    connect(&sight, &Sight::nearChanged, &sight, [&] { seen.append(sight.near()); });
    QTRY_COMPARE(sight.near(), (Band{600.0, 1800.0}));
    for (qsizetype index = 1; index < seen.size(); ++index) {
        const Band& before = seen.at(index - 1);
        const Band& now = seen.at(index);
        QVERIFY(now.top <= before.top && before.top - now.top <= Sight::step);
        QVERIFY(now.bottom >= before.bottom && now.bottom - before.bottom <= Sight::step);
    }
    QVERIFY2(seen.size() > 3, "in more than one step");
    QTRY_VERIFY2(!sight.isReachingOut(), "a window at rest is not woken");
}

void SightTest::scrollingALittleTakesNothingAway()
{
    Sight sight;
    settle(sight);
    sight.setPosition(1030.0);
    QVERIFY(sight.near().top <= 600.0);
    QVERIFY(sight.near().bottom >= 1800.0);
    sight.setPosition(1200.0);
    QVERIFY2(sight.near().top > 600.0, "what is far behind goes");
    QVERIFY(sight.near().top <= 800.0);
}

void SightTest::aFarJumpLeavesWhatWasNear()
{
    Sight sight;
    settle(sight);
    QSignalSpy changed(&sight, &Sight::nearChanged);
    sight.setPosition(9000.0);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(sight.near(), (Band{9000.0 - Sight::least, 9400.0 + Sight::least}));
}

WINGBELL_GUI_TEST(SightTest)
#include "SightTest.moc"
