#include "relay/voice/Splice.h"
#include "tests/TestProgram.h"

#include "tests/relay/voice/Tones.h"

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

class SpliceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void betweenHalfAndAllIsTakenOut_data();
    void betweenHalfAndAllIsTakenOut();
    void aVoiceGoesOnWithoutAStep_data();
    void aVoiceGoesOnWithoutAStep();
    void theEndsStayAsTheyWere();
    void fromSilenceTheMostIsTakenOut();
};

void SpliceTest::betweenHalfAndAllIsTakenOut_data()
{
    QTest::addColumn<int>("most");
    for (const int most : {240, 333, 480, 960, 1920}) {
        QTest::addRow("%d samples", most) << most;
    }
}

void SpliceTest::betweenHalfAndAllIsTakenOut()
{
    QFETCH(const int, most);
    const auto wanted = static_cast<std::size_t>(most);
    for (double hertz = 50; hertz < 2000; hertz *= 1.3) {
        std::vector<float> samples = sine(hertz, 2880);
        const std::size_t left = spliceOut(samples, wanted);
        QVERIFY(left <= samples.size() - wanted / 2);
        QVERIFY(left >= samples.size() - wanted);
    }
}

void SpliceTest::aVoiceGoesOnWithoutAStep_data()
{
    QTest::addColumn<double>("hertz");
    for (const int hertz : {120, 200, 333, 440, 1000, 1700}) {
        QTest::addRow("%d Hz", hertz) << static_cast<double>(hertz);
    }
}

void SpliceTest::aVoiceGoesOnWithoutAStep()
{
    QFETCH(const double, hertz);
    std::vector<float> samples = sine(hertz, 2880);
    const double step = largestStep(samples);
    const std::size_t left = spliceOut(samples, 960);
    const std::span<const float> spliced = std::span(samples).first(left);
    QVERIFY(largestStep(spliced) < 1.2 * step);
    // Nor does it fall away where the one fades into the other.
    QVERIFY(loudnessOf(spliced.first(spliceFade)) > 0.3);
}

void SpliceTest::theEndsStayAsTheyWere()
{
    std::vector<float> samples = sine(440, 2880);
    const std::vector<float> before = samples;
    const std::size_t left = spliceOut(samples, 960);
    QVERIFY(std::fabs(samples[0] - before[0]) < 0.01F);
    for (std::size_t index = spliceFade; index < left; ++index) {
        QCOMPARE(samples[index], before[index + before.size() - left]);
    }
}

void SpliceTest::fromSilenceTheMostIsTakenOut()
{
    std::vector<float> samples(2000, 0.0F);
    QCOMPARE(spliceOut(samples, 960), std::size_t{1040});
}

WINGBELL_APPLESS_TEST(SpliceTest)
#include "SpliceTest.moc"
