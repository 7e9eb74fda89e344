#include "relay/audio/GainMatrix.h"
#include "tests/TestProgram.h"

#include <QTest>

using namespace wingbell;

class GainMatrixTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void atFirstAllGainsAreZero();
    void aGainIsRampedToWithinABlock();
    void aGainMayBeThereAtOnce();
    void whatFadesIsHeardUntilItIsGone();
    void oneListenerOrTalkerIsSilencedAlone();
    void aTalkerIsHeardWhileAnyoneHearsIt();
};

void GainMatrixTest::atFirstAllGainsAreZero()
{
    const GainMatrix gains(3, 5);
    for (std::size_t listener = 0; listener < 3; ++listener) {
        for (std::size_t talker = 0; talker < 5; ++talker) {
            QVERIFY(!gains.at(listener, talker).isHeard());
        }
    }
}

void GainMatrixTest::aGainIsRampedToWithinABlock()
{
    GainMatrix gains(3, 5);
    gains.rampTo(2, 4, 0.5F);
    QCOMPARE(gains.at(2, 4).from, 0.0F);
    QCOMPARE(gains.at(2, 4).to, 0.5F);
    gains.endBlock();
    QCOMPARE(gains.at(2, 4).from, 0.5F);
    QCOMPARE(gains.at(2, 4).to, 0.5F);
}

void GainMatrixTest::aGainMayBeThereAtOnce()
{
    GainMatrix gains(3, 5);
    gains.jumpTo(0, 4, 0.5F);
    QCOMPARE(gains.at(0, 4).from, 0.5F);
    QCOMPARE(gains.at(0, 4).to, 0.5F);
}

void GainMatrixTest::whatFadesIsHeardUntilItIsGone()
{
    GainMatrix gains(3, 5);
    gains.jumpTo(1, 1, 0.5F);
    gains.rampTo(1, 1, 0);
    QVERIFY(gains.at(1, 1).isHeard());
    gains.endBlock();
    QVERIFY(!gains.at(1, 1).isHeard());
}

void GainMatrixTest::oneListenerOrTalkerIsSilencedAlone()
{
    GainMatrix gains(2, 2);
    const auto heard = [&gains] {
        QByteArray all;
        for (std::size_t pair = 0; pair < 4; ++pair) {
            all += gains.at(pair / 2, pair % 2).isHeard() ? '1' : '0';
        }
        return all;
    };
    const auto setAll = [&gains] {
        for (std::size_t pair = 0; pair < 4; ++pair) {
            gains.jumpTo(pair / 2, pair % 2, 1);
        }
    };
    setAll();
    gains.silenceListener(1);
    QCOMPARE(heard(), QByteArray("1100"));
    setAll();
    gains.silenceTalker(1);
    QCOMPARE(heard(), QByteArray("1010"));
}

void GainMatrixTest::aTalkerIsHeardWhileAnyoneHearsIt()
{
    GainMatrix gains(3, 5);
    QVERIFY(!gains.isHeard(4));
    gains.rampTo(0, 4, 0.5F);
    gains.rampTo(0, 4, 0.6F);
    gains.jumpTo(2, 4, 1);
    QVERIFY(gains.isHeard(4) && !gains.isHeard(3));
    gains.endBlock();
    gains.rampTo(0, 4, 0);
    gains.silenceListener(2);
    QVERIFY(gains.isHeard(4)); // it fades out
    gains.endBlock();
    QVERIFY(!gains.isHeard(4));
    gains.jumpTo(1, 4, 1);
    gains.silenceTalker(4);
    QVERIFY(!gains.isHeard(4));
}

WINGBELL_APPLESS_TEST(GainMatrixTest)
#include "GainMatrixTest.moc"
