#include "relay/voice/GainTable.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

class GainTableTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void atFirstNobodyIsHeard();
    void aGainIsMovedToWithinATick();
    void aGainMayBeThereAtOnce();
    void whatFadesIsHeardUntilItIsGone();
    void oneListenerOrTalkerIsSilencedAlone();
};

void GainTableTest::atFirstNobodyIsHeard()
{
    const GainTable gains(3, 5);
    for (std::size_t listener = 0; listener < 3; ++listener) {
        for (std::size_t talker = 0; talker < 5; ++talker) {
            QVERIFY(!gains.at(listener, talker).isHeard());
        }
    }
}

void GainTableTest::aGainIsMovedToWithinATick()
{
    GainTable gains(3, 5);
    gains.aim(2, 4, 0.5F);
    QCOMPARE(gains.at(2, 4).from, 0.0F);
    QCOMPARE(gains.at(2, 4).to, 0.5F);
    gains.settle();
    QCOMPARE(gains.at(2, 4).from, 0.5F);
    QCOMPARE(gains.at(2, 4).to, 0.5F);
}

void GainTableTest::aGainMayBeThereAtOnce()
{
    GainTable gains(3, 5);
    gains.set(0, 4, 0.5F);
    QCOMPARE(gains.at(0, 4).from, 0.5F);
    QCOMPARE(gains.at(0, 4).to, 0.5F);
}

void GainTableTest::whatFadesIsHeardUntilItIsGone()
{
    GainTable gains(3, 5);
    gains.set(1, 1, 0.5F);
    gains.aim(1, 1, 0);
    QVERIFY(gains.at(1, 1).isHeard());
    gains.settle();
    QVERIFY(!gains.at(1, 1).isHeard());
}

void GainTableTest::oneListenerOrTalkerIsSilencedAlone()
{
    GainTable gains(2, 2);
    const auto heard = [&gains] {
        QByteArray all;
        for (std::size_t pair = 0; pair < 4; ++pair) {
            all += gains.at(pair / 2, pair % 2).isHeard() ? '1' : '0';
        }
        return all;
    };
    const auto setAll = [&gains] {
        for (std::size_t pair = 0; pair < 4; ++pair) {
            gains.set(pair / 2, pair % 2, 1);
        }
    };
    setAll();
    gains.silenceListener(1);
    QCOMPARE(heard(), QByteArray("1100"));
    setAll();
    gains.silenceTalker(1);
    QCOMPARE(heard(), QByteArray("1010"));
}

WINGBELL_APPLESS_TEST(GainTableTest)
#include "GainTableTest.moc"
