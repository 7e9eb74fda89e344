#include "relay/audio/Dsp.h"
#include "tests/TestProgram.h"

#include "tests/relay/audio/Tones.h"

#include <QTest>

#include <cmath>
#include <numbers>
#include <vector>

using namespace wingbell;

namespace {

std::vector<float> sine(double hertz, std::size_t count)
{
    std::vector<float> samples(count);
    for (std::size_t index = 0; index < count; ++index) {
        const double time = static_cast<double>(index) / 48000;
        samples[index] = static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * hertz * time));
    }
    return samples;
}

} // namespace

class DspTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSteadyGainIsTheSameThroughout();
    void aChangingGainMovesInEvenSteps();
    void theEndOfOneBlockMeetsTheBeginningOfTheNext();
    void thePeakIsTheFarthestFromSilence();
    void theLevelIsThatOfTheMeanSquare();

    void betweenHalfAndAllIsTakenOut_data();
    void betweenHalfAndAllIsTakenOut();
    void speechGoesOnWithoutAStep_data();
    void speechGoesOnWithoutAStep();
    void theEndsStayAsTheyWere();
    void fromSilenceTheMostIsTakenOut();
};

void DspTest::aSteadyGainIsTheSameThroughout()
{
    std::vector<float> mix(480, 0.25F);
    addTo(mix, std::vector<float>(480, 1.0F), 0.5F, 0.5F);
    QCOMPARE(mix, std::vector<float>(480, 0.75F));
}

void DspTest::aChangingGainMovesInEvenSteps()
{
    std::vector<float> mix(960, 0.0F);
    addTo(mix, std::vector<float>(960, 1.0F), 1.0F, 0.0F);
    QVERIFY(mix.front() < 1.0F);
    for (std::size_t index = 1; index < mix.size(); ++index) {
        QVERIFY(mix[index] < mix[index - 1]);
        QVERIFY(mix[index - 1] - mix[index] < 1.1F / 960);
    }
}

void DspTest::theEndOfOneBlockMeetsTheBeginningOfTheNext()
{
    std::vector<float> mix(960, 0.0F);
    addTo(mix, std::vector<float>(960, 1.0F), 0.0F, 0.3F);
    QVERIFY(qAbs(mix.back() - 0.3F) < 1e-6F);
}

void DspTest::thePeakIsTheFarthestFromSilence()
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

void DspTest::theLevelIsThatOfTheMeanSquare()
{
    for (const std::size_t size : {1U, 7U, 8U, 13U, 960U}) {
        QVERIFY(std::fabs(levelOf(std::vector<float>(size, -0.1F)) + 20) < 0.001F);
    }
    QVERIFY(std::fabs(levelOf(sine(500, 960)) + 9.031F) < 0.001F); // half of full scale
    QVERIFY(std::isinf(levelOf(std::vector<float>(960, 0.0F))));
    QVERIFY(std::isinf(levelOf({})));
}

void DspTest::betweenHalfAndAllIsTakenOut_data()
{
    QTest::addColumn<int>("most");
    for (const int most : {240, 333, 480, 960, 1920}) {
        QTest::addRow("%d samples", most) << most;
    }
}

void DspTest::betweenHalfAndAllIsTakenOut()
{
    QFETCH(const int, most);
    const auto wanted = static_cast<std::size_t>(most);
    for (double hertz = 50; hertz < 2000; hertz *= 1.3) {
        std::vector<float> samples = sine(hertz, 2880);
        const std::size_t left = timeStretch(samples, wanted);
        QVERIFY(left <= samples.size() - wanted / 2);
        QVERIFY(left >= samples.size() - wanted);
    }
}

void DspTest::speechGoesOnWithoutAStep_data()
{
    QTest::addColumn<double>("hertz");
    for (const int hertz : {120, 200, 333, 440, 1000, 1700}) {
        QTest::addRow("%d Hz", hertz) << static_cast<double>(hertz);
    }
}

void DspTest::speechGoesOnWithoutAStep()
{
    QFETCH(const double, hertz);
    std::vector<float> samples = sine(hertz, 2880);
    const double step = largestStep(samples);
    const std::size_t left = timeStretch(samples, 960);
    const std::span<const float> stretched = std::span(samples).first(left);
    QVERIFY(largestStep(stretched) < 1.2 * step);
    // Nor does it fall away where the one fades into the other.
    QVERIFY(loudnessOf(stretched.first(crossFadeSamples)) > 0.3);
}

void DspTest::theEndsStayAsTheyWere()
{
    std::vector<float> samples = sine(440, 2880);
    const std::vector<float> before = samples;
    const std::size_t left = timeStretch(samples, 960);
    QVERIFY(std::fabs(samples[0] - before[0]) < 0.01F);
    for (std::size_t index = crossFadeSamples; index < left; ++index) {
        QCOMPARE(samples[index], before[index + before.size() - left]);
    }
}

void DspTest::fromSilenceTheMostIsTakenOut()
{
    std::vector<float> samples(2000, 0.0F);
    QCOMPARE(timeStretch(samples, 960), std::size_t{1040});
}

WINGBELL_APPLESS_TEST(DspTest)
#include "DspTest.moc"
