#include "relay/audio/Mixing.h"
#include "tests/TestProgram.h"

#include <QTest>

#include <vector>

using namespace wingbell;

class MixingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSteadyGainIsTheSameThroughout();
    void aChangingGainMovesInEvenSteps();
    void theEndOfOneBlockMeetsTheBeginningOfTheNext();
    void thePeakIsTheFarthestFromSilence();
};

void MixingTest::aSteadyGainIsTheSameThroughout()
{
    std::vector<float> mix(480, 0.25F);
    addTo(mix, std::vector<float>(480, 1.0F), 0.5F, 0.5F);
    QCOMPARE(mix, std::vector<float>(480, 0.75F));
}

void MixingTest::aChangingGainMovesInEvenSteps()
{
    std::vector<float> mix(960, 0.0F);
    addTo(mix, std::vector<float>(960, 1.0F), 1.0F, 0.0F);
    QVERIFY(mix.front() < 1.0F);
    for (std::size_t index = 1; index < mix.size(); ++index) {
        QVERIFY(mix[index] < mix[index - 1]);
        QVERIFY(mix[index - 1] - mix[index] < 1.1F / 960);
    }
}

void MixingTest::theEndOfOneBlockMeetsTheBeginningOfTheNext()
{
    std::vector<float> mix(960, 0.0F);
    addTo(mix, std::vector<float>(960, 1.0F), 0.0F, 0.3F);
    QVERIFY(qAbs(mix.back() - 0.3F) < 1e-6F);
}

void MixingTest::thePeakIsTheFarthestFromSilence()
{
    for (const std::size_t size : {1U, 7U, 8U, 13U, 960U}) {
        for (std::size_t place = 0; place < size; ++place) {
            std::vector<float> samples(size, 0.1F);
            samples[place] = -0.5F;
            QCOMPARE(peakOf(samples), 0.5F);
        }
    }
    QCOMPARE(peakOf({}), 0.0F);
}

WINGBELL_APPLESS_TEST(MixingTest)
#include "MixingTest.moc"
