#include "relay/audio/ChannelSet.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

class ChannelSetTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aNewSetIsEmpty();
    void whatIsPutInIsInIt();
    void allHoldsEveryOne();
    void setsIntersectInWhatBothHold();
    void aSetIsInsertedAndRemovedAsAWhole();
};

void ChannelSetTest::aNewSetIsEmpty()
{
    QVERIFY(ChannelSet().isEmpty());
    QVERIFY(ChannelSet(100).isEmpty());
    QCOMPARE(ChannelSet(100).count(), std::size_t{100});
}

void ChannelSetTest::whatIsPutInIsInIt()
{
    ChannelSet set(130);
    for (const std::size_t channel : {0U, 63U, 64U, 129U}) {
        QVERIFY(!set.contains(channel));
        set.insert(channel);
        QVERIFY(set.contains(channel));
    }
    QVERIFY(!set.contains(1));
    QVERIFY(!set.contains(130));
    QVERIFY(!set.contains(1000));
}

void ChannelSetTest::allHoldsEveryOne()
{
    const ChannelSet set = ChannelSet::all(65);
    for (std::size_t channel = 0; channel < 65; ++channel) {
        QVERIFY(set.contains(channel));
    }
    QVERIFY(!set.contains(65));
}

void ChannelSetTest::setsIntersectInWhatBothHold()
{
    ChannelSet one(70);
    one.insert(3);
    one.insert(69);
    ChannelSet other(70);
    other.insert(69);
    QVERIFY(one.intersects(other));
    QCOMPARE(one.intersected(other), other);
    QVERIFY(!ChannelSet(70).intersects(one));
}

void ChannelSetTest::aSetIsInsertedAndRemovedAsAWhole()
{
    ChannelSet one(70);
    one.insert(3);
    ChannelSet other(70);
    other.insert(3);
    other.insert(69);
    one.insert(other);
    QCOMPARE(one, other);
    other.remove(one);
    QVERIFY(other.isEmpty());
    one.remove(other);
    QVERIFY(one.contains(3) && one.contains(69));
}

WINGBELL_APPLESS_TEST(ChannelSetTest)
#include "ChannelSetTest.moc"
